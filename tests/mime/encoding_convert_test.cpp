#include "mime/charsets/encoding_convert.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mime/charsets/utf_convert.h"

namespace keldane::mime {
namespace {

using namespace std::string_view_literals;

std::string converted(EncodingConvert& convert, int from, int to, std::string_view in,
                      bool wanted = true) {
  DataBuffer out;
  LogNull log;
  EXPECT_EQ(convert.EncConvert(from, to, in, out, log), wanted) << from << " to " << to;
  return std::string(out.view());
}

struct Row {
  const char* name;
  int from;
  int to;
  std::string_view in;
  std::string_view out;
  bool foundErrors = false;
};

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EncodingConvert convert;
    EXPECT_EQ(converted(convert, row.from, row.to, row.in), row.out);
    EXPECT_EQ(convert.foundErrors(), row.foundErrors);
  }
}

TEST(EncodingConvert, SingleBytePages) {
  check({
      {"1252", 1252, 65001, "caf\xE9 \x80", "café €"},
      {"holes vanish", 1252, 65001, "a\x81\x8D\x8F\x90\235b", "ab", true},
      {"28591 has controls", 28591, 65001, "\x80", "\xC2\x80"},
      {"NUL vanishes", 1252, 65001, "a\0\0b"sv, "ab"},
      {"NUL stays in UTF-16", 1252, 1200, "a\0"sv, "a\0\0\0"sv},
      {"page to page", 1251, 20866, "\xCF\xF0", "\xF0\xD2"},
      {"EBCDIC", 37, 65001, "\xC8\xC9", "HI"},
      {"what the target lacks vanishes", 65001, 1252, "aП😀z", "az", true},
      {"to us-ascii", 28591, 20127, "caf\xE9", "caf", true},
      {"Mac Croatian", 10082, 65001, "\xA9\xB9", "Šš"},
  });
}

TEST(EncodingConvert, TwoBytePages) {
  check({
      {"932", 932, 65001, "\x93\xFA\x96{ \xB1", "日本 ｱ"},
      {"EUC-JP", 51932, 65001, "\xC6\xFC\x8E\xB1\x8F\xB0\xA1", "日ｱ丂"},
      {"to EUC-JP", 65001, 51932, "日ｱ丂", "\xC6\xFC\x8E\xB1\x8F\xB0\xA1"},
      {"EUC-KR is part of 949", 51949, 65001, "\xC7\xD1\x81\x41x", "한x", true},
      {"EUC-CN is part of 936", 51936, 65001, "\xD6\xD0\x81\x40x", "中x", true},
      {"a bad lead takes two", 936, 65001, "a\377Ab", "ab", true},
      {"four-byte GB 18030 is outside", 936, 65001, "a\x81\x30\x81\x30z", "az", true},
      {"a lone lead at the end", 932, 65001, "a\x93", "a", true},
      {"a bad pair takes one elsewhere", 20936, 65001, "\x81\x40x", "@x", true},
      {"extension kanji as Windows writes them", 65001, 932, "髙", "\xFB\xFC"},
      {"Mac Japanese", 10001, 65001, "\x93\xFA\x80\xFE", "日\\™"},
      {"Mac Chinese", 10008, 65001, "\xD6\xD0\xA0", "中\xC2\xA0"},
      {"Mac Chinese, traditional", 10002, 65001, "\xA4\xA4", "中"},
      {"Mac Korean", 10003, 65001, "\xC7\xD1", "한"},
      {"johab", 1361, 65001, "\xD0\x65", "한"},
      {"T.61", 20261, 65001, "\302e", "é"},
  });
}

