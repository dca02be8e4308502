#include "base/text.h"

#include <gtest/gtest.h>

namespace keldane {
namespace {

struct LengthCase {
  const char* name;
  std::string text;
  std::size_t units;
  bool valid;
};

TEST(Text, CountsUtf16Units) {
  const LengthCase cases[] = {
      {"ascii", "mail", 4, true},
      {"two bytes", "\xC3\xBC", 1, true},
      {"three bytes", "\xE2\x82\xAC", 1, true},
      {"outside the first plane", "\xF0\x9F\x93\xA7", 2, true},
      {"zero byte", std::string("a\0b", 3), 3, true},
      {"lone continuation", "a\x80", 2, false},
      {"cut character", "\xE2\x82", 2, false},
      {"overlong slash", "\xC0\xAF", 2, false},
      {"overlong of three", "\xE0\x80\xAF", 3, false},
      {"surrogate", "\xED\xA0\x80", 3, false},
      {"above the last plane", "\xF4\x90\x80\x80", 4, false},
      {"Latin 1 inside", "gr\xFC\xDF", 4, false},
  };
  for (const LengthCase& c : cases) {
    EXPECT_EQ(utf16Length(c.text), c.units) << c.name;
    EXPECT_EQ(isValidUtf8(c.text), c.valid) << c.name;
    std::string repaired = c.text;
    repairUtf8(repaired);
    EXPECT_TRUE(isValidUtf8(repaired)) << c.name;
    EXPECT_EQ(repaired == c.text, c.valid) << c.name;
  }
}

TEST(Text, PrefixFitsAndCutsNoCharacter) {
  const std::string text = "a\xC3\xBC\xF0\x9F\x93\xA7\x80z";  // units: 1 1 2 1 1
  const std::size_t ends[] = {0, 1, 3, 3, 7, 8, 9, 9};
  for (std::size_t units = 0; units < std::size(ends); ++units) {
    EXPECT_EQ(utf16Prefix(text, units).size(), ends[units]) << units;
  }
}

TEST(Text, ReplacesLeftToRightWithoutLookingBack) {
  struct {
    const char* name;
    std::string text, from, to, result;
  } const cases[] = {
      {"doubling", "a\\b\\", "\\", "\\\\", "a\\\\b\\\\"},
      {"overlap", "aaa", "aa", "b", "ba"},
      {"result holds the pattern", "ab", "a", "aa", "aab"},
      {"removal", "--x--", "--", "", "x"},
      {"empty pattern", "x", "", "y", "x"},
  };
  for (const auto& c : cases) {
    std::string text = c.text;
    replaceAll(text, c.from, c.to);
    EXPECT_EQ(text, c.result) << c.name;
  }
}

TEST(Text, TrimsEverySpaceAndNothingElse) {
  EXPECT_EQ(trimWhitespace("\t\r\n x y \v\f"), "x y");
  EXPECT_EQ(trimWhitespace("\xC2\xA0\xE2\x80\x89x\xE3\x80\x80\xC2\x85"), "x");
  EXPECT_EQ(trimWhitespace(" \xE2\x80\xA9 "), "");
  // Bytes that look like the end of a space in another encoding belong to the text.
  EXPECT_EQ(trimWhitespace("\xA0x\x85"), "\xA0x\x85");
  EXPECT_EQ(trimWhitespace("\xC3\xA0"), "\xC3\xA0");
}

TEST(Text, MakesEveryLineEndANewline) {
  std::string text = "a\r\nb\rc\nd\r\r\ne\r";
  normalizeLineEnds(text);
  EXPECT_EQ(text, "a\nb\nc\nd\n\ne\n");
}

TEST(Text, ReadsForeignBytesAsLatin1) {
  EXPECT_EQ(toUtf8("gr\xFC\xDF"), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(toUtf8("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
}

TEST(Text, ComparesWithoutCase) {
  EXPECT_EQ(compareNoCase("\xC3\x84pfel", "\xC3\xA4PFEL"), 0);
  EXPECT_EQ(compareNoCase("\xCE\xA3\xCE\x91\xCE\xA3", "\xCF\x83\xCE\xB1\xCF\x82"), 0);
  EXPECT_LT(compareNoCase("abc", "ABD"), 0);
  EXPECT_GT(compareNoCase("ab", "A"), 0);
  EXPECT_LT(compareNoCase("", "a"), 0);
  EXPECT_NE(compareNoCase("\xFC", "\xC3\xBC"), 0);
  const char* const texts[] = {"",
                               "a",
                               "AB",
                               "ab",
                               "abc",
                               "z",
                               "\xC3\x84pfel",
                               "\xC3\xA4P",
                               "\xFC",
                               "\xC3\xBC",
                               "\xF0\x9F\x98\x80",
                               "\xFFz"};
  for (const std::string_view a : texts) {
    for (const std::string_view b : texts) {
      EXPECT_EQ(foldedKey(a) < foldedKey(b), compareNoCase(a, b) < 0) << a << " " << b;
    }
  }
}

TEST(Text, FindsWithoutCaseAtTheByteWhereItStands) {
  struct {
    const char* name;
    std::string text, needle;
    std::optional<std::size_t> at;
  } const cases[] = {
      {"start", "Subject", "SUB", 0},
      {"middle", "x INBOX", "inbox", 2},
      {"after wide characters", "\xE2\x82\xAC\xC3\x84\xC3\x84x", "\xC3\xA4X", 5},
      {"border inside the needle", "aabaabaaac", "aabaaac", 3},
      {"folding to fewer bytes", "\u212Aelvin", "kelvin", 0},
      {"tag behind pieces of one", "<<hT<HTml>", "<html", 4},
      {"no piece of a tag", "html", "<html", std::nullopt},
      {"absent", "abc", "abd", std::nullopt},
      {"longer than the text", "ab", "abc", std::nullopt},
      {"empty", "abc", "", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(findNoCase(c.text, c.needle), c.at) << c.name;
}

TEST(Text, FindsInHostileText) {
  const std::string text(2000000, 'a');
  const std::string needle = std::string(100000, 'a') + "b";
  EXPECT_EQ(findNoCase(text, needle), std::nullopt);
}

TEST(Text, ReadsLeadingNumbers) {
  struct {
    const char* text;
    int integer;
    double number;
  } const cases[] = {
      {"", 0, 0},      {"x1", 0, 0},   {" \t12 rows", 12, 12}, {"-7", -7, -7}, {"+3.5", 3, 3.5},
      {"1.6", 1, 1.6}, {".5", 0, 0.5}, {"5.", 5, 5},           {"1,6", 1, 1},  {"2e3", 2, 2000},
      {"2e", 2, 2},    {"--1", 0, 0},  {"0x10", 0, 0},         {"nan", 0, 0},  {"-", 0, 0},
      {"007", 7, 7},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(leadingInt(c.text), c.integer) << c.text;
    EXPECT_DOUBLE_EQ(leadingDouble(c.text), c.number) << c.text;
  }
  EXPECT_EQ(leadingInt("99999999999999999999"), 2147483647);
  EXPECT_EQ(leadingInt("-99999999999999999999"), -2147483647 - 1);
}

TEST(Text, MatchesWildcardsOverTheWholeText) {
  struct {
    const char* text;
    const char* pattern;
    bool matches;
  } const cases[] = {
      {"MySQL server has gone away", "*has gone away*", true},
      {"has gone away", "*has gone away*", true},
      {"has gone", "*has gone away*", false},
      {"abc", "abc", true},
      {"abcd", "abc", false},
      {"", "*", true},
      {"aXbXc", "a*b*c", true},
      {"ab", "ab*b", false},  // the end may not reuse what the start has taken
      {"aab", "*ab", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(matchesWildcard(c.text, c.pattern), c.matches) << c.text << " / " << c.pattern;
  }
}

TEST(Text, SplitsAndJoins) {
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(split("path:::::box", ":::::"), (Pieces{"path", "box"}));
  EXPECT_EQ(split("", ","), (Pieces{""}));
  EXPECT_EQ(split(",a,,", ","), (Pieces{"", "a", "", ""}));
  EXPECT_EQ(join({"a", "", "b"}, ","), "a,,b");
  EXPECT_EQ(join({}, ","), "");
}

TEST(Text, LeavesNothingThatSteersATerminal) {
  EXPECT_EQ(printable("a\x1B[31m\x7F"), "a\xEF\xBF\xBD[31m\xEF\xBF\xBD");
  EXPECT_EQ(printable("a\u202Eb\u2067c\u200Fd"), "abc\u200Fd");
  EXPECT_EQ(printable("a\tb\r\nc"), "a b  c");
  EXPECT_EQ(printable("\u009B31m"), "\uFFFD31m");
  EXPECT_EQ(printable("\23331m"), "\uFFFD31m");
  EXPECT_EQ(printable("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
}

}  // namespace
}  // namespace keldane
