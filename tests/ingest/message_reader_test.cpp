#include "ingest/reading/message_reader.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/ingest/packed_bytes.h"
#include "tests/ingest/reader_bench.h"

namespace keldane {
namespace {

std::string mail(const std::string& body,
                 const std::string& fields = "Content-Type: text/plain\n") {
  return "From: Ann <ann@example.com>\nTo: bob@example.org\nSubject: Hello\n"
         "Date: Mon, 15 Jan 2024 10:20:30 +0000\n" +
         fields + "\n" + body;
}

std::string mixed(const std::vector<std::string>& parts) {
  std::string text = mail("", "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n");
  for (const std::string& part : parts) text += "--b\n" + part + "\n";
  return text + "--b--\n";
}

class MessageReaderTest : public testing::Test, public ReaderBench {};

TEST_F(MessageReaderTest, FillsTheFieldsOfAMessage) {
  plan.mailAccounts = {{"", "12"}, {"Work", "~/Library/Mail/V2/12"}, {"Other", "34"}};
  const std::string source =
      "From: \"Ann\"\n <ann@example.com>\nTo: bob@example.org, Carl <carl@example.org>\n"
      "Cc: dora@example.org\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\n"
      "Date: Mon, 15 Jan 2024 10:20:30 +0000\nContent-Type: text/plain\n\nfirst\n\nsecond\n";
  const std::string path = folder.write("1.emlx", "400\n" + source);
  EXPECT_EQ(reader.doOneEmail(path + ":::::V10/12/IN\nBOX"), 1);
  ASSERT_EQ(stored.size(), 1U);
  const CurrentMessage& got = stored[0];
  EXPECT_EQ(got.msgFrom, "Ann <ann@example.com>");
  EXPECT_EQ(got.msgTo, "bob@example.org,Carl <carl@example.org>,dora@example.org");
  EXPECT_EQ(got.msgSubject,
            "Gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_EQ(got.msgDate, "2024-01-15 10:20:30");
  EXPECT_EQ(got.msgMailbox, "V10/Work/INBOX");
  EXPECT_EQ(got.msgOriginal, "400\n" + source);
  EXPECT_EQ(got.msgHeadings, source.substr(0, source.find("\n\n")));
  EXPECT_EQ(got.msgBody, "second\r\n");
  EXPECT_EQ(got.currentPath, path);
  EXPECT_EQ(got.msgParts.size(), 0U);
  EXPECT_EQ(ledgerLines(), (std::vector<std::string>{"archived 1 - 1.emlx"}));
}

TEST_F(MessageReaderTest, ThePlainBodyLosesItsFirstParagraphOnly) {
  read("1.eml", mail("only\n"));
  read("2.eml", mail("one\n\ntwo\n\nthree\n"));
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].msgBody, "only\r\n");
  EXPECT_EQ(stored[1].msgBody, "two\r\n\r\nthree\r\n");
}

TEST_F(MessageReaderTest, HtmlAloneIsBodyAndPart) {
  plan.settings.attachState = 0;
  read("1.eml", mail("<p>a</p>\n\n<p>b</p>\n", "Content-Type: text/html; charset=utf-8\n"));
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].body(), "<p>a</p>\r\n\r\n<p>b</p>\r\n");
  ASSERT_EQ(stored[0].msgParts.size(), 1U);
  EXPECT_TRUE(stored[0].hasHtmlPart);
  EXPECT_EQ(stored[0].msgParts[0].contentType, "text/html");
  EXPECT_EQ(stored[0].msgParts[0].fileName, "htmlversion.html");
  EXPECT_EQ(stored[0].msgParts[0].data, stored[0].body());
}

TEST_F(MessageReaderTest, WhatIsStoredAsTextIsUtf8WhateverTheMessageHolds) {
  const std::string coding = "Content-Transfer-Encoding: quoted-printable\nContent-Type: text/";
  read("a.eml", mail("a=FF=C3=A9z\n", coding + "plain; charset=utf-8\n"));
  read("b.eml", mail("<p>a=92b</p>\n", coding + "html; charset=us-ascii\n"));
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_TRUE(isValidUtf8(stored[0].msgBody)) << stored[0].msgBody;
  EXPECT_TRUE(stored[0].msgBody.ends_with("\xC3\xA9z\r\n")) << stored[0].msgBody;
  EXPECT_TRUE(isValidUtf8(stored[1].body())) << stored[1].body();
}