TEST(EncodingConvert, UnicodeForms) {
  check({
      {"BOM overrides the name", 1200, 65001, "\xFE\xFF\0A"sv, "A"},
      {"BOM overrides the other way", 1201, 65001, "\xFF\376A\0"sv, "A"},
      {"only a BOM", 1200, 65001, "\xFF\xFE", ""},
      {"UTF-8 BOM", 65001, 1252, "\xEF\xBB\xBFé", "\xE9"},
      {"BOM of another family is text", 1252, 65001, "\xFF\xFE", "ÿþ"},
      {"UTF-32 BOM overrides", 12000, 65001, "\0\0\xFE\xFF\0\0\0A"sv, "A"},
      {"surrogate pair", 1201, 65001, "\xD8\x3D\xDE\x00"sv, "😀"},
      {"unpaired surrogates", 1201, 65001, "\xDE\x00\0a\xD8\x3D"sv, "\xED\xB8\200a\xED\xA0\xBD"},
      {"U+0000 is skipped", 1200, 65001, "a\0\0\0b\0"sv, "ab"},
      {"to big-endian", 65001, 1201, "A€", "\0A\x20\xAC"sv},
      {"byte order", 1201, 1200, "\0A\x20\xAC"sv, "A\0\xAC\x20"sv},
      {"byte order back", 1200, 1201, "A\0\xAC\x20"sv, "\0A\x20\xAC"sv},
      {"to UTF-32", 1252, 12000, "\x80", "\xAC\x20\0\0"sv},
      {"to UTF-32 big-endian", 65001, 65006, "😀", "\0\x01\xF6\0"sv},
      {"from UTF-32", 65005, 65001, "\0\xF6\x01\0A\0\0\0"sv, "😀A"},
      {"bad UTF-8 to UTF-32", 65001, 12000, "\xEF\xBB\xBF\x80z", "z\0\0\0"sv, true},
      {"UTF-32 out of range", 12000, 65001, "\0\0\x11\0A\0\0\0B"sv, "A", true},
      {"bad UTF-8 takes what the lead promises", 65001, 1252, "a\351bcd", "ad", true},
      {"stray continuation", 65001, 1252, "a\200b", "ab", true},
      {"five-byte form", 65001, 1252, "a\xF8xxxxb", "ab", true},
      {"cut at the end", 65001, 1252, "a\xE2\x82", "a", true},
  });
}

TEST(EncodingConvert, SevenBitForms) {
  check({
      {"UTF-7", 65000, 65001, "Hi +AKM- +2D3eAA-!+-", "Hi £ 😀!+"},
      {"UTF-7 without closing", 65000, 65001, "+AKM. x", "£. x"},
      {"to UTF-7", 65001, 65000, "A+£~b", "A+-+AKMAfg-b"},
      {"ISO-2022-JP", 50220, 65001, "a\x1B$BF|K\\\x1B(Bz", "a日本z"},
      {"a line end closes it", 50222, 65001, "\x1B$BF|\nok", "日\nok"},
      {"katakana by escape", 50221, 65001, "\x1B(I1\x1B(J1", "ｱ1"},
      {"katakana by shift", 50222, 65001, "\0161\0171", "ｱ1"},
      {"other sets are dropped", 50222, 65001, "a\x1B$(D0!\x1B(Bz", "az", true},
      {"to 932 it is only rewritten", 50220, 932, "\x1B$BF|\x1B(B", "\x93\xFA"},
      {"to ISO-2022-JP", 65001, 50220, "a日ｱ", "a\x1B$BF|\x1B(I1\x1B(B"},
      {"vendor kanji inside the rows", 65001, 50220, "髙", "\x1B$B|b\x1B(B"},
      {"ISO-2022-KR", 50225, 65001, "\x1B$)Ca\x0EGQ\x0Fz", "a한z"},
      {"to ISO-2022-KR", 65001, 50225, "a한", "\x1B$)Ca\x0EGQ\x0F"},
      {"GSM", 55000, 65001, "\x00\x65\x1B\x65\x1B\x3C"sv, "@e€["},
      {"to GSM", 65001, 55000, "@€é日", "\x00\x1B\x65\x05"sv, true},
      {"GSM to a page", 55000, 1252, "\x05", "\xE9"},
      {"page to GSM", 1252, 55000, "\xE9", "\x05"},
      {"us-ascii to Latin keeps 8-bit bytes", 20127, 28591, "a\xE9", "a\xE9"},
      {"us-ascii to UTF-8 keeps them too", 20127, 65001, "a\xE9", "a\xE9"},
      {"us-ascii elsewhere drops them", 20127, 932, "a\xE9z", "az", true},
      {"us-ascii to UTF-16", 20127, 1200, "a\xE9z", "a\0z\0"sv, true},
      {"HZ", 52936, 65001, "a~{VP~}z", "a中z"},
      {"to HZ and back to plain", 65001, 52936, "中!", "~{VP~}!"},
      {"EBCDIC with kanji", 50930, 65001, "\x0E\x45\x41\x0F", "一"},
  });
}

