#include "mime/charsets/utf7.h"

#include <string_view>

namespace keldane::mime {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kDirectMarks = "'(),-./:? \t\r\n";

bool isAlphanumeric(char16_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

bool isDirect(char16_t c) {
  return isAlphanumeric(c) ||
         (c < 0x80 && kDirectMarks.find(static_cast<char>(c)) != std::string_view::npos);
}

int sextet(std::uint8_t c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

bool putUnit(char32_t c, DataBuffer& out) {
  std::uint8_t unit[4];
  return out.append(unit, static_cast<std::size_t>(encodeUtf16Char(c & 0xFFFF, unit)));
}

/// The run behind a `+`; the cursor ends behind it, its closing `-` included.
bool decodeShifted(const std::uint8_t*& p, const std::uint8_t* end, DataBuffer& out) {
  if (p < end && *p == '-') {
    ++p;
    return putUnit('+', out);
  }
  std::uint32_t bits = 0;
  int numBits = 0;
  for (; p < end && sextet(*p) >= 0; ++p) {
    bits = bits << 6 | static_cast<std::uint32_t>(sextet(*p));
    numBits += 6;
    if (numBits < 16) continue;
    numBits -= 16;
    if (!putUnit(bits >> numBits, out)) return false;
    bits &= (1U << numBits) - 1;
  }
  if (p < end && *p == '-') ++p;
  return true;
}

}  // namespace

bool decodeUtf7(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad) {
  const std::uint8_t* const end = bytes + n;
  for (const std::uint8_t* p = bytes; p < end;) {
    const std::uint8_t c = *p++;
    bool ok = true;
    if (c == '+') {
      ok = decodeShifted(p, end, out);
    } else if (c >= 0x80) {
      ok = bad.bad(p - 1, 1, out);
    } else {
      ok = putUnit(c, out);
    }
    if (!ok) return false;
  }
  return true;
}

bool encodeUtf7(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  const std::uint8_t* p = bytes;
  const std::uint8_t* const end = bytes + (n & ~std::size_t{1});
  bool ok = true;
  while (ok && p < end) {
    const char16_t c = utf16UnitAt(p);
    if (isDirect(c)) {
      ok = out.appendChar(static_cast<std::uint8_t>(c));
      p += 2;
      continue;
    }
    if (c == '+') {
      ok = out.append("+-", 2);
      p += 2;
      continue;
    }
    ok = out.appendChar('+');
    std::uint32_t bits = 0;
    int numBits = 0;
    for (; ok && p < end && !isDirect(utf16UnitAt(p)); p += 2) {
      bits = bits << 16 | utf16UnitAt(p);
      for (numBits += 16; numBits >= 6;) {
        numBits -= 6;
        ok = ok && out.appendChar(static_cast<std::uint8_t>(kAlphabet[bits >> numBits & 0x3F]));
      }
      bits &= (1U << numBits) - 1;
    }
    if (numBits > 0) {
      ok = ok && out.appendChar(static_cast<std::uint8_t>(kAlphabet[bits << (6 - numBits) & 0x3F]));
    }
    ok = ok && out.appendChar('-');
  }
  return ok;
}

}  // namespace keldane::mime
