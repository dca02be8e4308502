#include "mime/charsets/iso2022.h"

#include <algorithm>
#include <string_view>

namespace keldane::mime {

namespace {

constexpr std::uint8_t kEsc = 0x1B;
constexpr std::uint8_t kShiftOut = 0x0E;
constexpr std::uint8_t kShiftIn = 0x0F;

enum class Set : std::uint8_t { kAscii, kKatakana, kJis0208, kOtherSingle, kOtherDouble };

struct Escape {
  std::string_view text;
  Set set;
};
// The longer forms stand before those that they begin with.
constexpr Escape kEscapes[] = {
    {"$(D", Set::kOtherDouble}, {"$(C", Set::kOtherDouble}, {"$(@", Set::kJis0208},
    {"$(B", Set::kJis0208},     {"$@", Set::kJis0208},      {"$B", Set::kJis0208},
    {"$A", Set::kOtherDouble},  {"(B", Set::kAscii},        {"(J", Set::kAscii},
    {"(H", Set::kAscii},        {"(I", Set::kKatakana},     {"&@", Set::kJis0208},
};
/// Sets for single characters of ISO-2022-JP-2, each announced by ESC N. Neither changes what the
/// bytes that follow mean.
constexpr std::string_view kSideSets[] = {".A", ".F"};
constexpr char kSingleShift = 'N';

bool isSeven(std::uint8_t c) { return c >= 0x21 && c <= 0x7E; }

/// Length of the escape sequence in front, its ESC already taken off; 0 when it is not known.
std::size_t readEscape(std::string_view rest, Set& set) {
  for (const std::string_view side : kSideSets) {
    if (rest.substr(0, side.size()) == side) return side.size();
  }
  if (!rest.empty() && rest[0] == kSingleShift) return rest.substr(0, 2).size();
  for (const Escape& escape : kEscapes) {
    if (rest.substr(0, escape.text.size()) != escape.text) continue;
    set = escape.set;
    return escape.text.size();
  }
  return 0;
}

void putJis0208(std::uint8_t row, std::uint8_t cell, std::uint8_t*& out) {
  int lead = (row - 0x21) / 2 + 0x81;
  if (lead > 0x9F) lead += 0x40;
  const bool oddRow = row % 2 != 0;
  int trail = oddRow ? cell + 0x1F : cell + 0x7E;
  if (oddRow && trail >= 0x7F) ++trail;
  *out++ = static_cast<std::uint8_t>(lead);
  *out++ = static_cast<std::uint8_t>(trail);
}

/// The IBM extension characters of 932 stand outside the 94 rows, but most of them a second time
/// inside: the kanji in rows 89 to 92 in the same order, the small Roman numbers behind them.
std::uint32_t insideTheRows(std::uint32_t pair) {
  const auto cellNumber = [](std::uint32_t p) {
    const std::uint32_t trail = p & 0xFF;
    return (p >> 8) * 188 + trail - (trail > 0x7F ? 0x41 : 0x40);
  };
  const auto pairOf = [](std::uint32_t number) {
    const std::uint32_t trail = number % 188;
    return number / 188 << 8 | (trail + (trail >= 0x3F ? 0x41 : 0x40));
  };
  if (pair >= 0xFA40 && pair <= 0xFA49) return pair - 0xFA40 + 0xEEEF;
  if (pair >= 0xFA55 && pair <= 0xFA57) return pair - 0xFA55 + 0xEEFA;
  if (pair >= 0xFA5C && pair <= 0xFC4B) {
    return pairOf(cellNumber(pair) - cellNumber(0xFA5C) + cellNumber(0xED40));
  }
  return pair;
}

/// False when the pair has no row in JIS X 0208's 94.
bool shiftJisToRowAndCell(std::uint32_t pair, std::uint8_t& row, std::uint8_t& cell) {
  pair = insideTheRows(pair);
  const std::uint32_t lead = pair >> 8;
  const std::uint32_t trail = pair & 0xFF;
  if (lead > 0xEF || trail < 0x40 || trail == 0x7F || trail > 0xFC) return false;
  const std::uint32_t twoRows = lead - (lead > 0x9F ? 0xC1 : 0x81);
  const std::uint32_t place = trail - (trail > 0x7F ? 0x41 : 0x40);
  row = static_cast<std::uint8_t>(0x21 + twoRows * 2 + place / 94);
  cell = static_cast<std::uint8_t>(0x21 + place % 94);
  return row <= 0x7E;
}

}  // namespace

bool iso2022JpToShiftJis(const std::uint8_t* bytes, std::size_t n, DataBuffer& out,
                         bool& foundErrors) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), n);
  // No byte makes more than one.
  std::uint8_t* const begin = out.reserveTail(n);
  if (!begin) return false;
  std::uint8_t* to = begin;
  Set set = Set::kAscii;
  bool shifted = false;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint8_t c = bytes[i];
    if (c == kEsc) {
      const std::size_t length = readEscape(text.substr(i + 1), set);
      if (length == 0 || bytes[i + 1] == kSingleShift) foundErrors = true;
      i += length;
    } else if (c == kShiftOut || c == kShiftIn) {
      shifted = c == kShiftOut;
    } else if (c == '\n' || c == '\r') {
      set = Set::kAscii;
      shifted = false;
      *to++ = c;
    } else if (!isSeven(c) || (set == Set::kAscii && !shifted)) {
      *to++ = c;
    } else if (shifted || set == Set::kKatakana) {
      *to++ = c | 0x80;
    } else if (set == Set::kJis0208 && i + 1 < n && isSeven(bytes[i + 1])) {
      putJis0208(c, bytes[++i], to);
    } else {
      foundErrors = true;
      if (set == Set::kOtherDouble && i + 1 < n && isSeven(bytes[i + 1])) ++i;
    }
  }
  out.commitTail(static_cast<std::size_t>(to - begin));
  return true;
}

