#include "ingest/mbox_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::vector<MessagePiece> cut(const std::string& path) {
  MboxReader reader(path);
  const Result<bool> opened = reader.open();
  EXPECT_TRUE(opened);
  std::vector<MessagePiece> pieces;
  while (auto piece = reader.next()) pieces.push_back(std::move(*piece));
  EXPECT_EQ(reader.failure(), "");
  return pieces;
}

struct CutCase {
  const char* name;
  std::string text;  ///< with "\n"
  std::vector<std::string> pieces;
};

class MboxReaderText : public testing::TestWithParam<CutCase> {};

TEST_P(MboxReaderText, IsCutAtEachSeparator) {
  const TemporaryFolder folder;
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    std::string text = GetParam().text;
    replaceAll(text, "\n", end);
    const std::vector<MessagePiece> pieces = cut(folder.write("x.mbox", text));
    ASSERT_EQ(pieces.size(), GetParam().pieces.size()) << "line ends of " << end.size();
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      EXPECT_EQ(pieces[i].text, GetParam().pieces[i]);
      if (i > 0) {
        EXPECT_EQ(text.substr(pieces[i].offsetBytes, 5), "From ");
      }
    }
    EXPECT_EQ(pieces[0].offsetBytes, 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    MboxReader, MboxReaderText,
    testing::Values(
        CutCase{"TwoMessages",
                "From a\nA: 1\n\nx\n\nFrom b\nB: 2\n",
                {"From a\nA: 1\n\nx\n", "b\nB: 2\n"}},
        CutCase{"OneMessage", "From a\nA: 1\n\nx\n", {"From a\nA: 1\n\nx\n"}},
        CutCase{"NoSeparator", "A: 1\n\nx\n", {"A: 1\n\nx\n"}},
        CutCase{"TextBeforeTheFirst", "\nFrom a\nA: 1\nFrom b\n", {"", "a\nA: 1", "b\n"}},
        CutCase{"SeparatorAtTheEnd", "From a\nFrom b\nFrom ", {"From a", "b"}},
        CutCase{"LongMessages",
                "From a\n" + std::string(65530, 'x') + "\nFrom b\n" + std::string(3000000, 'y') +
                    "\nFrom c\n",
                {"From a\n" + std::string(65530, 'x'), "b\n" + std::string(3000000, 'y'), "c\n"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MboxReader, TheWordWithinTheFirstLinesDoesNotHideTheLineEnds) {
  const TemporaryFolder folder;
  for (const std::string end : {"\n", "\r"}) {
    std::string text = "From a\nA: said From y\n>From z\nFrom b\n";
    replaceAll(text, "\n", end);
    const std::vector<MessagePiece> pieces = cut(folder.write("x.mbox", text));
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0].text, "From a\nA: said From y\n>From z");
  }
}

TEST(MboxReader, TellsWhatCannotBeRead) {
  const TemporaryFolder folder;
  for (const std::string& path : {folder / "missing", folder.path(), std::string("/dev/null")}) {
    const Result<bool> opened = MboxReader(path).open();
    ASSERT_FALSE(opened) << path;
    EXPECT_NE(opened.error().find(path), std::string::npos);
  }
  const Result<bool> empty = MboxReader(folder.write("empty", "")).open();
  ASSERT_TRUE(empty);
  EXPECT_FALSE(*empty);
}

}  // namespace
}  // namespace keldane