TEST_F(MessageReaderTest, CollectsAttachmentsUpToTheSize) {
  const std::string text = "Content-Type: text/plain\n\nhello\n";
  const std::string small =
      "Content-Type: text/csv; charset=utf-8\nContent-Disposition: attachment; "
      "filename=s.csv\n\na;b\n";
  const std::string big =
      "Content-Type: application/pdf\nContent-Disposition: attachment; filename=b.pdf\n\n" +
      std::string(2000, 'x') + "\n";
  read("1.eml", mixed({text, small, big}));
  plan.settings.largeAttachState = 1;
  plan.attachSizeBytes = 1000;
  read("2.eml", mixed({text, small, big}));
  plan.settings.attachState = 0;
  read("3.eml", mixed({text, small, big}));
  ASSERT_EQ(stored.size(), 3U);
  EXPECT_EQ(partNames(stored[0]),
            (std::vector<std::string>{"text/csv s.csv", "application/pdf b.pdf"}));
  EXPECT_EQ(stored[0].msgAttachText.substr(0, 3), "a;b");
  EXPECT_EQ(partNames(stored[1]), (std::vector<std::string>{"text/csv s.csv"}));
  EXPECT_EQ(partNames(stored[2]), (std::vector<std::string>{}));
}

TEST_F(MessageReaderTest, AHugeAttachmentIsStoredWholeAndAsText) {
  const std::string content = std::string(1500000, 'x') + "end";
  read("1.eml", mixed({"Content-Type: text/plain\n\nhello\n",
                       "Content-Type: text/plain; charset=utf-8\nContent-Disposition: attachment; "
                       "filename=h.txt\n\n" +
                           content + "\n"}));
  ASSERT_EQ(stored.size(), 1U);
  ASSERT_EQ(stored[0].msgParts.size(), 1U);
  EXPECT_TRUE(stored[0].msgParts[0].data.starts_with(content));
  EXPECT_TRUE(stored[0].msgAttachText.starts_with(content));
}

TEST_F(MessageReaderTest, AHugeHtmlTextIsBodyAndPart) {
  const std::string page = "<p>" + std::string(1500000, 'x') + "</p>";
  read("1.eml", mail(page + "\n \n", "Content-Type: text/html\n"));
  read("2.eml", mixed({"Content-Type: text/plain\n\nfirst\n\nsecond\n"}));
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_TRUE(stored[0].body() == page + "\r\n \r\n");
  EXPECT_TRUE(stored[0].msgParts.at(0).data == stored[0].body());
  EXPECT_TRUE(stored[0].msgHeadings.starts_with("From: Ann")) << stored[0].msgHeadings;
  EXPECT_TRUE(stored[0].msgHeadings.ends_with("text/html")) << stored[0].msgHeadings;
  EXPECT_EQ(stored[1].body(), "second\r\n");
}

TEST_F(MessageReaderTest, RelatedItemsAreMeasuredByTheAttachmentOfTheirIndex) {
  const std::string related =
      "Content-Type: multipart/related; boundary=r\n\n--r\nContent-Type: text/html\n\n<p>x</p>\n"
      "--r\nContent-Type: image/png; name=p.png\nContent-ID: <p>\n"
      "Content-Transfer-Encoding: base64\n\nAAECAwQFBgcICQ==\n--r--\n";
  const std::string big =
      "Content-Type: application/pdf\nContent-Disposition: attachment; filename=b.pdf\n\n" +
      std::string(2000, 'x') + "\n";
  plan.settings.largeAttachState = 1;
  plan.attachSizeBytes = 1000;
  read("1.eml", mixed({related}));
  read("2.eml", mixed({related, big}));
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(partNames(stored[0]),
            (std::vector<std::string>{"text/html htmlversion.html", "image/png p.png"}));
  EXPECT_EQ(partNames(stored[1]), (std::vector<std::string>{"text/html htmlversion.html"}));
}