bool shiftJisToIso2022Jp(const std::uint8_t* bytes, std::size_t n, DataBuffer& out,
                         bool& foundErrors) {
  constexpr std::size_t kPiece = 4096;
  constexpr std::size_t kMostOfOneByte = 4;  // an escape sequence of three, and itself
  Set set = Set::kAscii;
  std::uint8_t* to = nullptr;
  const auto switchTo = [&](Set wanted, std::string_view escape) {
    if (set == wanted) return;
    *to++ = kEsc;
    *to++ = static_cast<std::uint8_t>(escape[0]);
    *to++ = static_cast<std::uint8_t>(escape[1]);
    set = wanted;
  };
  for (std::size_t i = 0; i < n || set != Set::kAscii;) {
    std::uint8_t* const begin = out.reserveTail((kPiece + 1) * kMostOfOneByte);
    if (!begin) return false;
    to = begin;
    for (const std::size_t stop = std::min(i + kPiece, n); i < stop; ++i) {
      const std::uint8_t c = bytes[i];
      std::uint8_t row = 0;
      std::uint8_t cell = 0;
      if (c < 0x80) {
        switchTo(Set::kAscii, "(B");
        *to++ = c;
      } else if (c >= 0xA1 && c <= 0xDF) {
        switchTo(Set::kKatakana, "(I");
        *to++ = c & 0x7F;
      } else if (i + 1 >= n ||
                 !shiftJisToRowAndCell(std::uint32_t{c} << 8 | bytes[++i], row, cell)) {
        foundErrors = true;
      } else {
        switchTo(Set::kJis0208, "$B");
        *to++ = row;
        *to++ = cell;
      }
    }
    if (i >= n) switchTo(Set::kAscii, "(B");
    out.commitTail(static_cast<std::size_t>(to - begin));
  }
  return true;
}

bool iso2022KrToKsc(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, bool& foundErrors) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), n);
  constexpr std::string_view kDesignation = "$)C";
  bool shifted = false;
  bool ok = true;
  for (std::size_t i = 0; ok && i < n; ++i) {
    const std::uint8_t c = bytes[i];
    if (c == kEsc) {
      if (text.substr(i + 1, kDesignation.size()) == kDesignation) {
        i += kDesignation.size();
      } else {
        foundErrors = true;
      }
    } else if (c == kShiftOut || c == kShiftIn) {
      shifted = c == kShiftOut;
    } else if (!shifted || !isSeven(c)) {
      ok = out.appendChar(c);
    } else if (i + 1 < n && isSeven(bytes[i + 1])) {
      ok = out.appendChar(c | 0x80) && out.appendChar(bytes[++i] | 0x80);
    } else {
      foundErrors = true;
    }
  }
  return ok;
}

bool kscToIso2022Kr(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, bool& foundErrors) {
  bool ok = out.append("\x1B$)C", 4);
  bool shifted = false;
  const auto shift = [&](bool wanted) {
    if (shifted != wanted) ok = ok && out.appendChar(wanted ? kShiftOut : kShiftIn);
    shifted = wanted;
  };
  for (std::size_t i = 0; ok && i < n; ++i) {
    const std::uint8_t c = bytes[i];
    if (c < 0x80) {
      shift(false);
      ok = ok && out.appendChar(c);
    } else if (i + 1 < n && c >= 0xA1 && bytes[i + 1] >= 0xA1) {
      shift(true);
      ok = ok && out.appendChar(c & 0x7F) && out.appendChar(bytes[++i] & 0x7F);
    } else {
      // Syllables that only 949 has, outside the 94 rows.
      foundErrors = true;
      if (i + 1 < n) ++i;
    }
  }
  shift(false);
  return ok;
}

}  // namespace keldane::mime
