#include "archive/source_origin.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "base/sha256.h"
#include "base/text.h"

namespace keldane {
namespace {

using mime::SourceEncoding;
using std::string_literals::operator""s;

std::string hex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4U];
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15U];
  }
  return text;
}

TEST(SourceOrigin, TellsHowTheBytesAreHadBack) {
  const struct {
    const char* name;
    std::string bytes;
    std::string text;
    LineEnds lineEnds;
    bool isExact;
    SourceEncoding encoding = SourceEncoding::utf8;
  } rows[] = {
      {"empty", "", "", LineEnds::lf, true},
      {"LF", "a\n\nb", "a\n\nb", LineEnds::lf, true},
      {"CR LF", "a\r\n\r\n", "a\n\n", LineEnds::crlf, true},
      {"CR", "a\r\rb\r", "a\n\nb\n", LineEnds::cr, true},
      {"mostly CR LF", "a\r\nb\r\nc\n", "a\nb\nc\n", LineEnds::crlf, false},
      {"one stray CR", "a\nb\rc\n", "a\nb\nc\n", LineEnds::lf, false},
      {"NUL", "a\0b\n"s, "a\0b\n"s, LineEnds::lf, false},
      {"mark", "\xEF\xBB\xBFz\n", "\xEF\xBB\xBFz\n", LineEnds::lf, true},
      {"Latin-1", "\x80\xE4\xFF\r\n", "\xC2\x80\xC3\xA4\xC3\xBF\n", LineEnds::crlf, true,
       SourceEncoding::latin1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text = row.bytes;
    const SourceOrigin origin = takeText(text, encodingOf(text));
    EXPECT_EQ(text, row.text);
    EXPECT_EQ(origin.sizeBytes, row.bytes.size());
    EXPECT_EQ(origin.encoding, row.encoding);
    EXPECT_EQ(origin.lineEnds, row.lineEnds);
    EXPECT_EQ(!origin.exactBytes, row.isExact);
    EXPECT_EQ(hex(origin.sha256), hex(sha256(row.bytes)));
    EXPECT_EQ(restoredBytes(text, origin), row.bytes);
  }
}

TEST(SourceOrigin, NoBytesAreLostWhateverTheyAre) {
  std::mt19937 random(7);
  const std::string_view pieces[] = {"\n",    "\r\n",     "\r",           "a",
                                     "From ", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                                     "\xE4",  "\xFF",     "\x80"};
  int exact = 0;
  for (int round = 0; round < 5000; ++round) {
    // Some rounds have few kinds of pieces, or almost none would be without mixed line ends.
    const std::size_t first = random() % std::size(pieces);
    const std::size_t kinds = 1 + random() % (std::size(pieces) - first);
    std::string bytes;
    for (std::size_t left = random() % 12; left > 0; --left) {
      bytes += pieces[first + random() % kinds];
      if (random() % 200 == 0) bytes += '\0';
    }
    std::string text = bytes;
    const SourceOrigin origin = takeText(text, encodingOf(bytes));
    ASSERT_TRUE(isValidUtf8(text)) << hex(bytes);
    ASSERT_EQ(text.find('\r'), std::string::npos) << hex(bytes);
    // A store takes out the NULs.
    removeAll(text, std::string_view("\0", 1));
    ASSERT_EQ(hex(restoredBytes(text, origin)), hex(bytes));
    if (!origin.exactBytes) ++exact;
  }
  EXPECT_GT(exact, 2000);
}

}  // namespace
}  // namespace keldane
