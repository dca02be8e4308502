#include "mime/buffers/stream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "mime/tno_stream.h"

namespace keldane::mime {
namespace {

using std::literals::string_literals::operator""s;

constexpr std::size_t kChunk = 65536;

class TnoStreamTest : public ::testing::Test {
 protected:
  TnoStreamTest() : path_(::testing::TempDir() + "stream_test_" + std::to_string(::getpid())) {}
  ~TnoStreamTest() override { std::filesystem::remove(path_); }

  void write(std::string_view bytes) const {
    std::ofstream(path_, std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  /// All pieces, read as the archiver reads them; checks the offset and the end on the way.
  std::vector<std::string> cut(std::string_view bytes, std::string_view match) const {
    write(bytes);
    TnoStream stream;
    stream.setSourceFile(path_);
    std::vector<std::string> pieces;
    std::uint64_t offset = 0;
    while (!stream.EndOfStream()) {
      EXPECT_EQ(stream.offsetBytes(), offset);
      auto piece = stream.ReadUntilMatch(match);
      if (!piece) break;
      EXPECT_EQ(bytes.substr(offset, piece->size()), *piece);
      offset += piece->size();
      pieces.push_back(std::move(*piece));
    }
    EXPECT_EQ(offset, bytes.size());
    EXPECT_TRUE(stream.EndOfStream());
    expectTheSameOfPieces(bytes, match, pieces);
    return pieces;
  }

  /// The same bytes from a source that gives them in pieces of one size and another, and looked at
  /// before they are taken.
  static void expectTheSameOfPieces(std::string_view bytes, std::string_view match,
                                    const std::vector<std::string>& pieces) {
    for (const std::size_t size : {7U, 65536U, 100001U}) {
      if (bytes.size() / size > 10000) continue;
      TnoStream stream;
      stream.setSourceReader([left = bytes, size](std::string_view& piece) mutable -> Result<bool> {
        piece = left.substr(0, size);
        left.remove_prefix(piece.size());
        return !piece.empty();
      });
      std::size_t offset = 0;
      for (const std::string& piece : pieces) {
        EXPECT_TRUE(stream.peek(20).starts_with(bytes.substr(offset, 20)));
        ASSERT_EQ(stream.ReadUntilMatch(match), piece) << "pieces of " << size;
        offset += piece.size();
      }
      EXPECT_EQ(stream.peek(1), "");
      EXPECT_TRUE(stream.EndOfStream());
    }
  }

  std::string path_;
};

TEST_F(TnoStreamTest, CutsBehindEachMatch) {
  using Pieces = std::vector<std::string>;
  struct {
    const char* name;
    std::string bytes;
    std::string match;
    Pieces pieces;
  } const rows[] = {
      {"rest without a match", "aXbXc", "X", {"aX", "bX", "c"}},
      {"match at the end", "aXbX", "X", {"aX", "bX"}},
      {"no match", "abc", "X", {"abc"}},
      {"matches side by side", "XXX", "X", {"X", "X", "X"}},
      {"overlapping matches", "aaaaa", "aa", {"aa", "aa", "a"}},
      {"beginning of a match", "abab", "abc", {"abab"}},
      {"bytes that are no text", "\xFF\0\xFEX\r\n\x80"s, "X", {"\xFF\0\xFEX"s, "\r\n\x80"}},
      {"empty file", "", "X", {}},
  };
  for (const auto& row : rows) EXPECT_EQ(cut(row.bytes, row.match), row.pieces) << row.name;
}

TEST_F(TnoStreamTest, FindsTheMatchAcrossEverySeam) {
  const std::string match = "\nFrom me";
  for (const std::size_t seam : {kChunk, 2 * kChunk, 16 * kChunk}) {
    for (std::size_t back = 0; back <= match.size() + 1; ++back) {
      const std::string first = std::string(seam - back, 'x') + match;
      const auto pieces = cut(first + "rest", match);
      ASSERT_EQ(pieces.size(), 2U) << seam << " - " << back;
      EXPECT_EQ(pieces[0].size(), first.size());
      EXPECT_EQ(pieces[1], "rest");
    }
  }
}

TEST_F(TnoStreamTest, KnowsTheEndOfFilesOfWholeChunks) {
  for (const std::size_t size : {kChunk - 1, kChunk, kChunk + 1, 3 * kChunk}) {
    EXPECT_EQ(cut(std::string(size - 1, 'a') + "X", "X").size(), 1U) << size;
    EXPECT_EQ(cut(std::string(size, 'a'), "X").size(), 1U) << size;
  }
}

TEST_F(TnoStreamTest, HandsLargePiecesOverWhole) {
  std::string bytes;
  for (std::size_t size : {5, 3000000, 70000, 1048600, 1, 2200000}) {
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>('a' + i % 23);
    bytes += "##";
  }
  EXPECT_EQ(cut(bytes, "##").size(), 6U);
}

TEST_F(TnoStreamTest, LeavesOutBomAndTrailingNulsAndStartsOver) {
  write("\xEF\xBB\277aXb\0\0"s);
  TnoStream stream;
  stream.setSourceFile(path_);
  EXPECT_EQ(stream.ReadUntilMatch("X"), "aX");
  EXPECT_EQ(stream.offsetBytes(), 5U);
  EXPECT_EQ(stream.ReadUntilMatch("X"), "b");
  EXPECT_EQ(stream.offsetBytes(), 8U);
  EXPECT_TRUE(stream.EndOfStream());
  EXPECT_EQ(stream.ReadUntilMatch("X"), std::nullopt);
  stream.Reset();
  EXPECT_EQ(stream.offsetBytes(), 0U);
  EXPECT_EQ(stream.ReadUntilMatch("X"), "aX");
}

TEST_F(TnoStreamTest, TellsWhyNothingCame) {
  struct {
    const char* name;
    std::string path;
    const char* match;
    const char* message;
  } const rows[] = {
      {"missing file", path_ + ".none", "X", "No such file or directory"},
      {"folder", ::testing::TempDir(), "X", "not a regular file"},
      {"no source", "", "X", "No source"},
      {"no match text", path_, "", "Match string is zero length."},
  };
  write("abc");
  for (const auto& row : rows) {
    TnoStream stream;
    stream.setSourceFile(row.path);
    EXPECT_EQ(stream.ReadUntilMatch(row.match), std::nullopt) << row.name;
    EXPECT_FALSE(stream.LastMethodSuccess()) << row.name;
    EXPECT_NE(stream.LastErrorText().find(row.message), std::string::npos)
        << row.name << ": " << stream.LastErrorText();
    if (*row.match != '\0') {
      EXPECT_EQ(stream.failureText().find(row.message), 0U) << row.name;
    }
    EXPECT_FALSE(stream.EndOfStream()) << row.name;
  }
}

TEST_F(TnoStreamTest, RefusesAPipeWithoutWaiting) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  TnoStream stream;
  stream.setSourceFile(path_);
  EXPECT_EQ(stream.ReadUntilMatch("X"), std::nullopt);
}

TEST_F(TnoStreamTest, TakesAFileThatShrinksAsItIs) {
  write(std::string(kChunk, 'a') + "X" + std::string(5 * kChunk, 'b'));
  TnoStream stream;
  stream.setSourceFile(path_);
  EXPECT_TRUE(stream.ReadUntilMatch("X").has_value());
  std::filesystem::resize_file(path_, 2 * kChunk);
  const auto rest = stream.ReadUntilMatch("X");
  ASSERT_TRUE(rest.has_value());
  EXPECT_EQ(rest->size(), kChunk - 1);
  EXPECT_TRUE(stream.EndOfStream());
}

TEST_F(TnoStreamTest, ConvertsAnotherCharset) {
  write("caf\xE9X\xE9");
  ClsRef<ClsStream> stream(new ClsStream);
  stream->put_SourceFile(path_);
  EXPECT_FALSE(stream->put_StringCharset("bogus"));
  ASSERT_TRUE(stream->put_StringCharset("iso-8859-1"));
  std::string piece;
  ASSERT_TRUE(stream->ReadUntilMatch("éX", piece));
  EXPECT_EQ(piece, "caféX");
  EXPECT_EQ(stream->offsetBytes(), 5U);
}

// A match text that nearly occurs everywhere, and pieces that end in the middle of every chunk.
TEST_F(TnoStreamTest, SurvivesNearMatches) {
  const std::string match = std::string(20000, 'a') + "b";
  EXPECT_EQ(cut(std::string(8000000, 'a'), match).size(), 1U);
  std::string small;
  for (int i = 0; i < 100000; ++i) small += "a\nFrom ";
  EXPECT_EQ(cut(small, "\nFrom ").size(), 100000U);
}

}  // namespace
}  // namespace keldane::mime
