#include <algorithm>
#include <map>

#include "archive/mboxrd_form.h"
#include "archive/source_origin.h"
#include "base/files.h"
#include "base/text.h"
#include "output/folder_exports.h"
#include "output/mbox_exports.h"
#include "output/table_exports.h"
#include "tests/output/output_rig.h"

namespace keldane {
namespace {

class LosslessExports : public OutputRig {
 protected:
  /// A message as a run leaves it that has read these bytes.
  void archive(int id, std::string bytes, const std::string& path = "/mail/1.eml") {
    addMessage(id, "2024-01-05 10:20:30", "Ann/.. <ann@example.com>", "a: b?\n../c", "b");
    const SourceOrigin origin = takeText(bytes, encodingOf(bytes));
    addSource(id, bytes.substr(0, bytes.find('\0')));
    note(id, origin, path);
  }
  void note(int id, const SourceOrigin& origin, const std::string& path) {
    Fingerprint row;
    row.sourceSha256 = origin.sha256;
    row.sizeBytes = origin.sizeBytes;
    row.encoding = origin.encoding;
    row.lineEnds = static_cast<int>(origin.lineEnds);
    row.path = path;
    row.exactBytes = origin.exactBytes ? &*origin.exactBytes : nullptr;
    ASSERT_TRUE(Fingerprints({*session}).write(static_cast<std::uint32_t>(id), row));
  }
  /// The files of a folder, in the order of their names.
  std::vector<std::string> filesOf(const std::string& below) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / below)) {
      names.push_back(below + "/" + entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

/// The sources of the messages that any reader of mbox files finds.
std::vector<std::string> sourcesIn(const std::string& mbox) {
  std::vector<std::string> messages;
  for (std::size_t at = 0; at < mbox.size();) {
    const std::size_t next = mbox.find("\nFrom ", at);
    const std::size_t end = next == std::string::npos ? mbox.size() : next + 1;
    messages.push_back(mbox.substr(at, end - at));
    EXPECT_TRUE(messages.back().ends_with("\n\n") || messages.back().ends_with("\r\n\n"));
    EXPECT_TRUE(restoreMboxrd(messages.back(), true)) << messages.back();
    at = end;
  }
  return messages;
}

TEST_F(LosslessExports, EverySourceIsHadBackToTheByte) {
  const std::vector<std::string> sources = {
      "S: lf\n\nFrom a\n>From b\n>>From c\n",
      "S: crlf\r\n\r\nFrom a\r\n",
      "S: cr\r\rb",
      "S: latin \xE9\n\nno end",
      "S: mixed\r\n\nb\n\n\n",
      "S: nul\n\na" + std::string(1, '\0') + "b\n",
      "From own line\nS: own\n\nFrom x\n",
      ">From quoted first line\n\n",
      "From own line\r\nS: own, crlf\r\n\r\nno end",
      "From x remote from keldane-export.own",
      "From x\r\n\r\n>From y",
      "no header",
  };
  std::vector<std::uint32_t> all;
  for (std::size_t i = 0; i < sources.size(); ++i) {
    all.push_back(static_cast<std::uint32_t>(i + 1));
    archive(static_cast<int>(i + 1), sources[i]);
  }
  auto report = exportMboxrd(context, ids(all), folder / "rd", true);
  ASSERT_TRUE(report) << report.error();
  EXPECT_EQ(report->sources.exact, sources.size());
  EXPECT_EQ(sourcesIn(folder.read("rd")), sources);

  report = exportEml(context, ids(all), folder / "eml", true);
  ASSERT_TRUE(report) << report.error();
  const std::vector<std::string> files = filesOf("eml");
  ASSERT_EQ(files.size(), sources.size());
  EXPECT_EQ(files[0], "eml/2024-01-05 10.20 Ann_.. a_ b_ .._c 1.eml");
  for (const std::string& file : files) {
    const std::size_t id = std::stoul(file.substr(file.rfind(' ') + 1));
    EXPECT_EQ(folder.read(file), sources[id - 1]);
  }

  report = exportMaildir(context, ids(all), folder / "maildir", true);
  ASSERT_TRUE(report) << report.error();
  ASSERT_TRUE(exportMaildir(context, ids(all), folder / "maildir", true));
  std::vector<std::string> read;
  for (const std::string& file : filesOf("maildir/cur")) read.push_back(folder.read(file));
  std::vector<std::string> wanted = sources;
  std::sort(wanted.begin(), wanted.end());
  std::sort(read.begin(), read.end());
  EXPECT_EQ(read, wanted) << "a second export replaces the files of the first";
  EXPECT_TRUE(filesOf("maildir/tmp").empty() && isDirectory(folder / "maildir/new"));
}

TEST_F(LosslessExports, WhatIsNotExactIsCountedAndRefusedWhenItMustBe) {
  archive(1, "12\nS: emlx\n\nab\n<?xml list>", "/m/1.emlx");
  archive(2, "S: changed since\n\n");
  run("UPDATE origemail SET orig_fld='S: other\n' WHERE id=2");
  addMessage(3, "2024-01-05 10:20:30", "Ann", "rebuilt\nBcc: x@example.com", "body");
  addAttachment(3, "image/png", "a\"/../b.png", "\x89PNG");
  std::string stub = "14\nS: stub\n\n\nab\n<xml>";
  const SourceOrigin origin = takeText(stub, mime::SourceEncoding::utf8);
  SourceOrigin kept = origin;
  kept.exactBytes = stub;
  addMessage(4, "2024-01-05 10:20:30", "Ann", "stub", "body");
  addSource(4, "S: stub\n\nput together\n");
  note(4, kept, "/m/1.partial.emlx");
  const auto report = exportEml(context, ids({1, 2, 3, 4, 99}), folder / "eml", false);
  ASSERT_TRUE(report) << report.error();
  EXPECT_EQ(report->messages, 4U);
  EXPECT_EQ(report->sources.exact, 1U);
  EXPECT_EQ(report->sources.asText, 1U);
  EXPECT_EQ(report->sources.rebuilt, 1U);
  EXPECT_EQ(report->sources.assembled, 1U);
  std::map<char, std::string> byId;
  for (const std::string& file : filesOf("eml")) byId[file[file.size() - 5]] = folder.read(file);
  EXPECT_EQ(byId['1'], "S: emlx\n\nab\n");
  EXPECT_EQ(byId['2'], "S: other\n");
  EXPECT_EQ(byId['4'], "S: stub\n\nput together\n");
  EXPECT_NE(byId['3'].find("\nSubject: rebuilt Bcc: x@example.com\n"), std::string::npos);
  EXPECT_NE(byId['3'].find("filename=\"a__.._b.png\"\n\niVBORw==\n"), std::string::npos);
  for (const std::uint32_t id : {2U, 3U, 4U}) {
    const auto refused = exportMboxrd(context, ids({1, id}), folder / "rd", true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().find(fmt::format("message {} cannot be given back", id)), 0U);
    EXPECT_FALSE(fileExists(folder / "rd"));
  }
  run("DROP TABLE keldane_fingerprints");
  EXPECT_EQ(exportMboxrd(context, ids({1}), folder / "rd", false)->sources.asText, 1U);
}

TEST_F(LosslessExports, CsvAndJsonHoldAllColumns) {
  addMessage(1, "2024-01-05 10:20:30", "Ann, A", "say \"x\"", "one\r\ntwo");
  run("INSERT INTO tags VALUES(1,'Work','a b',3,'n\nm')");
  addSource(1, "S: \x01\\\n");
  addAttachment(1, "text/plain", "a.txt", "abc");
  ASSERT_TRUE(exportCsv(context, ids({1}), folder / "c"));
  EXPECT_EQ(folder.read("c"),
            "id,date,from,to,subject,mailto,mailbox,body,numattach,attachnames,attachtext,headings,"
            "category,keywords,priority,notes\r\n1,2024-01-05 10:20:30,\"Ann, A\",\"b@example.org, "
            "c@example.org\",\"say \"\"x\"\"\",ann@example.com,In,\"one\r\ntwo\",0,,,h,Work,a b,3,"
            "\"n\nm\"\r\n");
  ASSERT_TRUE(exportJson(context, ids({1}), folder / "j", true));
  EXPECT_EQ(folder.read("j"),
            R"({"id":1,"date":"2024-01-05 10:20:30","from":"Ann, A",)"
            R"("to":"b@example.org, c@example.org","subject":"say \"x\"",)"
            R"("mailto":"ann@example.com","mailbox":"In","body":"one\r\ntwo","numattach":0,)"
            R"("attachnames":"","attachtext":"","headings":"h",)"
            R"("tags":{"category":"Work","keywords":"a b","priority":3,"notes":"n\nm"},)"
            R"("source":"S: \u0001\\\n",)"
            R"("attachments":[{"name":"a.txt","type":"text/plain","size":3,"base64":"YWJj"}]})"
            "\n");
  run("DELETE FROM tags");
  ASSERT_TRUE(exportJson(context, ids({1}), folder / "j", false));
  EXPECT_NE(folder.read("j").find(R"("tags":null)"), std::string::npos);
  EXPECT_EQ(folder.read("j").find("base64"), std::string::npos);
}

}  // namespace
}  // namespace keldane
