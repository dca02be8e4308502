#include "base/spooled_text.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

/// Some megabytes, of lines that all differ.
std::string fill(SpooledText& text) {
  std::string expected;
  for (int line = 0; line < 200000; ++line) {
    expected += std::to_string(line) + " is the line\n";
  }
  for (std::size_t at = 0; at < expected.size(); at += 999) text.append(expected.substr(at, 999));
  return expected;
}

std::string read(const SpooledText& text) {
  std::string all;
  std::string_view piece;
  for (const PieceReader next = text.reader(); next(piece).value();) all += piece;
  return all;
}

TEST(SpooledText, GivesBackWhatItWasGivenAndBeginsAnew) {
  const TemporaryFolder folder;
  SpooledText text;
  EXPECT_EQ(read(text), "");
  const std::string expected = fill(text);
  EXPECT_EQ(text.size(), expected.size());
  EXPECT_TRUE(read(text) == expected);
  text.append("and more");
  ASSERT_TRUE(replaceFile(folder / "log", text.reader()));
  EXPECT_TRUE(folder.read("log") == expected + "and more");
  text.clear();
  text.append("new");
  EXPECT_EQ(read(text), "new");
}

TEST(SpooledText, KeepsInMemoryWhatAFullDiskRefuses) {
  const auto fillAndRead = [] {
    SpooledText text;
    const std::string expected = fill(text);
    return read(text) == expected ? 0 : 1;
  };
  EXPECT_EQ(statusWithFileLimit(700000, fillAndRead), 0);
}

}  // namespace
}  // namespace keldane
