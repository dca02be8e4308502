#include "mime/coding/encoded_word.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using std::literals::string_literals::operator""s;

std::string toUtf8(std::string_view text) {
  LogNull log;
  StringBuffer value(text);
  ContentCoding().QB_DecodeToUtf8(value, log);
  return std::string(value.view());
}

TEST(EncodedWords, BecomeUtf8) {
  const TextRow rows[] = {
      {"blank between words", "=?utf-8?Q?a_b?= =?utf-8?Q?c?=", "a bc"},
      {"tab between words", "=?utf-8?Q?a?= \t =?utf-8?Q?b?=", "ab"},
      {"latin", "=?iso-8859-1?Q?caf=E9?=", "café"},
      {"unknown charset", "=?bogus?B?QUJD?=", "ABC"},
      {"unknown charset keeps its bytes", "=?bogus?Q?=E9?=", "\xE9"},
      {"text on both sides", "x=?utf-8?B?QUJD?=y", "xABCy"},
      {"blanks beside text stay", "a =?utf-8?Q?b?= c", "a b c"},
      {"blanks alone at the end go", "=?utf-8?Q?b?=  ", "b"},
      {"no end", "a =?utf-8?Q?no end", "a "},
      {"no end behind a word", "=?utf-8?Q?a?= b =?utf-8?B?QUJD?", "a b "},
      {"charset without an end", "a =?utf-8", "a "},
      {"no second question mark", "a =?utf-8?Qabc", "a "},
      {"nothing behind the charset", "a =?utf-8?", "a "},
      {"empty payload",
       "a=?utf-8?Q?"
       "?=b",
       "ab"},
      {"payload that begins with an escape", "=?utf-8?Q?=41?=", "A"},
      {"first end wins", "=?utf-8?Q?a?=b?=", "ab?="},
      {"small letters", "=?UTF-8?q?a?==?UTF-8?b?QUJD?=", "aABC"},
      {"any other encoding is Q", "=?utf-8?X?a=42?=", "aB"},
      {"8bit means utf-8", "=?8BIT?Q?=C3=A9?=", "é"},
      {"character cut across words", "=?utf-8?B?w6nD?= =?utf-8?B?qQ==?=", "éé"},
      {"NUL bytes go", "=?utf-8?Q?a=00b?=", "ab"},
      {"short charset name is ANSI", "=?x?Q?=E9?=", "é"},
      {"undefined bytes go", "=?windows-1252?Q?a=81b?=", "ab"},
      {"iso-2022-jp", "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=", "日本"},
      {"only blanks", "  \t", ""},
      {"no word", " plain ", " plain "},
      {"begins like a word", "a =? b", "a "},
  };
  TnSettings::setAnsiCodePage(1252);
  for (const auto& row : rows) EXPECT_EQ(toUtf8(row.in), row.out) << row.name;
  TnSettings::setAnsiCodePage(0);
}

TEST(EncodedWords, QDecoderDropsWhatMayNotStand) {
  const TextRow rows[] = {
      {"underscore", "a_b", "a b"},
      {"escape at the end", "a=4", "a=4"},
      {"escape with one place", "=", "="},
      {"bad digits", "=4G=zz", "=4G=zz"},
      {"small digits", "=c3=a9", "é"},
      {"control bytes and question marks", "a\t\x01?b\x7F", "ab"},
      {"high bytes from 160", "\x80\x9F\xA0\xFF", "\xA0\xFF"},
  };
  for (const auto& row : rows) {
    DataBuffer out;
    ContentCoding().Q_Decode(row.in.data(), row.in.size(), out);
    EXPECT_EQ(out.view(), row.out) << row.name;
  }
}

TEST(EncodedWords, KeepTheirCharsetWithoutConversion) {
  DataBuffer out;
  ContentCoding().QB_Decode(StringBuffer("x =?iso-8859-1?Q?=E9?= =?utf-8?Q?=C3=A9?="), out);
  EXPECT_EQ(out.view(), "x \xE9\xC3\xA9");
}