TEST_F(MessageReaderTest, StubsTakeThePartsThatLieBesideTheFile) {
  folder.write("Messages/7.2.emlxpart", "part two");
  const std::string stub =
      mixed({"Content-Type: text/plain\n\nhello\n",
             "Content-Type: application/pdf\nContent-Disposition: attachment; filename=a.pdf\n\n",
             "Content-Type: application/pdf\nContent-Disposition: attachment; filename=b.pdf\n\n"});
  read("Messages/7.partial.emlx", stub);
  read("Messages/8.emlx", stub);
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(partNames(stored[0]), (std::vector<std::string>{"application/pdf a.pdf"}));
  EXPECT_EQ(stored[0].msgParts[0].data, "cGFydCB0d28=");
  EXPECT_EQ(stored[0].msgAttachText, "");
  EXPECT_EQ(partNames(stored[1]), (std::vector<std::string>{}))
      << "parts of another file are not his";
}

TEST_F(MessageReaderTest, EveryFileAndMessageHasOneLine) {
  plan.range = {"2020-01-01 00:00:00", "2024-06-01 00:00:00"};
  read("good.eml", mail("x\n"));
  read("old.eml", "From: a@b.c\nDate: 1 Jan 2001 00:00 +0000\n\nx\n");
  read("list.plist", "x");
  read("Attachments/1/2/x.eml", mail("x\n"));
  read("empty.eml", "");
  read("words.eml", "no message at all");
  reader.doOneEmail((folder / "missing.eml") + ":::::m");
  EXPECT_EQ(ledgerLines(), (std::vector<std::string>{
                               "archived 1 - good.eml", "dropped outside the date range - old.eml",
                               "not-mail property list - list.plist",
                               "not-mail attachment of a message - Attachments/1/2/x.eml",
                               "dropped not a mail message (no sender, no date) - empty.eml",
                               "dropped not a mail message (no sender, no date) - words.eml",
                               "unreadable No such file or directory - missing.eml"}));
  EXPECT_EQ(ledger.sums().met, 4);
  EXPECT_EQ(counters.progressCount, 1);
  EXPECT_NE(log.text.find("Unable to read file"), std::string::npos);
}

TEST_F(MessageReaderTest, AMessageWithADateAloneIsNone) {
  read("1.eml", "Date: Mon, 15 Jan 2024 10:20:30 +0000\n\none line\n");
  read("2.eml", "Date: Mon, 15 Jan 2024 10:20:30 +0000\nContent-Type: text/plain\n\none\n\ntwo\n");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"dropped no sender, recipients or subject - 1.eml",
                                      "archived 1 - 2.eml"}));
}

TEST_F(MessageReaderTest, HugeMessagesAreDroppedAndTold) {
  MessageReader::Context limited = context();
  EXPECT_EQ(limited.mostUnits, 200000000U);
  limited.mostUnits = 500;
  int told = 0;
  limited.messageTooLarge = [&told] { ++told; };
  MessageReader limitedReader(limited);
  const std::string head = mail("");
  // A character of two bytes is one unit, one of four bytes is two.
  const std::string wide = "\xC3\xA4\xF0\x9F\x98\x80";
  const std::string just = head + wide + std::string(497 - head.size(), 'x');
  limitedReader.doMboxFile(folder.write("just.mbox", "From x\n" + just) + ":::::m");
  limitedReader.doMboxFile(folder.write("over.mbox", "From x\n" + just + "x") + ":::::m");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"archived 1 0 just.mbox",
                                      "dropped over 200,000,000 characters 0 over.mbox"}));
  EXPECT_EQ(told, 1);
}

TEST_F(MessageReaderTest, WhatOneMessageThrowsDoesNotEndTheFile) {
  onStore = [](const CurrentMessage& one) {
    if (one.msgSubject == "Hello") throw std::runtime_error("no memory");
  };
  readMbox("x.mbox", "From 1\n" + mail("x\n") +
                         "\nFrom 2\nFrom: z@example.com\nSubject: Other\n"
                         "Date: 1 Jan 2024 00:00 +0000\n\nx\n");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"failed no memory 0 x.mbox", "archived 1 137 x.mbox"}));
}

