#include "mime/buffers/data_buffer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mime/buffers/string_buffer.h"
#include "mime/charsets/encoding_convert.h"

namespace keldane::mime {
namespace {

using namespace std::string_view_literals;

TEST(DataBufferGrowth, RefusesFourGigabytes) {
  DataBuffer db;
  db.append("kept"sv);
  EXPECT_EQ(db.reserveTail(0xFFFFFFFFU), nullptr);
  EXPECT_FALSE(db.ensureBuffer(std::size_t{1} << 33));
  EXPECT_EQ(db.view(), "kept");
}

TEST(DataBuffer, CopiesBorrowedBytesBeforeItChangesThem) {
  const std::string foreign = "abc";
  DataBuffer db;
  db.borrowData(foreign.data(), foreign.size());
  EXPECT_EQ(db.getData2(), reinterpret_cast<const std::uint8_t*>(foreign.data()));
  db.replaceChar('b', 'B');
  EXPECT_EQ(db.view(), "aBc");
  db.borrowData(foreign.data(), foreign.size());
  EXPECT_TRUE(db.append("d"sv));
  EXPECT_FALSE(db.isBorrowed());
  EXPECT_EQ(db.view(), "abcd");
  db.borrowData(foreign.data(), foreign.size());
  EXPECT_TRUE(db.appendChar('!'));
  EXPECT_EQ(db.view(), "abc!");
  EXPECT_EQ(foreign, "abc");
}

TEST(DataBuffer, AppendsPiecesOfItself) {
  DataBuffer db;
  db.append("0123456789"sv);
  EXPECT_FALSE(db.append(db));
  while (db.getSize() < 100000) ASSERT_TRUE(db.append(db.view()));
  EXPECT_EQ(db.view().substr(99990, 10), "0123456789");
}

TEST(DataBuffer, KeepsNulsUnlessTold) {
  DataBuffer db;
  db.append("a\0b\0"sv);
  EXPECT_EQ(db.getSize(), 4U);
  DataBuffer skipped;
  skipped.appendSkipNulls("\0a\0\0b\0"sv.data(), 6);
  EXPECT_EQ(skipped.view(), "ab");
}

TEST(DataBuffer, SearchLimit) {
  DataBuffer db;
  db.append("xx<meta charset"sv);
  EXPECT_TRUE(db.containsSubstring("meta", 0));
  EXPECT_TRUE(db.containsSubstring("meta", 7));
  EXPECT_FALSE(db.containsSubstring("meta", 6));
  EXPECT_EQ(db.findBytes("x", 1), db.getData2() + 1);
  EXPECT_EQ(db.findBytes("y"), nullptr);
}

TEST(DataBuffer, DetectsObviousCodePages) {
  const std::string manyNuls = std::string(1000, 'x') + std::string(70, '\0');
  std::string wide;
  for (const char c : "wide"sv) wide += {c, '\0'};
  std::string wideBig;
  for (const char c : "wide"sv) wideBig += {'\0', c};
  struct {
    const char* name;
    std::string bytes;
    int page;
  } const rows[] = {
      {"UTF-16LE BOM", "\xFF\xFE", 1200},
      {"UTF-16BE BOM", "\xFE\xFF", 1201},
      {"UTF-8 BOM", "\xEF\xBB\xBFx", 65001},
      {"UTF-32LE BOM is taken for UTF-16", std::string("\xFF\xFE\0\0", 4), 1200},
      {"UTF-32BE BOM", std::string("\0\0\xFE\xFF", 4), 12001},
      {"NULs at odd places", wide, 1200},
      {"NULs at even places", wideBig, 1201},
      {"more than 32 NULs", manyNuls, 1200},
      {"one NUL in seven bytes", std::string("abc\0efg", 7), 1200},
      {"one NUL in sixteen bytes", std::string("abc\0efghijklmnop", 16), -1},
      {"nothing", "", -1},
  };
  for (const auto& row : rows) {
    DataBuffer db;
    db.append(row.bytes);
    EXPECT_EQ(db.detectObviousCodePage(), row.page) << row.name;
  }
}

TEST(DataBuffer, IsReallyUtf8OnlyWhenThePageCannotBeConverted) {
  DataBuffer db;
  db.append("caf\xC3\xA9"sv);
  // A conversion succeeds however many bytes the page lacks, so no convertible page gives true.
  EXPECT_FALSE(isReallyUtf8(db, 28591));
  EXPECT_FALSE(isReallyUtf8(db, 1252));
  EXPECT_TRUE(isReallyUtf8(db, 29001));
  EXPECT_TRUE(isReallyUtf8(db, 1));
  DataBuffer ascii;
  ascii.append("cafe\xC3"sv);
  EXPECT_FALSE(isReallyUtf8(ascii, 29001));
}

TEST(DataBuffer, WideBytesToUtf8) {
  DataBuffer db;
  db.append("\xFE\xFF\0A\x20\xAC"sv);
  StringBuffer out;
  EXPECT_TRUE(cvUnicodeToUtf8(db, out));
  EXPECT_EQ(out.view(), "A\xE2\x82\xAC");
}

TEST(DataBuffer, TakeDataMovesTheBlock) {
  DataBuffer from;
  from.append("bytes"sv);
  const std::uint8_t* block = from.getData2();
  DataBuffer to;
  to.append("old"sv);
  ASSERT_TRUE(to.takeData(from));
  EXPECT_EQ(to.getData2(), block);
  EXPECT_EQ(from.getSize(), 0U);
  EXPECT_FALSE(to.takeData(to));
  EXPECT_EQ(to.view(), "bytes");
}

}  // namespace
}  // namespace keldane::mime
