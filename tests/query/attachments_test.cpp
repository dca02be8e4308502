#include "query/attachments.h"

#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

#include "base/base64.h"
#include "base/shown_text.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

const std::string kBytes("\x00\xFF%PDF\r\n", 8);

using ::testing::ElementsAre;
using namespace std::string_literals;

std::vector<std::string> linkPaths(const AttachmentStrip& strip) {
  std::vector<std::string> paths;
  for (const auto& link : strip.links) paths.push_back(link.path);
  return paths;
}

AttachmentFields fieldsOf(std::vector<ScriptedSession::Row> rows, int answer = 0) {
  ScriptedSession session;
  session.answerOn("query *", std::move(rows));
  EXPECT_TRUE(session.query("SELECT ..."));
  AttachmentFields fields;
  EXPECT_EQ(fields.loadAttachmentRows(session), answer);
  return fields;
}

TEST(AttachmentFieldsTest, HoldsBinaryValuesAsBase64BesideTheirLength) {
  const AttachmentFields fields = fieldsOf({{"text/plain", "a.txt", "3", "\x00\xFF\n"s},
                                            {"text/plain", "b", "1", "x"},
                                            {"text/plain", "c", "0", ""}});
  EXPECT_EQ(fields.attachCount, 3);
  EXPECT_EQ(fields.encodedBytes, 4U);
  EXPECT_THAT(fields.attachFields, ElementsAre("text/plain", "a.txt", "3", "AP8K", "text/plain",
                                               "b", "1", "x", "text/plain", "c", "0", ""));
  EXPECT_THAT(fieldsOf({{"1", "\xFF"}, {std::nullopt, std::nullopt}, {"2", "ab"}}).attachFields,
              ElementsAre("1", "", "", "", "2", "YWI="))
      << "what is not UTF-8 keeps its place";
  EXPECT_EQ(fieldsOf({}, 1).attachCount, 0);
}

TEST(AttachmentFieldsTest, BreaksBehindEveryTwentyGroupsAndLosesNoByte) {
  std::string bytes;
  for (int length = 0; length < 300; ++length) {
    const std::string text = fieldsOf({{"300", bytes}}).attachFields.at(1);
    ASSERT_EQ(decodeBase64(text), bytes);
    EXPECT_EQ(text.find('\n'), length < 58 ? std::string::npos : 80U) << length;
    bytes += static_cast<char>(length * 7);
  }
  EXPECT_EQ(decodeBase64("Q\rU *JD\xFF"), "ABC");
}

TEST(AttachmentStripTest, LinksEveryNameBesideTheText) {
  const AttachmentStrip strip =
      makeAttachmentStrip({"htmlversion.html", "a\n.pdf"}, false, "/work");
  EXPECT_TRUE(strip.isShown);
  EXPECT_EQ(strip.text, "ATTACHMENTS:\n\nhtmlversion.html\n\n\na.pdf\n\n\n\n");
  EXPECT_THAT(linkPaths(strip), ElementsAre("/work/0-KD-htmlversion.html", "/work/1-KD-a.pdf"));
  EXPECT_EQ(strip.text.substr(strip.links[1].offsetBytes, strip.links[1].lengthBytes), "a.pdf");
}

TEST(AttachmentStripTest, ShowsMarksInPlaceOfWhatSteersAView) {
  const AttachmentStrip strip = makeAttachmentStrip({"a\u202Efdp\x1B.exe", "b"}, false, "/work");
  const AttachmentStrip::Link& link = strip.links.at(0);
  EXPECT_EQ(strip.text.substr(link.offsetBytes, link.lengthBytes), "a\uFFFDfdp\uFFFD.exe");
  EXPECT_EQ(strip.text.substr(strip.links.at(1).offsetBytes, 1), "b");
}

TEST(AttachmentStripTest, LeavesTheHtmlVersionOutBesideTheHtmlView) {
  const AttachmentStrip alone = makeAttachmentStrip({"htmlversion.html"}, true, "/work");
  EXPECT_FALSE(alone.isShown);
  EXPECT_EQ(alone.text, "ATTACHMENTS:\n");
  const AttachmentStrip two = makeAttachmentStrip({"htmlversion.html", "a"}, true, "/work/");
  EXPECT_TRUE(two.isShown);
  EXPECT_THAT(linkPaths(two), ElementsAre("/work/1-KD-a"));
  EXPECT_TRUE(makeAttachmentStrip({"htmlversion.html"}, false, "/work").isShown);
  EXPECT_FALSE(makeAttachmentStrip({}, false, "/work").isShown);
}