TEST_F(MessageReaderTest, MessagesOfAnMboxAreStoredUnderItsPath) {
  const std::string first = "From a Mon Jan 15\n" + mail("one\n\ntwo\n") + "\n";
  const std::string second = "From b\n" + mail("three\n");
  const std::string separator = "From c Mon Jan 15 10:20:30 2024\n";
  readMbox("x.mbox",
           first + second + "\nFrom now on\nall is new.\n\n" + separator + "\nno header\n");
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].msgMailbox, folder / "x.mbox");
  EXPECT_EQ(stored[0].currentPath, folder / "x.mbox");
  EXPECT_EQ(stored[0].msgOriginal, mail("one\n\ntwo\n"));
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{
                "archived 1 0 x.mbox", "archived 1 " + std::to_string(first.size()) + " x.mbox",
                "dropped not a mail message (no sender, no date) " +
                    std::to_string(first.size() + second.size() + 26) + " x.mbox"}));
  EXPECT_TRUE(stored[1].msgOriginal.ends_with("three\n\nFrom now on\nall is new.\n"));
}

TEST_F(MessageReaderTest, WhatIsMarkedAsDeletedIsLeftOutUnlessItIsWanted) {
  const std::string whole = "Subject: not of an mbox\n" + mail("x\n") + "\nFrom a Mon Jan 15\n" +
                            "From: a@b.c\nDate: Mon, 15 Jan 2024 10:20:30 +0000\nStatus: RD\n\nz\n";
  std::filesystem::create_directories(folder / "new");
  for (const bool leavesOut : {false, true}) {
    stored.clear();
    plan.leavesOutDeleted = leavesOut;
    readMbox("cur/1.host:2,RT", mail("x\n"));
    readMbox("x.mbox", whole);
    readMbox("y.mbox", "Status: D\n" + mail("x\n"));  // a field of the message itself
    EXPECT_EQ(stored.size(), leavesOut ? 2U : 4U);
    EXPECT_EQ(ledger.sums().markedDeleted, leavesOut ? 2 : 0);
  }
}

TEST_F(MessageReaderTest, LabelsBecomeKeywordsWhenTheyAreWanted) {
  for (const bool wanted : {false, true}) {
    plan.gmailLabels = wanted;
    read("x.eml", "X-Gmail-Labels: =?UTF-8?Q?Caf=C3=A9,Home_office?=\n" + mail("x\n"));
    EXPECT_EQ(stored.back().tags.tagKeywords, wanted ? "Caf\u00E9 Home_office" : "");
    EXPECT_EQ(stored.back().tags.tagKeywordsFromFile, stored.back().tags.tagKeywords);
  }
}

TEST_F(MessageReaderTest, FilesThatAreNoMboxEndQuietly) {
  readMbox("empty", "");
  readMbox("x.pdf", "From a\n");
  readMbox("x.mbox/Attachments/1", "From a\n");
  readMbox("binary", std::string("\0\xFF\0From ", 8));
  std::filesystem::create_symlink(folder / "round", folder / "round");
  reader.doMboxFile((folder / "round") + ":::::m");
  std::filesystem::create_directory(folder / "sub");
  reader.doMboxFile((folder / "sub") + ":::::m");
  const std::vector<std::string> lines = ledgerLines();
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "not-mail no message in it - empty", "not-mail PDF document - x.pdf",
                       "not-mail attachment of a message - x.mbox/Attachments/1",
                       "dropped not a mail message (no sender, no date) 0 binary",
                       "unreadable Too many levels of symbolic links - round",
                       "unreadable is a folder - sub"}));
}

TEST_F(MessageReaderTest, WhatIsKnownNotToBeMailIsNamedAndAPipeIsNotOpened) {
  readMbox("x.tgz", "\x1F\x8B\x08 From a\n");
  read("x.eml", "%PDF-1.4\n");
  ASSERT_EQ(::mkfifo((folder / "pipe.eml").c_str(), 0600), 0);
  reader.doOneEmail((folder / "pipe.eml") + ":::::m");
  reader.doMboxFile((folder / "pipe.eml") + ":::::m");
  EXPECT_EQ(ledgerLines(), (std::vector<std::string>{
                               "not-mail gzip archive - x.tgz", "not-mail PDF document - x.eml",
                               "unreadable not a regular file (a pipe) - pipe.eml",
                               "unreadable not a regular file (a pipe) - pipe.eml"}));
}

