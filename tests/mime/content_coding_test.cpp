#include "mime/coding/content_coding.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/uu.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using std::literals::string_literals::operator""s;

std::string base64(std::string_view text) {
  DataBuffer out;
  EXPECT_TRUE(ContentCoding().decodeBase64ToDb(text.data(), text.size(), out));
  return std::string(out.view());
}

std::string quotedPrintable(std::string_view text, bool entityMode = false) {
  ContentCoding coding;
  coding.setEntityMode(entityMode);
  DataBuffer out;
  coding.decodeQuotedPrintable(text.data(), text.size(), out);
  return std::string(out.view());
}

TEST(Base64Decoder, RecoversWhatItCan) {
  const TextRow rows[] = {
      {"line end and stray byte", "QU\r\nJ*D", "ABC"},
      {"stops at the first padding", "QUI=QUI=", "AB"},
      {"stops at a NUL", "QUJD\0QUJD"s, "ABC"},
      {"tail of two", "QQ", "A"},
      {"tail of three", "QUI", "AB"},
      {"lone sextet", "QUJDR", "ABC"},
      {"padding first", "=QUJD", ""},
      {"rubbish", "*?\x80\xFF-_.,", ""},
      {"rubbish inside every group", "Q!U-J\303D.R\tE Y\n=", "ABCDF"},
      {"highest sextets", "////++++", "\xFF\xFF\xFF\xFB\xEF\xBE"},
      {"nothing", "", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(base64(row.in), row.out) << row.name;
}

TEST(Base64Decoder, AppendsAndGivesArrays) {
  DataBuffer out;
  out.append("x");
  ContentCoding coding;
  EXPECT_TRUE(coding.decodeBase64ToDb("QUJD", 4, out));
  EXPECT_EQ(out.view(), "xABC");
  std::uint32_t length = 0;
  bool ok = false;
  const auto array = coding.decodeBase64_2("QUJD", 4, length, ok);
  ASSERT_TRUE(ok);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(array.get()), length), "ABC");
}

TEST(Base64Encoder, WritesFullLinesThatDecodeToTheSameBytes) {
  const std::string bytes = allBytes();
  for (std::size_t n = 0; n <= 120; ++n) {
    StringBuffer text;
    ASSERT_TRUE(ContentCoding().encodeBase64(bytes.data(), n, text));
    EXPECT_EQ(base64(text.view()), bytes.substr(0, n)) << n;
    EXPECT_EQ(n != 0, text.endsWith("\r\n")) << n;
  }
  StringBuffer text;
  ContentCoding().encodeBase64(bytes.data(), 58, text);
  EXPECT_EQ(text.view().find("\r\n"), 76U);
  EXPECT_EQ(text.getSize(), 76U + 2 + 4 + 2);
  ContentCoding narrow;
  narrow.setLineLength(8);
  StringBuffer lines;
  narrow.encodeBase64("ABCDEFG", 7, lines);
  EXPECT_EQ(lines.view(), "QUJDREVG\r\nRw==\r\n");
}

