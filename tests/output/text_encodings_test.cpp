#include "output/text_encodings.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "output/mail_dates.h"

namespace keldane {
namespace {

TEST(TextEncodings, EachHasItsFormOfWhatIsNoAscii) {
  struct Row {
    const char* name;
    std::string text;
    std::string ascii;
    std::string plain;
    std::string utf16;
  };
  const Row rows[] = {
      {"ASCII", "a\\n", "a\\n", "a\\n", std::string("\xFF\xFE\x61\0\\\0n\0", 8)},
      {"two bytes", "\xC3\xA9", "\\u00e9", "?", std::string("\xFF\xFE\xE9\0", 4)},
      {"beyond the first plane", "\xF0\x9F\x98\x80", "\\ud83d\\ude00", "?",
       std::string("\xFF\xFE\x3D\xD8\0\xDE", 6)},
      {"no UTF-8", "\xE9", "\\u00e9", "?", std::string("\xFF\xFE\xE9\0", 4)},
      {"empty", "", "", "", "\xFF\xFE"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(nonLossyAscii(row.text), row.ascii) << row.name;
    EXPECT_EQ(plainAscii(row.text), row.plain) << row.name;
    EXPECT_EQ(utf16WithMark(row.text), row.utf16) << row.name;
  }
  EXPECT_EQ(nonLossyAscii("C:\\users \\u12 \\u0041"), "C:\\users \\u12 \\u005cu0041")
      << "what would be read as an escape is one itself";
}

TEST(MailDates, OnlyADateOfTheServerIsRead) {
  for (const char* text : {"", "2024-01-05 10:20:30*", "2024/01/05 10:20:30", "2024-02-30 10:20:30",
                           "0000-00-00 00:00:00", "2024-01-05 24:00:00", "01-05-2024 10:20:30"}) {
    EXPECT_FALSE(parseServerDate(text)) << text;
  }
  const auto date = parseServerDate("2024-02-29 03:04:05");
  ASSERT_TRUE(date);
  EXPECT_EQ(separatorDate(*date), "Thu Feb 29 03:04:05 2024");
  EXPECT_EQ(dateWithoutZone(*date), "Thu, 29 Feb 2024 03:04:05");
}

TEST(TextEncodings, PiecesEndBetweenCharacters) {
  for (const std::size_t before : {0U, 1U, 2U, 3U}) {
    const std::string text = std::string(kPieceBytes - before, 'x') + "\xF0\x9F\x98\x80 end";
    std::string joined;
    inPieces(text, [&joined](std::string_view piece) {
      EXPECT_LE(piece.size(), kPieceBytes);
      EXPECT_TRUE(isValidUtf8(piece));
      joined += piece;
    });
    EXPECT_EQ(joined, text);
  }
}

}  // namespace
}  // namespace keldane