TEST_F(MessageReaderTest, AFileOfAMaildirIsOneMessageWhateverItsFirstLine) {
  const std::string line = "From ann@example.com Mon Jan 15 10:20:30 2024\n";
  const std::string whole = line + mail("x\n\nFrom here\nTo: you\n\n" + line + "y\n");
  std::filesystem::create_directories(folder / "new");
  for (const bool isMaildir : {false, true}) {
    if (isMaildir) std::filesystem::create_directories(folder / "cur");
    stored.clear();
    plan.importMode = true;
    readMbox("new/1", whole);
    read("new/1.eml:2,S", whole);
    ASSERT_EQ(stored.size(), 2U);
    EXPECT_EQ(stored[0].msgOriginal == whole, isMaildir);
  }
  for (const CurrentMessage& one : stored) {
    EXPECT_EQ(one.msgOriginal, whole);
    EXPECT_EQ(one.msgFrom, "Ann <ann@example.com>");
    EXPECT_EQ(one.msgBody,
              "From here\r\nTo: you\r\n\r\n" + line.substr(0, line.size() - 1) + "\r\ny\r\n");
    EXPECT_TRUE(one.msgHeadings.starts_with("From:")) << one.msgHeadings;
  }
}

TEST_F(MessageReaderTest, AFileOfOneMessageThatIsReadAsAnMboxKeepsItsFirstLine) {
  readMbox("1700000000.M1.host:2,S", mail("x\n"));
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].msgFrom, "Ann <ann@example.com>");
  EXPECT_EQ(stored[0].msgOriginal, mail("x\n"));
}

TEST_F(MessageReaderTest, TheBytesOfEverySourceAreHadBack) {
  const std::string unixText = mail(
      "Gr\xC3\xBC\xC3\x9F"
      "e\n");
  std::string dos = mail(
      "Gr\xFC\xDF"
      "e\n");
  replaceAll(dos, "\n", "\r\n");
  const std::string mixed = mail("one\r\ntwo\n") + std::string(1, '\0');
  read("1.emlx", "9\n" + unixText);
  read("2.eml", dos);
  readMbox("unix.mbox", "From a\n" + unixText + "\nFrom b\n" + mixed);
  readMbox("dos.mbox", "From a\r\n" + dos + "\r\nFrom b\r\n" + dos);
  const std::string expected[] = {"9\n" + unixText, dos, unixText, mixed, dos, dos};
  ASSERT_EQ(stored.size(), std::size(expected));
  for (std::size_t i = 0; i < stored.size(); ++i) {
    const SourceOrigin& origin = stored[i].origin;
    EXPECT_EQ(restoredBytes(stored[i].msgOriginal, origin), expected[i]) << i;
    EXPECT_EQ(origin.sizeBytes, expected[i].size()) << i;
    EXPECT_EQ(origin.exactBytes.has_value(), i == 3) << i;
    EXPECT_TRUE(isValidUtf8(stored[i].msgOriginal)) << i;
    EXPECT_EQ(origin.path, stored[i].currentPath) << i;
  }
  EXPECT_EQ(stored[0].origin.offsetBytes, std::nullopt);
  EXPECT_EQ(stored[3].origin.offsetBytes, ("From a\n" + unixText + "\n").size());
  EXPECT_EQ(stored[1].origin.encoding, mime::SourceEncoding::latin1);
  EXPECT_EQ(stored[2].origin.encoding, mime::SourceEncoding::utf8);
  EXPECT_FALSE(stored[3].msgOriginal.ends_with('\0'));
}

TEST_F(MessageReaderTest, AStubThatWasPutTogetherKeepsItsOwnBytes) {
  folder.write("Attachments/7/2/a.pdf", "content");
  const std::string stub =
      mixed({"Content-Type: text/plain\n\nhello\n",
             "Content-Type: application/pdf\nContent-Disposition: attachment; name=a.pdf\n\n\n"});
  read("Messages/7.partial.emlx", stub);
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_NE(stored[0].msgOriginal, stub);
  EXPECT_EQ(stored[0].origin.exactBytes, stub);
}