TEST(QuotedPrintableDecoder, FollowsEachLine) {
  const TextRow rows[] = {
      {"escape and soft break", "a=3Db=\r\nc", "a=bc"},
      {"blank in front of a soft break, blanks at the end", "a =\r\nb  \r\n", "a b\r\n"},
      {"blanks behind a soft break", "a= \t\r\nb", "ab"},
      {"bad escape", "100=%", "100=%"},
      {"bad second digit", "=4x=zz", "=4x=zz"},
      {"one digit at the end", "a=4", "a=4"},
      {"sign-extended char", "=FFFFFFE9", "\xE9"},
      {"sign-extended char among text", "a=FFFFFFe9b=FF", "a\351b\xFF"},
      {"five F", "=FFFFFE9", "\377FFFE9"},
      {"six F and no digits", "=FFFFFFxy", "\377FFFFxy"},
      {"small digits", "=c3=A9", "é"},
      {"LF becomes CR LF", "a\nb\n", "a\r\nb\r\n"},
      {"no line end at the end", "a\r\nb", "a\r\nb"},
      {"line of blanks", " \t\r\n\nx", "\r\n\r\nx"},
      {"trailing blanks of the last line", "a \t", "a"},
      {"blanks with the top bit", "a\xA0\x89\x8D\nb", "a\r\nb"},
      {"escape with the top bit", "\xBD\xB4\xB1", "A"},
      {"soft break with the top bit", "a\xBD\nb", "ab"},
      {"other high bytes stay", "\xC3\xA9\x80", "\xC3\xA9\x80"},
      {"stops at a NUL", "ab\0cd"s, "ab"},
      {"entities are off", "=00E9\n", "\0E9\r\n"s},
      {"encoded line end", "a=0D=0Ab", "a\r\nb"},
      {"nothing", "", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(quotedPrintable(row.in), row.out) << row.name;
}

TEST(QuotedPrintableDecoder, TellsThatNothingWasThere) {
  DataBuffer out;
  EXPECT_FALSE(ContentCoding().decodeQuotedPrintable("", 0, out));
  EXPECT_FALSE(ContentCoding().decodeQuotedPrintable("\0a", 2, out));
  EXPECT_FALSE(ContentCoding().decodeQuotedPrintable(nullptr, 5, out));
  EXPECT_TRUE(out.isEmpty());
}

TEST(QuotedPrintableDecoder, EntityMode) {
  const TextRow rows[] = {
      {"entity", "x=0020AC;y", "x&#8364;y"}, {"longest", "=00FFFF;", "&#65535;"},
      {"shortest", "=000000;", "&#0;"},      {"no semicolon", "=0020ACy", "\00020ACy"s},
      {"cut", "=0020AC", "\00020AC"s},       {"a digit missing", "=0020G0;", "\00020G0;"s},
      {"other escapes", "=41=3D", "A="},
  };
  for (const auto& row : rows) EXPECT_EQ(quotedPrintable(row.in, true), row.out) << row.name;
}

TEST(QuotedPrintableEncoder, ComesBackUnchanged) {
  const std::string bytes = allBytes();
  const std::string samples[] = {bytes, bytes.substr(3) + " ",  "a \r\n b\t\r\n",      "a\nb\rc",
                                 "=",   std::string(1000, 'x'), std::string(1000, '=')};
  for (const std::string& sample : samples) {
    StringBuffer text;
    ASSERT_TRUE(ContentCoding().encodeQuotedPrintable(sample.data(), sample.size(), text));
    EXPECT_EQ(quotedPrintable(text.view()), sample);
    std::size_t begin = 0;
    for (std::size_t end = text.view().find("\r\n"); end != std::string_view::npos;
         begin = end + 2, end = text.view().find("\r\n", begin)) {
      EXPECT_LE(end - begin, 76U);
    }
  }
  StringBuffer text;
  ContentCoding().encodeQuotedPrintable("caf\xE9=\r\n", 7, text);
  EXPECT_EQ(text.view(), "caf=E9=3D\r\n");
}

TEST(UuDecoder, ReadsFilesOneAfterTheOther) {
  const std::string_view text =
      "A note.\r\nbegin the work\r\nbegin 644 cat file.txt\r\n#0V%T\r\n`\r\nend\r\nmore\n"
      "begin 600 b\n\"86(\nend";
  DataBuffer out;
  StringBuffer name;
  const std::size_t end = Uu::uu_decode2(text, out, name);
  EXPECT_EQ(out.view(), "Cat");
  EXPECT_EQ(name.view(), "cat file.txt");
  EXPECT_EQ(text.substr(end, 4), "more");
  out.clear();
  const std::size_t second = Uu::uu_decode2(text.substr(end), out, name);
  EXPECT_EQ(out.view(), "ab");
  EXPECT_EQ(name.view(), "b");
  EXPECT_EQ(end + second, text.size());
  EXPECT_EQ(Uu::uu_decode2("begin nothing\nend", out, name), std::string_view::npos);
}

TEST(UuDecoder, CutAndDamagedLines) {
  const TextRow rows[] = {
      {"no end line", "#0V%T\n", "Cat"},          {"length beyond the line", "M0V%T\n", "Cat"},
      {"length below the line", "!0V%T\n", "C"},  {"cut group", "#0V\n", "C`"},
      {"empty lines", "\n\n#0V%T\n\nend", "Cat"},
  };
  for (const auto& row : rows) {
    DataBuffer out;
    StringBuffer name;
    Uu::uu_decode2(std::string("begin 644 x\n") + row.in, out, name);
    EXPECT_EQ(out.view().substr(0, std::string_view(row.out).size()), row.out) << row.name;
  }
}

// A body whose every byte is the awkward one must not cost more than its length.
TEST(ContentCoding, SurvivesHostileBodies) {
  for (const char* unit :
       {"=", "\n", " ", "=\n", " \n", "begin 644\n", "begin 6", "=FFFFF", "\xA0"}) {
    std::string text;
    while (text.size() < 1000000) text += unit;
    // A bare line feed becomes two bytes, and that is all the growth there is.
    EXPECT_LE(quotedPrintable(text).size(), 2 * text.size()) << unit;
    EXPECT_LE(base64(text).size(), text.size() / 4 * 3 + 3) << unit;
    DataBuffer out;
    StringBuffer name;
    const std::size_t end = Uu::uu_decode2(text, out, name);
    EXPECT_EQ(end, std::string_view(unit) == "begin 644\n" ? text.size() : std::string::npos)
        << unit;
    EXPECT_LE(out.getSize(), text.size()) << unit;
  }
}

}  // namespace
}  // namespace keldane::mime