TEST(EncodingConvert, MacArabicIsPutInReadingOrder) {
  // Right-to-left blank, digit one and two letters as they stand on the screen.
  EncodingConvert convert;
  EXPECT_EQ(converted(convert, 10004, 65001, "a\xC8\xC7\xA0\xB1z\x80"), "a١ ابzÄ");
}

TEST(EncodingConvert, WaysRoundTheConversion) {
  EncodingConvert convert;
  EXPECT_EQ(converted(convert, 1252, 65001, "%PDF-1\xE9"), "%PDF-1\xE9");
  EXPECT_EQ(converted(convert, 1, 65001, "%PDF-1x"), "%PDF-1x");
  EXPECT_EQ(converted(convert, 28591, 65001, "%PDF-1"), "%PDF-1");
  EXPECT_EQ(converted(convert, 0, 1252, "\x81"), "\x81");
  EXPECT_EQ(converted(convert, 1252, 0, "\x81"), "\x81");
  EXPECT_EQ(converted(convert, 777, 777, "\x81"), "\x81");
  EXPECT_EQ(converted(convert, 1252, 65001, ""), "");
}

TEST(EncodingConvert, FalseForWhatCannotBeConverted) {
  EncodingConvert convert;
  for (const int page : {1, 2, 25, 99, -5, 29001, 50000, 777, 55001}) {
    EXPECT_EQ(converted(convert, page, 65001, "abc", false), "");
    EXPECT_EQ(converted(convert, 1252, page, "abc", false), "");
  }
  DataBuffer out;
  LogNull log;
  StringBuffer name("no such charset");
  EXPECT_FALSE(convert.ChConvert2(name, 65001, "a", 1, out, log));
  EXPECT_FALSE(convert.ChConvert3p(65001, "no such charset", "a", 1, out, log));
  EXPECT_TRUE(convert.ChConvert2p("Latin1", 65001, "\xE9", 1, out, log));
  EXPECT_EQ(out.view(), "é");
}

TEST(EncodingConvert, AnOddUtf16LengthIsFalseWithTheRestConverted) {
  EncodingConvert convert;
  for (const int to : {65001, 1252}) {
    EXPECT_EQ(converted(convert, 1200, to, "A\0B"sv, false), "A");
    EXPECT_EQ(converted(convert, 1201, to, "\0AB"sv, false), "A");
  }
  EXPECT_EQ(converted(convert, 1200, 65001, "A", false), "");
  EXPECT_EQ(converted(convert, 1200, 1201, "A\0B"sv, false), "\0A"sv);
  EXPECT_EQ(converted(convert, 1200, 65000, "A\0B"sv, false), "A");
}