TEST(SafeFileName, StaysOneFileInItsFolder) {
  struct Case {
    const char* name;
    std::string given;
    std::string safe;
  };
  const Case cases[] = {
      {"plain", "a b.pdf", "a b.pdf"},
      {"unicode", "größe – 日本.txt", "größe – 日本.txt"},
      {"climbing", "../../x", "_._.._x"},
      {"absolute", "/etc/passwd", "_etc_passwd"},
      {"folder", "a/b", "a_b"},
      {"parent", "..", "_."},
      {"this folder", ".", "_"},
      {"hidden", ".bashrc", "_bashrc"},
      {"hidden behind a blank", " .bashrc", "_bashrc"},
      {"empty", "", "noname"},
      {"blank", " \n", "noname"},
      {"NUL", "a\0b"s, "a_b"},
      {"escape sequence", "a\x1B[2J\x7F", "a_[2J_"},
      {"direction turned", "photo\u202Egpj.exe", "photogpj.exe"},
      {"not UTF-8", "a\xFF", "a_"},
      {"long", std::string(300, 'x') + ".pdf", std::string(196, 'x') + ".pdf"},
      {"long ending", "a." + std::string(300, 'x'), "a." + std::string(198, 'x')},
      {"link mark", "a-KD-b", "a-KD-b"},
  };
  for (const Case& each : cases) EXPECT_EQ(safeFileName(each.given), each.safe) << each.name;
  std::string wide;
  for (int i = 0; i < 127; ++i) wide += "€";
  EXPECT_EQ(safeFileName(wide).size(), 198U) << "cut within a character";
}

TEST(ListAttachments, AsksForNoBytes) {
  ScriptedSession session;
  session.answerOn("query *", {{"text/plain", R"(a ""b""\\.txt)", "5000000000"}});
  const auto found = listAttachments(session, 7);
  ASSERT_TRUE(found);
  EXPECT_THAT(session.statements(),
              ElementsAre("SELECT type_fld,filename_fld,LENGTH(attach_fld) FROM attachments "
                          "WHERE id=7"));
  EXPECT_EQ((*found)[0].name, R"(a "b"\.txt)");
  EXPECT_EQ((*found)[0].sizeBytes, 5000000000U);
  session.failOn("query *", "gone");
  EXPECT_FALSE(listAttachments(session, 7));
}

TEST(SaveAttachments, NeverOverwritesAndNeverLeavesTheFolder) {
  TemporaryFolder folder;
  folder.write("out/a.pdf", "mine");
  const std::string victim = folder.write("victim", "mine");
  ASSERT_EQ(::symlink(victim.c_str(), (folder / "out/link").c_str()), 0);
  ScriptedSession session;
  session.answerOn("query *", {{"link", "theirs"},
                               {"a.pdf", "1"},
                               {"a.pdf", kBytes},
                               {"../../x", "3"},
                               {"/etc/passwd", "4"},
                               {"..", "5"},
                               {"", "6"},
                               {"", "7"}});
  const auto saved = saveAttachments(session, 9, folder / "out");
  ASSERT_TRUE(saved) << saved.error();
  const std::string out = folder / "out/";
  EXPECT_THAT(*saved,
              ElementsAre(out + "link-2", out + "a-2.pdf", out + "a-3.pdf", out + "_._.._x",
                          out + "_etc_passwd", out + "_.", out + "noname", out + "noname-2"));
  EXPECT_EQ(folder.read("out/a.pdf") + folder.read("victim"), "minemine");
  EXPECT_EQ(folder.read("out/a-3.pdf"), kBytes);
  EXPECT_EQ(folder.modeOf("out/a-3.pdf"), 0600U);
  EXPECT_THAT(session.statements(),
              ElementsAre("SELECT filename_fld,attach_fld FROM attachments WHERE id=9"));
}

TEST(SaveAttachments, AsksForOneAloneAndTellsOfFailures) {
  TemporaryFolder folder;
  ScriptedSession session;
  ASSERT_TRUE(saveAttachments(session, 9, folder / "made", 2));
  EXPECT_THAT(session.statements().back(),
              "SELECT filename_fld,attach_fld FROM attachments WHERE id=9 LIMIT 2,1");
  EXPECT_EQ(folder.modeOf("made"), 0700U);
  session.failOn("query *", "gone");
  EXPECT_FALSE(saveAttachments(session, 9, folder / "made"));
  folder.write("file", "");
  EXPECT_FALSE(saveAttachments(session, 9, folder / "file"));
}

}  // namespace
}  // namespace keldane
