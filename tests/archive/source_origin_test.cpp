#include "archive/source_origin.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "base/text.h"

namespace keldane {
namespace {

using mime::SourceEncoding;

std::string hex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4U];
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15U];
  }
  return text;
}

struct OriginCase {
  const char* name;
  std::string bytes;
  std::string text;
  SourceEncoding encoding;
  LineEnds lineEnds;
  bool isExact;
};

class SourceOriginOf : public testing::TestWithParam<OriginCase> {};

TEST_P(SourceOriginOf, TellsHowTheBytesAreHadBack) {
  const OriginCase& row = GetParam();
  std::string text = row.bytes;
  const SourceOrigin origin = takeText(text, encodingOf(text));
  EXPECT_EQ(text, row.text);
  EXPECT_EQ(origin.sizeBytes, row.bytes.size());
  EXPECT_EQ(origin.encoding, row.encoding);
  EXPECT_EQ(origin.lineEnds, row.lineEnds);
  EXPECT_EQ(!origin.exactBytes, row.isExact);
  EXPECT_EQ(restoredBytes(text, origin), row.bytes);
}

constexpr SourceEncoding kUtf8 = SourceEncoding::utf8;
constexpr SourceEncoding kLatin1 = SourceEncoding::latin1;

INSTANTIATE_TEST_SUITE_P(
    SourceOrigin, SourceOriginOf,
    testing::Values(OriginCase{"Empty", "", "", kUtf8, LineEnds::lf, true},
                    OriginCase{"Lf", "a\n\nb", "a\n\nb", kUtf8, LineEnds::lf, true},
                    OriginCase{"CrLf", "a\r\n\r\n", "a\n\n", kUtf8, LineEnds::crlf, true},
                    OriginCase{"Cr", "a\r\rb\r", "a\n\nb\n", kUtf8, LineEnds::cr, true},
                    OriginCase{"MostlyCrLf", "a\r\nb\r\nc\n", "a\nb\nc\n", kUtf8, LineEnds::crlf,
                               false},
                    OriginCase{"OneStrayCr", "a\nb\rc\n", "a\nb\nc\n", kUtf8, LineEnds::lf, false},
                    OriginCase{"Nul", std::string("a\0b\n", 4), std::string("a\0b\n", 4), kUtf8,
                               LineEnds::lf, false},
                    OriginCase{"Bom",
                               "\xEF\xBB\xBF"
                               "a\n",
                               "\xEF\xBB\xBF"
                               "a\n",
                               kUtf8, LineEnds::lf, true},
                    OriginCase{"Latin1", "\x80\xE4\xFF\r\n", "\xC2\x80\xC3\xA4\xC3\xBF\n", kLatin1,
                               LineEnds::crlf, true}),
    [](const auto& row) { return std::string(row.param.name); });

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

TEST(SourceOrigin, HashIsThatOfTheBytes) {
  std::string text = "abc";
  EXPECT_EQ(hex(takeText(text, kUtf8).sha256),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace keldane
