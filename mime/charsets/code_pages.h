#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "mime/charsets/code_page_sources.h"

/// The tables of the code pages. A table is built when its page is first used and stays for the
/// life of the process; building is under a lock, looking up afterwards is lock-free. A pointer
/// stays good until `cleanup`.
namespace keldane::mime::code_pages {

/// From Unicode: a block of 256 entries for each upper byte that occurs. 0 is "not in this page",
/// except for U+0000, which is byte 0 everywhere. An entry is the bytes as one number, 8F-led EUC
/// triples included.
class ReverseTable {
 public:
  void add(char16_t c, std::uint32_t bytes);
  [[nodiscard]] std::uint32_t find(char16_t c) const {
    const std::uint16_t block = blockOf_[c >> 8];
    return block == 0 ? 0 : blocks_[block - 1][c & 0xFF];
  }

 private:
  std::array<std::uint16_t, 256> blockOf_{};
  std::vector<std::array<std::uint32_t, 256>> blocks_;
};

struct SinglePage {
  /// 0 is "undefined", except for byte 0.
  std::array<char16_t, 256> toUnicode{};
  /// The same as UTF-8: up to three bytes in memory order, their number in the fourth. 0 bytes for
  /// what is undefined and for NUL.
  std::array<std::array<char, 4>, 256> toUtf8{};
  ReverseTable fromUnicode;
  bool asciiLow = false;
};

struct DoublePage {
  /// As in SinglePage; 0 also for lead bytes.
  std::array<char16_t, 256> single{};
  /// By (first byte << 8 | second byte); 0 is "undefined".
  std::vector<char16_t> pairs;
  /// The characters behind 8F, in the same way; empty when the page has none.
  std::vector<char16_t> triples;
  ReverseTable fromUnicode;
  bool asciiLow = false;
  bool badLeadTakesTwo = false;
};

/// One of the two is set, or neither for a stream page.
struct Page {
  const PageSource* source = nullptr;
  std::unique_ptr<SinglePage> single;
  std::unique_ptr<DoublePage> twoByte;
};

/// Null for a page without a source, or one that the libraries of this machine do not have.
const Page* find(int codePage);
/// Frees all tables.
void cleanup();

/// Builds a table from its source; null when the source is missing or memory ran out. `base` is the
/// finished page that a row with Origin::kPage starts from, null otherwise.
std::unique_ptr<Page> build(const PageSource& source, const Page* base);

}  // namespace keldane::mime::code_pages