TEST_F(MessageReaderTest, NothingIsHeldOfWhatIsTooLongToBeStored) {
  MessageReader::Context limited = context();
  limited.mostUnits = 300;
  MessageReader limitedReader(limited);
  const std::string tooLong = mail(std::string(900, 'x'));
  const std::string several = "From 1\n" + mail("x\n") + "\nFrom 2\n" + tooLong;
  limitedReader.doOneEmail(folder.write("long.eml", tooLong) + ":::::m");
  limitedReader.doMboxFile(folder.write("x.mbox", several + "\nFrom 3\n" + mail("y\n")) + ":::::m");
  plan.importMode = true;
  limitedReader.doOneEmail(folder.write("x.eml.txt", several) + ":::::m");
  const std::string second = std::to_string(several.find("From 2"));
  EXPECT_EQ(
      ledgerLines(),
      (std::vector<std::string>{
          "failed no message of a size that can be stored - long.eml", "archived 1 0 x.mbox",
          "failed no message of a size that can be stored " + second + " x.mbox",
          "archived 1 " + std::to_string(several.size() + 1) + " x.mbox", "archived 1 0 x.eml.txt",
          "failed no message of a size that can be stored " + second + " x.eml.txt"}));
}

TEST_F(MessageReaderTest, AnMboxIsLeftAtTheMessageAtHandWhenTheRunIsCancelled) {
  onStore = [this](const CurrentMessage&) { process.cancelFlag = 1; };
  readMbox("x.mbox", "From 1\n" + mail("x\n") + "\nFrom 2\n" + mail("y\n"));
  EXPECT_EQ(ledgerLines(), (std::vector<std::string>{"archived 1 0 x.mbox"}));
  EXPECT_EQ(process.cancelFlag, 1) << "the walk is to see it, too";
}

/// The clock stands where a test puts it; each look at it may do something else.
class WatchedClock : public FakeEnvironment {
 public:
  [[nodiscard]] std::int64_t now() const override {
    if (onLook) onLook();
    return seconds;
  }
  std::function<void()> onLook;
};

class RestingReaderTest : public MessageReaderTest {
 protected:
  RestingReaderTest() { clock.seconds = kNow; }

  /// Writes a file that was changed so many seconds ago.
  std::string write(const std::string& name, const std::string& bytes, int secondsAgo) {
    const std::string path = folder.write(name, bytes);
    touch(path, kNow - secondsAgo);
    return path;
  }
  static void touch(const std::string& path, std::int64_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  MessageReader::Context watched() {
    return {.process = process,
            .plan = plan,
            .message = message,
            .counters = counters,
            .ledger = ledger,
            .environment = clock,
            .progress = progress,
            .storeLog = log,
            .debugLog = log,
            .storeEmail =
                [this](int) {
                  if (onStore) onStore(message);
                  ledger.close(LedgerOutcome::archived, "1");
                },
            .pause =
                [this] {
                  ++pauses;
                  ++clock.seconds;
                  if (onPause) onPause();
                }};
  }

  static constexpr std::int64_t kNow = 1735689600;
  WatchedClock clock;
  int pauses = 0;
  std::function<void()> onPause;
  MessageReader restingReader{watched()};
};

TEST_F(RestingReaderTest, AYoungFileIsReadWhenItHasRested) {
  restingReader.doOneEmail(write("young.eml", mail("x\n"), 1) + ":::::m");
  EXPECT_EQ(pauses, 4);
  restingReader.doOneEmail(write("rested.eml", mail("x\n"), 1) + ":::::m");
  restingReader.doMboxFile(write("future", "From a\n" + mail("x\n"), -100) + ":::::m");
  EXPECT_EQ(pauses, 4);
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"archived 1 - young.eml", "archived 1 - rested.eml",
                                      "archived 1 0 future"}));
}

TEST_F(RestingReaderTest, WhatIsStillBeingWrittenIsLeftForTheNextRun) {
  const std::string growing = write("growing.mbox", "From a\n" + mail("x\n"), 1);
  onPause = [&] { touch(growing, clock.seconds); };
  restingReader.doMboxFile(growing + ":::::m");
  EXPECT_EQ(pauses, 5);
  restingReader.doOneEmail(write("other.eml", mail("x\n"), -4) + ":::::m");
  EXPECT_EQ(pauses, 5) << "all files of a run are not waited for longer than one";
  EXPECT_EQ(ledgerLines(), (std::vector<std::string>{"postponed still being written - growing.mbox",
                                                     "postponed still being written - other.eml"}));
}

TEST_F(RestingReaderTest, NoOneWaitsWhenTheRunIsCancelled) {
  onPause = [this] { process.cancelFlag = 1; };
  restingReader.doOneEmail(write("young.eml", mail("x\n"), 1) + ":::::m");
  EXPECT_EQ(pauses, 1);
  EXPECT_EQ(ledgerLines(), std::vector<std::string>{});
}