TEST(EncodingConvert, ErrorActions) {
  struct {
    const char* name;
    int action;
    int from;
    int to;
    std::string_view in;
    std::string_view out;
  } const rows[] = {
      {"default bytes", 1, 1252, 65001, "a\x81z", "a??z"},
      {"default bytes for a character", 1, 65001, 1252, "aПz", "a??z"},
      {"hex entity of a byte", 2, 1252, 65001, "a\x8Fz\x81", "a&#x8F;z&#x81;"},
      {"hex entity of a pair", 2, 932, 65001, "\xFC\xFCz", "&#xFCFC;z"},
      {"hex entity of bad UTF-8", 2, 65001, 28591, "a\xE9 zz", "a&#xE9207A;z"},
      {"hex entity of a character", 2, 65001, 1252, "П", "&#x041F;"},
      {"hex entity above the BMP", 2, 65001, 1252, "😀", "&#x01F600;"},
      {"another page", 6, 65001, 1252, "Пz", "\xCFz"},
      {"raw bytes", 7, 1252, 65001, "a\x81z\xE9", "a\x81z\xC3\xA9"},
      {"raw bytes of bad UTF-8", 7, 65001, 28591, "\xC3\xA9\xFF", "\xE9\xFF"},
      {"raw bytes into UTF-16", 7, 1252, 1200, "a\x81", "a\0\x81"sv},
      {"byte and NUL", 8, 1252, 1200, "a\x81", "a\0\x81\0"sv},
      {"byte and NUL onwards", 8, 1252, 65001, "\x81", "\xC2\x81"},
      {"byte and NUL, single-byte pages only", 8, 932, 65001, "\xFC\xFCz", "z"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EncodingConvert convert;
    convert.setErrorAction(row.action);
    convert.setDefBytes("??", 2);
    convert.setAltDestCodepage(1251);
    EXPECT_EQ(converted(convert, row.from, row.to, row.in), row.out);
    EXPECT_TRUE(convert.foundErrors());
  }
  EncodingConvert convert;
  convert.setErrorAction(ErrorPolicy::kDefaultBytes);
  convert.setDefBytes(std::string(150, 'd').data(), 150);
  EXPECT_EQ(converted(convert, 1252, 65001, "\x81"), std::string(100, 'd'));
}

TEST(EncodingConvert, TheShortWayGivesWhatTheLongWayGives) {
  std::mt19937 random(11);
  for (const int page : {1252, 1256, 28598, 37, 20866, 932, 936, 949, 950, 51932, 51949, 20936}) {
    for (int round = 0; round < 60; ++round) {
      std::string text;
      const std::size_t size = round % 5 == 0 ? 2000 + random() % 300 : random() % 80;
      while (text.size() < size) {
        const unsigned run = random() % 24;
        for (unsigned i = 0; i < run; ++i) text += static_cast<char>(random() % 0x7F);
        for (unsigned i = 0; i < run % 5; ++i) text += static_cast<char>(0x80 + random() % 0x80);
      }
      EncodingConvert drop;
      EncodingConvert viaUtf16;
      viaUtf16.setErrorAction(ErrorPolicy::kDefaultBytes);  // There are none: drops as well.
      ASSERT_EQ(converted(drop, page, 65001, text), converted(viaUtf16, page, 65001, text));
      ASSERT_EQ(drop.foundErrors(), viaUtf16.foundErrors());
    }
  }
}

TEST(EncodingConvert, LongTextsSurviveThePieces) {
  std::string utf8;
  std::string latin;
  for (int i = 0; i < 20000; ++i) {
    utf8 += i % 37 == 0 ? "é" : "x";
    latin += i % 37 == 0 ? "\xE9" : "x";
  }
  EncodingConvert convert;
  EXPECT_EQ(converted(convert, 28591, 65001, latin), utf8);
  EXPECT_EQ(converted(convert, 65001, 28591, utf8), latin);
  // A surrogate pair at every offset against the end of a piece.
  for (std::size_t lead = 0; lead < 3; ++lead) {
    std::string text(lead, 'x');
    for (int i = 0; i < 5000; ++i) text += "😀";
    const std::string wide = converted(convert, 65001, 1200, text);
    EXPECT_EQ(wide.size(), 2 * lead + 20000);
    EXPECT_EQ(converted(convert, 1200, 65001, wide), text);
  }
}

TEST(EncodingConvert, ThreadsMayMeetAtTheFirstUseOfAPage) {
  EncodingConvert::cleanupMemory();
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (std::string& result : results) {
    threads.emplace_back([&result] {
      EncodingConvert convert;
      DataBuffer out;
      LogNull log;
      convert.EncConvert(51949, 65001, "\xC7\xD1", out, log);
      convert.EncConvert(10079, 65001, "\xDD", out, log);
      result = out.view();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : results) EXPECT_EQ(result, "한ð");
}

TEST(StringBufferConvert, SkipsWhatNeedsNoConversion) {
  LogNull log;
  const std::tuple<int, int, std::string_view, std::string_view> rows[] = {
      {0, 65001, "\xE9", "\xE9"},  {1252, 0, "\xE9", "\xE9"},  {20127, 65001, "\xE9", "\xE9"},
      {437, 1252, "\x82", "\xE9"}, {29001, 65001, "\xE9", ""}, {28591, 65001, "\xE9", "é"}};
  for (const auto& [from, to, in, out] : rows) {
    StringBuffer sb(in);
    convertEncoding(sb, from, to, log);
    EXPECT_EQ(sb.view(), out) << from << " to " << to;
  }
}

}  // namespace
}  // namespace keldane::mime
