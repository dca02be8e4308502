#include "mime/charsets/utf_convert.h"

#include <algorithm>

#include "mime/buffers/ascii_run.h"
#include "mime/buffers/byte_search.h"

namespace keldane::mime {

namespace {

/// Input is taken in pieces of this size, so that the worst case of a piece, not of the whole text,
/// decides how much room is held ready.
constexpr std::size_t kPiece = 4096;

std::size_t pieceOf(const std::uint8_t* from, const std::uint8_t* end) {
  return std::min(kPiece, static_cast<std::size_t>(end - from));
}

/// How many bytes a lead byte announces, also the forms of five and six bytes that never became
/// legal.
std::size_t promisedLength(std::uint8_t lead) {
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF8) return 4;
  return lead < 0xFC ? 5 : 6;
}

char32_t decodeSequence(const std::uint8_t* p, std::size_t length) {
  switch (length) {
    case 1:
      return p[0];
    case 2:
      return char32_t{p[0] & 0x1FU} << 6 | (p[1] & 0x3FU);
    case 3:
      return char32_t{p[0] & 0x0FU} << 12 | char32_t{p[1] & 0x3FU} << 6 | (p[2] & 0x3FU);
    default:
      return char32_t{p[0] & 0x07U} << 18 | char32_t{p[1] & 0x3FU} << 12 |
             char32_t{p[2] & 0x3FU} << 6 | (p[3] & 0x3FU);
  }
}

std::uint8_t* writeUtf8(char32_t c, std::uint8_t* to) {
  return to + encodeUtf8Char(c, reinterpret_cast<char*>(to));
}

/// One piece of whole units. The last unit may be a lead surrogate whose other half stands behind
/// the piece, which is why `end` is the end of the text.
void utf16PieceToUtf8(const std::uint8_t*& from, const std::uint8_t* stop, const std::uint8_t* end,
                      std::uint8_t*& to) {
  while (from < stop) {
    const char32_t c = utf16UnitAt(from);
    if (c < 0x80) {
      if (c == 0) {
        from += 2;
      } else {
        ascii_run::narrow(from, stop, to);
      }
      continue;
    }
    from += 2;
    if (isLeadSurrogate(c) && from < end && isTrailSurrogate(utf16UnitAt(from))) {
      to = writeUtf8(joinSurrogates(c, utf16UnitAt(from)), to);
      from += 2;
    } else {
      to = writeUtf8(c, to);
    }
  }
}

}  // namespace

bool cv_utf16_to_utf8(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out) {
  if (bigEndian) {
    DataBuffer swapped;
    if (!swapped.append(bytes, n)) return false;
    swapBytePairs(swapped, 0);
    return cv_utf16_to_utf8(swapped.getData2(), n, false, out);
  }
  const auto* from = static_cast<const std::uint8_t*>(bytes);
  const std::uint8_t* const end = from + (n & ~std::size_t{1});
  if (!out.ensureBuffer(n / 2 + std::min(n, kPiece) + ascii_run::kSlack)) return false;
  while (from < end) {
    const std::size_t piece = pieceOf(from, end);
    std::uint8_t* const begin = out.reserveTail(piece / 2 * 3 + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    utf16PieceToUtf8(from, from + piece, end, to);
    out.commitTail(static_cast<std::size_t>(to - begin));
  }
  return n % 2 == 0;
}

bool cv_utf8_to_utf16(const void* bytes, std::size_t n, DataBuffer& out, BadBytes& bad) {
  const auto* from = static_cast<const std::uint8_t*>(bytes);
  const std::uint8_t* const end = from + n;
  if (!out.ensureBuffer(2 * n + ascii_run::kSlack)) return false;
  while (from < end) {
    const std::size_t piece = pieceOf(from, end);
    const std::uint8_t* const stop = from + piece;
    std::uint8_t* const begin = out.reserveTail(2 * piece + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    std::size_t badLength = 0;
    while (from < stop && badLength == 0) {
      if (ascii_run::isPlain(*from)) {
        ascii_run::widen(from, stop, to);
        continue;
      }
      const auto left = static_cast<std::size_t>(end - from);
      if (*from >= 0xC2 && *from < 0xE0 && left >= 2 && (from[1] & 0xC0) == 0x80) {
        to[0] = static_cast<std::uint8_t>((*from & 0x03) << 6 | (from[1] & 0x3F));
        to[1] = static_cast<std::uint8_t>(*from >> 2 & 0x07);
        to += 2;
        from += 2;
        continue;
      }
      const std::size_t length = validUtf8SequenceLength(reinterpret_cast<const char*>(from), left);
      if (length == 0) {
        badLength = std::min(promisedLength(*from), left);
      } else {
        to += encodeUtf16Char(decodeSequence(from, length), to);
        from += length;
      }
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
    if (badLength != 0 && !bad.bad(from, badLength, out)) return false;
    from += badLength;
  }
  return true;
}

bool cv_utf32_to_utf16(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out,
                       BadBytes& bad) {
  const auto* p = static_cast<const std::uint8_t*>(bytes);
  for (; n >= 4; p += 4, n -= 4) {
    const char32_t c =
        bigEndian
            ? char32_t{p[0]} << 24 | char32_t{p[1]} << 16 | char32_t{p[2]} << 8 | char32_t{p[3]}
            : char32_t{p[3]} << 24 | char32_t{p[2]} << 16 | char32_t{p[1]} << 8 | char32_t{p[0]};
    if (c > 0x10FFFF) {
      if (!bad.bad(p, 4, out)) return false;
      continue;
    }
    std::uint8_t unit[4];
    if (!out.append(unit, static_cast<std::size_t>(encodeUtf16Char(c, unit)))) return false;
  }
  return n == 0 || bad.bad(p, n, out);
}

bool cv_utf8_to_utf32(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out) {
  const auto* p = static_cast<const std::uint8_t*>(bytes);
  const std::uint8_t* const end = p + n;
  while (p < end) {
    const std::size_t length = std::min(promisedLength(*p), static_cast<std::size_t>(end - p));
    const char32_t c = decodeSequence(p, length);
    p += length;
    const auto byte = [c](int shift) { return static_cast<std::uint8_t>(c >> shift & 0xFF); };
    const std::uint8_t big[4] = {byte(24), byte(16), byte(8), byte(0)};
    const std::uint8_t little[4] = {byte(0), byte(8), byte(16), byte(24)};
    if (!out.append(bigEndian ? big : little, 4)) return false;
  }
  return true;
}

void swapBytePairs(DataBuffer& data, std::size_t from) {
  std::uint8_t* p = data.getData_rw();
  for (std::size_t i = from; i + 1 < data.getSize(); i += 2) std::swap(p[i], p[i + 1]);
}

}  // namespace keldane::mime