TEST_F(RestingReaderTest, NothingIsStoredOfAFileThatChangesWhileItIsRead) {
  const std::string path = write("1.eml", mail("x\n"), 100);
  clock.onLook = [&] { touch(path, kNow - 50); };
  restingReader.doOneEmail(path + ":::::m");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"postponed changed while it was read - 1.eml"}));
}

TEST_F(RestingReaderTest, TheLastMessageOfAnMboxThatChangesWaitsForTheNextRun) {
  const std::string first = "From 1\n" + mail("x\n");
  const std::string path = write("x.mbox", first + "\nFrom 2\n" + mail("y\n"), 100);
  onStore = [&](const CurrentMessage&) {
    std::ofstream(path, std::ios::app) << "more\n";
    onStore = {};
  };
  restingReader.doMboxFile(path + ":::::m");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"archived 1 0 x.mbox",
                                      "postponed changed while it was read - x.mbox"}));
}

TEST_F(RestingReaderTest, AStubWaitsForItsPartsAndIsNotStoredWithoutThem) {
  const std::string part = write("Messages/7.2.emlxpart", "content", 1);
  const std::string stub = write("Messages/7.partial.emlx", mail("x\n"), 100);
  onPause = [&] { touch(part, clock.seconds); };
  restingReader.doOneEmail(stub + ":::::m");
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{"failed " + part +
                                      ": still being written - Messages/7.partial.emlx"}));
}

TEST_F(MessageReaderTest, ANameThatHoldsTheEndingInItsMiddleIsCutToo) {
  plan.importMode = true;
  read("x.eml.txt", "From 1\n" + mail("x\n") + "\nFrom 2\n" + mail("y\n"));
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].msgOriginal, mail("x\n"));
  EXPECT_EQ(stored[1].msgOriginal, mail("y\n"));
  EXPECT_EQ(stored[1].msgMailbox, "box");
  plan.importMode = false;
  read("x.eml.txt", mail("x\n") + "\nFrom 2\n" + mail("y\n"));
  EXPECT_EQ(stored.size(), 3U);
}

TEST_F(MessageReaderTest, ReadsPackedMailAsIfItLayInAFolder) {
  const std::string mail =
      "From: a@b.example\r\nDate: Mon, 5 Jan 2004 10:00:00 +0000\r\nSubject: "
      "x\r\n\r\nlead\r\n\r\ntext\r\n";
  const std::string from = "From a Sat Jan  3 01:05:34 2004\r\n";
  const std::string path =
      folder.write("all.zip", pack("zip", {},
                                   {{"old/one.eml", mail},
                                    {"old/box", from + mail + "\r\n" + from + mail},
                                    {"Maildir/cur/1:2,S", from + mail},
                                    {"__MACOSX/old/._one.eml", mail},
                                    {"notes.txt", "no mail at all\n"},
                                    {"a.pdf", "%PDF-1.4"},
                                    {"2.partial.emlx", mail}}));
  reader.doPackedFile(path, "zip");
  std::vector<std::string> mailboxes;
  for (const CurrentMessage& one : stored) mailboxes.push_back(one.msgMailbox);
  EXPECT_EQ(mailboxes,
            (std::vector<std::string>{"zip/old", "zip/old/box", "zip/old/box", "zip/Maildir/cur"}));
  ASSERT_FALSE(stored.empty());
  EXPECT_EQ(stored.back().origin.path, path + "/Maildir/cur/1:2,S");
  EXPECT_EQ(stored[0].msgOriginal, stored[1].msgOriginal);
  EXPECT_EQ(ledgerLines(),
            (std::vector<std::string>{
                "archived 1 - all.zip/old/one.eml", "archived 1 0 all.zip/old/box",
                "archived 1 120 all.zip/old/box", "archived 1 - all.zip/Maildir/cur/1:2,S",
                "not-mail hidden file - all.zip/__MACOSX/old/._one.eml",
                "not-mail no mail by its beginning - all.zip/notes.txt",
                "not-mail PDF document - all.zip/a.pdf",
                "unreadable part of a message: unpack the file first - all.zip/2.partial.emlx"}));
}

}  // namespace
}  // namespace keldane
