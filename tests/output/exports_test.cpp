#include <algorithm>

#include "output/mbox_exports.h"
#include "output/sql_dump.h"
#include "output/table_exports.h"
#include "tests/output/output_rig.h"

namespace keldane {
namespace {

const std::string kDate = "2024-01-05 10:20:30";

/// The ASCII of a UTF-16 file, with "|" for each byte-order mark.
std::string plain(const std::string& utf16) {
  std::string text;
  for (std::size_t at = 0; at + 1 < utf16.size(); at += 2) {
    const bool isMark = utf16[at] == '\xFF' && utf16[at + 1] == '\xFE';
    text += isMark ? '|' : utf16[at];
  }
  return text;
}

class Exports : public OutputRig {};

TEST_F(Exports, TabAndCommaWriteEachMessageAsItsOwnPiece) {
  addMessage(7, kDate, "Ann \"A\" <ann@example.com>", "a\tb", "one\r\ntwo\rthree\n");
  addSource(7, "9\nFrom: x\n\n\"q\"\tt\n");
  addMessage(8, "2024-01-06 10:20:30", "Bob", "s", "b");
  addSource(8, "S");
  ASSERT_TRUE(exportTab(context, ids({8, 7}), folder / "t", true));
  EXPECT_EQ(plain(folder.read("t")),
            "|id\tdatetime\tfrom\tto\tsubject\tmailto\tmailbox\tbody\tnumattach\trawsource\n"
            "|8\t2024-01-06 10:20:30\tBob\tb@example.org, c@example.org\ts\tann@example.com\tIn\tb"
            "\t0\tS\n"
            "|7\t2024-01-05 10:20:30\tAnn \"A\" <ann@example.com>\tb@example.org, c@example.org"
            "\ta b\tann@example.com\tIn\tone\v\vtwo\vthree\v\t0\tFrom: x\v\v\"q\" t\v\n");
  ASSERT_TRUE(exportComma(context, ids({7}), folder / "c", false));
  EXPECT_EQ(plain(folder.read("c")),
            "|id,datetime,from,to,subject,mailto,mailbox,body,numattach\n"
            "|\"7\",\"2024-01-05 10:20:30\",\"Ann \"\"A\"\" <ann@example.com>\",\"b@example.org, "
            "c@example.org\",\"a\tb\",\"ann@example.com\",\"In\",\"one\r\ntwo\rthree\n\",\"0\"\n");
}

TEST_F(Exports, MboxSeparatesQuotesAndEscapes) {
  addMessage(1, kDate, "Ann <ann@example.com>", "s", "b");
  addSource(1, "9\nSubject: \xC3\xA9\n\nFrom here\n>From there\n");
  addMessage(2, kDate, "", "s", "b");
  addSource(2, "From own line\nSubject: x\n\nbody");
  addMessage(3, "0000-00-00 00:00:00", "carl", "s", "b");
  addSource(3, "S: 3\n\n");
  ASSERT_TRUE(exportMbox(context, ids({1, 2, 3}), folder / "m"));
  EXPECT_EQ(folder.read("m"),
            "From <ann@example.com>  Fri Jan 05 10:20:30 2024\nSubject: \\u00e9\n\n From here\n"
            ">From there\n\n\n"
            "From own line\nSubject: x\n\nbody\n\n"
            "From carl  Mon Jan 1 00:00:00 1900\nS: 3\n\n\n\n");
}

TEST_F(Exports, MboxRebuildsAMessageWithoutSource) {
  const std::string head =
      "From ann@example.com Fri Jan 05 10:20:30 2024\nMIME-Version: 1.0\nTo: b@example.org, "
      "c@example.org\nFrom: Ann\nDate: Fri, 05 Jan 2024 10:20:30 \nSubject: \xC3\xA9\nReply-To: "
      "ann@example.com\n";
  addMessage(1, kDate, "Ann", "\xC3\xA9", "textATTACHMENTS:\nx");
  addMessage(2, kDate, "Ann", "\xC3\xA9", "body");
  addAttachment(2, "text/html", "htmlversion.html", "<b>");
  addAttachment(2, "image/png", "a.png", std::string(61, 'x'));
  addMessage(3, kDate, "Ann", "\xC3\xA9", "");
  addAttachment(3, "TEXT/plain", "e.txt", "");
  addMessage(4, kDate, "Ann", "no address", "b", "a");
  addMessage(5, "0000-00-00 00:00:00", "Ann", "no date", "b");
  const auto report = exportMbox(context, ids({1, 2, 3, 4, 5, 99}), folder / "m");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->messages, 3U);
  EXPECT_EQ(
      folder.read("m"),
      head + "Content-Type: text/plain\nContent-Transfer-Encoding: 7bit\n\ntext\n\n" + head +
          "Content-Type: multipart/mixed; boundary=KeldaneBoundary\n"
          "\n--KeldaneBoundary\nContent-Type: text/plain\nContent_Transfer-Encoding: "
          "7bit\n\nbody\n"
          "\n--KeldaneBoundary\nContent-Transfer-Encoding: base64\nContent-Type: text/html; "
          "name=\"htmlversion.html\"\nContent-Disposition: attachment\n\nPGI+\n\n"
          "\n--KeldaneBoundary\nContent-Transfer-Encoding: base64\nContent-Type: image/png; "
          "name=\"a.png\"\nContent-Disposition: attachment\n\n"
          "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4\neA=="
          "\n\n\n--KeldaneBoundary--\n\n" +
          head +
          "Content-Type: multipart/alternative; boundary=KeldaneBoundary\n"
          "\n--KeldaneBoundary\nContent-Transfer-Encoding: 7bit\nContent-Type: TEXT/plain; "
          "name=\"e.txt\"\n\n\n\n\n--KeldaneBoundary--\n\n");
}

TEST_F(Exports, AddressesStandOnceInCaseBlindOrder) {
  addMessage(1, kDate, "zoe@example.com, Ann <ann@example.com>", "s", "b");
  addMessage(2, kDate, "Bob@example.com,\tbob2@x , no address,Bob@example.com", "s", "b");
  addMessage(3, kDate, "J\xC3\xB6rg <j@x>, zoe@example.com", "s", "b");
  ASSERT_TRUE(exportAddresses(context, ids({1, 2, 3}), folder / "f", true, false));
  EXPECT_EQ(folder.read("f"),
            "Ann <ann@example.com>\nbob2@x\nBob@example.com\nBob@example.com\nJ?rg <j@x>\n"
            "zoe@example.com\n");
  ASSERT_TRUE(exportAddresses(context, ids({1}), folder / "t", false, true));
  EXPECT_EQ(folder.read("t"), "b@example.org\nc@example.org\n");
}

TEST_F(Exports, ASourceThatIsNotToBeHadIsCounted) {
  addMessage(1, kDate, "a", "s", "b");
  run("DROP TABLE origemail");
  std::string log;
  const OutputContext logged{*session, progress, {}, [&log](const auto& line) { log += line; }};
  for (const auto& report : {exportTab(logged, ids({1}), folder / "t", true),
                             exportSQL(logged, ids({1}), {folder / "q", "copy", 1, true})}) {
    ASSERT_TRUE(report);
    EXPECT_EQ(report->messages, 1U);
    EXPECT_EQ(report->missedSources, 1U);
  }
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
}

TEST_F(Exports, WhatEndsAnExportDecidesWhatStays) {
  addMessage(1, kDate, "a", "s", "b");
  addMessage(2, kDate, "a", "s", "b");
  progress.cancelAfter = 1;
  const auto cancelled = exportTab(context, ids({1, 2}), folder / "cancelled", false);
  ASSERT_TRUE(cancelled);
  EXPECT_TRUE(cancelled->cancelled);
  EXPECT_FALSE(std::filesystem::exists(folder / "cancelled"));
  progress.cancelAfter = 1 << 30;

  MessageList list = ids({1, 2});
  const auto id = list.id;
  list.id = [&](std::size_t index) {
    if (index == 1) run("DROP TABLE email");
    return id(index);
  };
  const auto failed = exportTab(context, list, folder / "failed", false);
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().find("SQL error: "), 0U);
  EXPECT_NE(plain(folder.read("failed")).find("\n|1\t"), std::string::npos) << "the part stays";
  EXPECT_FALSE(exportTab(context, ids({1}), folder / "no/folder", false));
}

}  // namespace
}  // namespace keldane
