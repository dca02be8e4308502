#include "mime/buffers/byte_search.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace keldane::mime {
namespace {

using namespace std::string_view_literals;

/// Short alphabets make near misses common.
std::string randomText(std::mt19937& random, std::size_t size, std::string_view alphabet) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) text += alphabet[random() % alphabet.size()];
  return text;
}

TEST(ByteSearch, FindsWhatAPlainSearchFinds) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    const std::string hay = randomText(random, random() % 90, "abB\0-"sv);
    const std::string needle = randomText(random, 1 + random() % 5, "abB\0-"sv);
    const std::size_t from = random() % 8;
    ASSERT_EQ(findBytes(hay, needle, from), hay.find(needle, from)) << hay << " / " << needle;
    std::string lowHay = hay;
    std::string lowNeedle = needle;
    for (char& c : lowHay) c = asciiLower(c);
    for (char& c : lowNeedle) c = asciiLower(c);
    ASSERT_EQ(findBytesNoCase(hay, needle, from), lowHay.find(lowNeedle, from));
  }
}

TEST(ByteSearch, Edges) {
  EXPECT_EQ(findBytes("abc", ""), std::string_view::npos);
  EXPECT_EQ(findBytes("abc", "c", 9), std::string_view::npos);
  EXPECT_EQ(tn_binstrstr(nullptr, 3, "a", 1), nullptr);
  EXPECT_EQ(findBytesNoCase("[\xC4", "{"), std::string_view::npos);
  EXPECT_EQ(findBytesNoCase("[\xC4", "\xE4"), std::string_view::npos);
  const std::string longNeedle(200, 'n');
  EXPECT_EQ(findBytes("x" + longNeedle, longNeedle), 1U);
}

TEST(ByteSearch, AsciiRuns) {
  for (std::size_t size = 0; size < 150; ++size) {
    std::string text(size, 'a');
    EXPECT_TRUE(isAllAscii(text));
    for (std::size_t at = 0; at < size; at += 7) {
      text[at] = '\x80';
      EXPECT_FALSE(isAllAscii(text));
      EXPECT_EQ(asciiRunLength(text.data(), text.size()), at);
      text[at] = 'a';
    }
  }
}

TEST(Utf8Check, AcceptsOnlyWellFormedText) {
  struct {
    const char* name;
    std::string_view bytes;
    bool good;
  } const rows[] = {
      {"nothing", "", true},
      {"every length", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", true},
      {"NUL", "a\0b"sv, true},
      {"last code point", "\xF4\x8F\xBF\xBF", true},
      {"above it", "\xF4\x90\x80\x80", false},
      {"overlong slash", "\xC0\xAF", false},
      {"overlong of three", "\xE0\x9F\xBF", false},
      {"overlong of four", "\xF0\x8F\xBF\xBF", false},
      {"surrogate", "\xED\xA0\x80", false},
      {"last before the surrogates", "\xED\x9F\xBF", true},
      {"lone continuation", "a\x80", false},
      {"cut short", "a\xE2\x82", false},
      {"lead then ASCII", "\xC3g", false},
      {"five byte form", "\xF8\x88\x80\x80\x80", false},
      {"behind a long run", "0123456789012345678901234567890123456789\xFF", false},
  };
  for (const auto& row : rows) EXPECT_EQ(isValidUtf8(row.bytes), row.good) << row.name;
}

TEST(Utf8Check, ALimitMayCutASequenceButNotHideABadOne) {
  const std::string_view euro = "ab\xE2\x82\xAC";
  for (std::size_t limit = 0; limit <= 6; ++limit) EXPECT_TRUE(isValidUtf8Limited(euro, limit));
  EXPECT_FALSE(isValidUtf8Limited("ab\xE2\x82", 9));
  EXPECT_FALSE(isValidUtf8Limited("ab\xE2\x82zz", 4));
  EXPECT_TRUE(isValidUtf8Limited("ab\xFF", 2));
}

TEST(Utf8Check, LatinShape) {
  EXPECT_TRUE(hasLatinUtf8Shape("0123456789012345\xC3\xA9"));
  EXPECT_TRUE(hasLatinUtf8Shape("\xFF\xC2\x80"));
  EXPECT_FALSE(
      hasLatinUtf8Shape("\xC3"
                        "e\xC2"));
  EXPECT_FALSE(hasLatinUtf8Shape("\xE2\x82\xAC"));
}

TEST(ByteSearch, Iso2022Escapes) {
  EXPECT_TRUE(hasIso2022JpEscape("x\x1B$@\x1B(B"));
  EXPECT_TRUE(hasIso2022JpEscape("\x1B$B"));
  EXPECT_FALSE(hasIso2022JpEscape("\x1B$A \x1B(J \x1B"));
}

}  // namespace
}  // namespace keldane::mime
