#include "ingest/reading/mbox_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

constexpr std::uint64_t kNoLimit = 1U << 30U;

std::vector<MessagePiece> cut(const std::string& path, std::uint64_t limitBytes = kNoLimit) {
  MboxReader reader(path, limitBytes);
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
    const std::vector<MessagePiece> inMemory = cutAtSeparators(text);
    ASSERT_EQ(inMemory.size(), pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      std::string bytes = GetParam().pieces[i];
      replaceAll(bytes, "\n", end);
      EXPECT_EQ(pieces[i].bytes, bytes);
      EXPECT_EQ(inMemory[i].bytes, bytes);
      EXPECT_EQ(inMemory[i].offsetBytes, pieces[i].offsetBytes);
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
                "From a\nTo: 1\n\nx\n\nFrom b\nTo: 2\n",
                {"From a\nTo: 1\n\nx\n", "b\nTo: 2\n"}},
        CutCase{"OneMessage", "From a\nTo: 1\n\nx\n", {"From a\nTo: 1\n\nx\n"}},
        CutCase{"NoSeparator", "To: 1\n\nx\n", {"To: 1\n\nx\n"}},
        CutCase{
            "TextBeforeTheFirst", "\nFrom a\nTo: 1\nFrom b\nTo: 2", {"", "a\nTo: 1", "b\nTo: 2"}},
        CutCase{"NotAtALineOfText",
                "From a\nTo: 1\n\nx\n\nFrom now on\nall: is\n\nFrom Monday, at 3:15\n\nto: you\n\n"
                "From b\nX-Y: z\n >w\nDATE : 1\nFrom c",
                {"From a\nTo: 1\n\nx\n\nFrom now on\nall: is\n\nFrom Monday, at 3:15\n\nto: you\n",
                 "b\nX-Y: z\n >w\nDATE : 1\nFrom c"}},
        CutCase{"ASenderAndADateWithoutAHeader",
                "From a\nx\nFrom b Mon Jan  1 12:00:00 2001\ny\n\n"
                "From - Tue Feb 12 1:00:00 +0100 2001\n\nz\n\nFrom ??? Q  Wed Mar 3 01:00 UTC 2001",
                {"From a\nx\nFrom b Mon Jan  1 12:00:00 2001\ny\n",
                 "- Tue Feb 12 1:00:00 +0100 2001\n\nz\n", "??? Q  Wed Mar 3 01:00 UTC 2001"}},
        CutCase{"BehindTheLineOfTheServerBefore",
                "From a\nTo: 1\nFrom b\n>From c\nTo: 2\n",
                {"From a\nTo: 1", "b\n>From c\nTo: 2\n"}},
        CutCase{"AHeaderLongerThanIsLookedAt",
                "From a\nTo: 1\nFrom b\nX: " + std::string(5000, 'y') + "\nTo: 2\n",
                {"From a\nTo: 1", "b\nX: " + std::string(5000, 'y') + "\nTo: 2\n"}},
        CutCase{"LongMessages",
                "From a\n" + std::string(65530, 'x') +
                    "\nFrom b\nTo: " + std::string(3000000, 'y') + "\nFrom c\nTo: 1\n",
                {"From a\n" + std::string(65530, 'x'), "b\nTo: " + std::string(3000000, 'y'),
                 "c\nTo: 1\n"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MboxReader, TheWordWithinTheFirstLinesDoesNotHideTheLineEnds) {
  const TemporaryFolder folder;
  for (const std::string end : {"\n", "\r"}) {
    for (const std::size_t size : {3, 2000000}) {
      std::string text =
          "From a\n" + std::string(size, 'x') + "\nA: said From y\n>From z\nFrom b\nTo: 1";
      replaceAll(text, "\n", end);
      const std::vector<MessagePiece> pieces = cut(folder.write("x.mbox", text));
      ASSERT_EQ(pieces.size(), 2U) << size;
      EXPECT_TRUE(pieces[0].bytes.ends_with(">From z"));
    }
  }
}

TEST(MboxReader, BytesThatAreNoTextAreHandedOutAsTheyStand) {
  const TemporaryFolder folder;
  const std::string first = std::string("\xEF\xBB\xBF") + "From a\nA: \xFF";
  const std::string second("b\nTo: x\0y\0\0", 11);
  const std::vector<MessagePiece> pieces = cut(folder.write("x.mbox", first + "\nFrom " + second));
  ASSERT_EQ(pieces.size(), 2U);
  EXPECT_EQ(pieces[0].bytes, first);
  EXPECT_EQ(pieces[1].bytes, second);
}

TEST(MboxReader, APieceBeyondTheLimitIsPassedOver) {
  const TemporaryFolder folder;
  for (const std::size_t size : {std::size_t{200}, std::size_t{70000}, std::size_t{5000000}}) {
    const std::string text =
        "From a\nA: 1\nFrom b\nTo: \nFrom x\n" + std::string(size, 'x') + "\nFrom c\nCc: 1\n";
    const std::vector<MessagePiece> pieces = cut(folder.write("x.mbox", text), 100);
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[0].bytes, "From a\nA: 1");
    EXPECT_TRUE(pieces[1].isTooLong);
    EXPECT_EQ(pieces[1].bytes, "");
    EXPECT_EQ(pieces[1].offsetBytes, text.find("From b"));
    EXPECT_EQ(pieces[2].bytes, "c\nCc: 1\n");
    EXPECT_EQ(pieces[2].offsetBytes, text.find("From c"));
    const std::vector<MessagePiece> one =
        cut(folder.write("image", std::string(size, '\0') + "end"), 100);
    ASSERT_EQ(one.size(), 1U);
    EXPECT_TRUE(one[0].isTooLong);
  }
}

TEST(MboxReader, KnowsThatNothingIsLeftWithItsLastPiece) {
  const TemporaryFolder folder;
  for (const std::uint64_t limit : {kNoLimit, std::uint64_t{1}}) {
    MboxReader reader(folder.write("x.mbox", "From a\nA: 1\nFrom b\nTo: 2\n"), limit);
    ASSERT_TRUE(reader.open());
    ASSERT_TRUE(reader.next());
    EXPECT_FALSE(reader.isAtEnd());
    ASSERT_TRUE(reader.next());
    EXPECT_TRUE(reader.isAtEnd());
    EXPECT_FALSE(reader.next());
  }
}

TEST(MboxReader, TellsWhyAFileCannotBeRead) {
  const TemporaryFolder folder;
  const std::pair<std::string, std::string> cases[] = {
      {folder / "missing", "No such file or directory"},
      {folder.path(), "is a folder"},
      {"/dev/null", "not a regular file (a device)"}};
  for (const auto& [path, reason] : cases) {
    const Result<bool> opened = MboxReader(path, kNoLimit).open();
    ASSERT_FALSE(opened) << path;
    EXPECT_EQ(opened.error(), reason);
  }
  const Result<bool> empty = MboxReader(folder.write("empty", ""), kNoLimit).open();
  ASSERT_TRUE(empty);
  EXPECT_FALSE(*empty);
}

}  // namespace
}  // namespace keldane
