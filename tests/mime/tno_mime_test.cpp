#include "mime/tno_mime.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>

namespace keldane::mime {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string treeOf(std::string_view text) {
  TnoMime mime;
  return mime.LoadMime(text) ? mime.describeTree() : "(failed)";
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string regenerated(std::string_view text) {
  TnoMime mime;
  EXPECT_TRUE(mime.LoadMime(text));
  return mime.GetMime().value_or("(none)");
}

TEST(TnoMime, DescribesTheTree) {
  EXPECT_EQ(treeOf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhello\n--b\nContent-Type: "
                   "image/png; name=\"a\x1B[1m\xC2\x9B.png\"\nContent-Disposition: "
                   "inline\nContent-Transfer-Encoding: base64\n\nQUJD\n--b--"),
            "multipart/mixed; 2 parts\n"
            "  (no type); 5 bytes\n"
            "  image/png; encoding=base64; disposition=inline; name=a?[1m?.png; 3 bytes\n");
}

TEST(TnoMime, GivesAHeaderToATextThatBeginsWithADelimiter) {
  struct Row {
    const char* name;
    std::string text;
    std::string tree;
  };
  const std::string two = "multipart/mixed; 2 parts\n  (no type); 3 bytes\n  (no type); 3 bytes\n";
  const Row rows[] = {
      {"CRLF", "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\n", two},
      {"LF", "--b\n\none\n--b\n\ntwo\n--b--\n", two},
      {"blank lines in front", "\r\n \r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\n", two},
      {"LF in front", "\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\n", two},
      {"no line end: a header, if anything", "--b", "(no type); 0 bytes\n"},
      {"empty boundary: kept as one body", "--\r\nX: y\r\n\r\nbody", "multipart/mixed; 16 bytes\n"},
  };
  for (const Row& row : rows) EXPECT_EQ(treeOf(row.text), row.tree) << row.name;
}

TEST(TnoMime, ReplacesTheMailBefore) {
  TnoMime mime;
  ASSERT_TRUE(mime.LoadMime("Subject: one\n\nx"));
  ASSERT_TRUE(mime.LoadMime("From: a@b\n\ny"));
  EXPECT_EQ(mime.GetHeaderField("Subject"), std::nullopt);
  EXPECT_THAT(mime.LastErrorText(), HasSubstr("Header field does not exist"));
  EXPECT_FALSE(mime.LastMethodSuccess());
  EXPECT_EQ(mime.GetHeaderField(" from "), "a@b");
  EXPECT_TRUE(mime.LastMethodSuccess());
}

TEST(TnoMime, ReportsSuccessAndFailure) {
  TnoMime mime;
  ASSERT_TRUE(mime.LoadMime("Subject: x\n\nbody"));
  EXPECT_THAT(mime.LastErrorText(), HasSubstr("Success."));
  EXPECT_THAT(mime.LastErrorText(), Not(HasSubstr("converting to CRLF")));
  mime.setVerboseLogging(true);
  ASSERT_TRUE(mime.LoadMime("Subject: x\n\nbody"));
  EXPECT_THAT(mime.LastErrorText(), HasSubstr("Found LFLF, converting to CRLF"));
  EXPECT_FALSE(mime.LoadMime(std::string(20000001, 'x')));
  EXPECT_FALSE(mime.LastMethodSuccess());
  EXPECT_THAT(mime.LastErrorText(), HasSubstr("Failed."));
}

TEST(TnoMime, LeavesOutABomAndIsEmptyAtFirst) {
  EXPECT_EQ(TnoMime().GetMime(), "\r\n\r\n");
  EXPECT_EQ(regenerated("\xEF\xBB\xBFSubject: x\n\nbody"), "Subject: x\r\n\r\nbody");
}

TEST(TnoMime, KeepsBinaryOutOfTheText) {
  struct Row {
    const char* name;
    std::string header;
    bool asBase64;
  };
  const Row rows[] = {
      {"no encoding", "Content-Type: image/x\n", true},
      {"binary", "Content-Type: image/x\nContent-Transfer-Encoding: Binary\n", true},
      {"8bit stands", "Content-Type: image/x\nContent-Transfer-Encoding: 8bit\n", false},
      {"a message stands", "Content-Type: message/rfc822\n", false},
      {"text stands", "Content-Type: text/plain\n", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TnoMime mime;
    ASSERT_TRUE(mime.LoadMime(row.header + "\né"));
    const std::string before = mime.describeTree();
    const std::string text = mime.GetMime().value_or("");
    EXPECT_EQ(text.find("Content-Transfer-Encoding: base64\r\n\r\nw6k=") != std::string::npos,
              row.asBase64)
        << text;
    // The tree is as it was: writing must not change what a second call gives.
    EXPECT_EQ(mime.describeTree(), replaced(before, "Binary", "binary"));
    EXPECT_EQ(mime.GetMime(), text);
  }
}

}  // namespace
}  // namespace keldane::mime