TEST(EncodedWords, ShortFormActsOnMarkedTextsOnly) {
  LogNull log;
  const std::tuple<const char*, bool, const char*> rows[] = {
      {"=?utf-8?Q?a?=", true, "a"},
      {"=?utf-8?b?QQ==?=", true, "A"},
      {"=?utf-8?X?a?=", false, "=?utf-8?X?a?="},
      {"=?utf-8?X?a?= =?utf-8?q?b?=", true, "ab"},
      {"a =?b", false, "a =?b"},
      {"x?B?", true, "x?B?"},
      {"????B", false, "????B"},
      {"?Q", false, "?Q"},
      {"", false, ""},
  };
  for (const auto& [given, isMarked, text] : rows) {
    EXPECT_EQ(hasEncodedWordMark(given), isMarked) << given;
    StringBuffer value(given);
    qbDecode(value, log);
    EXPECT_EQ(value.view(), text) << given;
  }
}

TEST(EncodedWords, EncodersWriteWordsThatDecode) {
  LogNull log;
  std::string text;
  for (int c = 1; c < 256; ++c) text += static_cast<char>(c);
  StringBuffer words;
  ContentCoding().qEncodeData2(text.data(), text.size(), "utf-8", words);
  words.appendChar(' ');
  ContentCoding().bEncodeData2(text.data(), text.size(), "utf-8", words);
  EXPECT_EQ(words.view().find_first_of("\r\n\t\""), std::string_view::npos);
  EXPECT_EQ(toUtf8(words.view()), text + text);
}

TEST(StarEncoding, DecodesValuesWithAndWithoutALabel) {
  struct {
    const char* name;
    const char* value;
    const char* defaultCharset;
    std::string text;
    const char* label;
  } const rows[] = {
      {"utf-8", "utf-8''caf%C3%A9", "", "café", "utf-8"},
      {"latin", "iso-8859-1''caf%E9", "", "café", "iso-8859-1"},
      {"label in capitals", "ISO-8859-1''caf%E9", "", "café", "iso-8859-1"},
      // The zeros of UTF-16, at the end too, are part of its letters.
      {"utf-16", "utf-16le''a%00%E9%00b%00", "", "aéb", "utf-16le"},
      {"utf-32", "utf-32be''%00%00%00a", "", "a", "utf-32be"},
      {"unknown label", "bogus''caf%C3%A9", "", "café", "bogus"},
      {"a language hides the label", "utf-8'en'caf%C3%A9", "", "utf-8'en'caf\xC3\xA9", ""},
      {"default", "caf%E9", "iso-8859-1", "café", "iso-8859-1"},
      {"unknown default", "caf%C3%A9", "bogus", "café", "bogus"},
      {"no default", "caf%C3%A9", "", "café", ""},
      {"bad escapes stay", "utf-8''100%25 %4 %zz%", "", "100% %4 %zz%", "utf-8"},
      {"nothing", "", "", "", ""},
  };
  LogNull log;
  for (const auto& row : rows) {
    StringBuffer value(row.value);
    StringBuffer out("<");
    StringBuffer label("old");
    ContentCoding().decodeStarEncoded(value, row.defaultCharset, out, label, log);
    EXPECT_EQ(out.view(), "<" + row.text) << row.name;
    EXPECT_EQ(label.view(), row.label) << row.name;
  }
}

TEST(EncodedWords, SurviveHostileValues) {
  // What each of them becomes; null where only the length is known.
  const std::pair<const char*, const char*> rows[] = {
      {"=?utf-8?Q?a?=", "a"},
      {"?Q?", "?Q?"},
      {"'", "'"},
      {"%4", "%4"},
      {"=?", nullptr},
      {"=?a?Q?", nullptr},
      {"=?utf-8?B?", nullptr},
      {" ", nullptr},
      {"?=", nullptr},
      {"=?bogus?B?QQ==?= ", nullptr},
  };
  constexpr int kTimes = 100000;
  for (const auto& [unit, unitDecoded] : rows) {
    const std::string text = repeated(unit, kTimes);
    const std::string wanted = unitDecoded ? repeated(unitDecoded, kTimes) : "";
    const std::string decoded = toUtf8(text);
    // Not printed whole by a failure.
    EXPECT_TRUE(unitDecoded ? decoded == wanted : decoded.size() <= text.size()) << unit;
    LogNull log;
    StringBuffer value(text);
    StringBuffer out;
    StringBuffer label;
    EXPECT_TRUE(ContentCoding().decodeStarEncoded(value, "", out, label, log)) << unit;
  }
}

}  // namespace
}  // namespace keldane::mime
