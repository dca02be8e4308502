#pragma once

#include <cstddef>
#include <cstdint>

#include "mime/buffers/data_buffer.h"

/// Table-free conversions between the forms of Unicode. They append to `out` and answer false when
/// memory runs out, or as told.
namespace keldane::mime {

/// What becomes of a stretch of bytes that stands for no character. It may append to `out`.
class BadBytes {
 public:
  virtual ~BadBytes() = default;
  /// False when memory ran out; the conversion then ends.
  virtual bool bad(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) = 0;
};

/// Drops them and remembers that there were some.
class DropBadBytes final : public BadBytes {
 public:
  bool bad(const std::uint8_t*, std::size_t, DataBuffer&) override { return found = true; }
  bool found = false;
};

/// U+0000 is skipped; an unpaired surrogate becomes a three-byte sequence. An odd length drops the
/// last byte and answers false.
bool cv_utf16_to_utf8(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out);
/// To little-endian UTF-16. A malformed sequence goes to `bad` with as many bytes as its lead byte
/// promises, good ones behind it included.
bool cv_utf8_to_utf16(const void* bytes, std::size_t n, DataBuffer& out, BadBytes& bad);
/// Values above U+10FFFF and a cut last character go to `bad`.
bool cv_utf32_to_utf16(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out,
                       BadBytes& bad);
/// The input is UTF-8 as the functions above write it, three-byte surrogates included.
bool cv_utf8_to_utf32(const void* bytes, std::size_t n, bool bigEndian, DataBuffer& out);
/// Swaps the two bytes of each pair in place from offset `from` on; an odd last byte stays.
void swapBytePairs(DataBuffer& data, std::size_t from);

/// Writes one character as UTF-8 (surrogates as three bytes); the number of bytes, 1 to 4.
inline int encodeUtf8Char(char32_t c, char* to) {
  if (c < 0x80) {
    to[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    to[0] = static_cast<char>(0xC0 | (c >> 6));
    to[1] = static_cast<char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    to[0] = static_cast<char>(0xE0 | (c >> 12));
    to[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    to[2] = static_cast<char>(0x80 | (c & 0x3F));
    return 3;
  }
  to[0] = static_cast<char>(0xF0 | (c >> 18));
  to[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
  to[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  to[3] = static_cast<char>(0x80 | (c & 0x3F));
  return 4;
}

/// Appends one character as little-endian UTF-16 at `to`; the number of bytes, 2 or 4.
inline int encodeUtf16Char(char32_t c, std::uint8_t* to) {
  if (c >= 0x10000) {
    const char32_t rest = c - 0x10000;
    encodeUtf16Char(0xD800 | (rest >> 10), to);
    encodeUtf16Char(0xDC00 | (rest & 0x3FF), to + 2);
    return 4;
  }
  to[0] = static_cast<std::uint8_t>(c & 0xFF);
  to[1] = static_cast<std::uint8_t>(c >> 8);
  return 2;
}

inline char16_t utf16UnitAt(const std::uint8_t* p) {
  return static_cast<char16_t>(p[0] | p[1] << 8);
}
inline bool isLeadSurrogate(char32_t c) { return (c & 0xFFFFFC00) == 0xD800; }
inline bool isTrailSurrogate(char32_t c) { return (c & 0xFFFFFC00) == 0xDC00; }
inline char32_t joinSurrogates(char32_t lead, char32_t trail) {
  return 0x10000 + ((lead - 0xD800) << 10) + (trail - 0xDC00);
}

}  // namespace keldane::mime
