#include "mime/charsets/gsm.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "mime/buffers/byte_search.h"

namespace keldane::mime {

namespace {

constexpr std::uint8_t kEscape = 0x1B;

constexpr char16_t kAlphabet[] =
    u"@\u00A3$\u00A5\u00E8\u00E9\u00F9\u00EC\u00F2\u00C7\n\u00D8\u00F8\r\u00C5\u00E5"
    u"\u0394_\u03A6\u0393\u039B\u03A9\u03A0\u03A8\u03A3\u0398\u039E\x1B\u00C6\u00E6\u00DF\u00C9"
    u" !\"#\u00A4%&'()*+,-./0123456789:;<=>?"
    u"\u00A1"
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZ\u00C4\u00D6\u00D1\u00DC\u00A7"
    u"\u00BF"
    u"abcdefghijklmnopqrstuvwxyz\u00E4\u00F6\u00F1\u00FC\u00E0";
static_assert(std::size(kAlphabet) == 128 + 1);

struct Extended {
  std::uint8_t byte;
  char16_t c;
};
constexpr Extended kExtended[] = {{0x0A, '\f'}, {0x14, '^'},   {0x28, '{'}, {0x29, '}'},
                                  {0x2F, '\\'}, {0x3C, '['},   {0x3D, '~'}, {0x3E, ']'},
                                  {0x40, '|'},  {0x65, 0x20AC}};

bool putUtf8(char16_t c, DataBuffer& out) {
  char text[4];
  return out.append(text, static_cast<std::size_t>(encodeUtf8Char(c, text)));
}

/// The bytes of one character of at most three UTF-8 bytes; 0 when the alphabet lacks it.
char16_t decodeBmp(const std::uint8_t* p, std::size_t length) {
  if (length == 1) return p[0];
  if (length == 2) return static_cast<char16_t>((p[0] & 0x1F) << 6 | (p[1] & 0x3F));
  if (length == 3) {
    return static_cast<char16_t>((p[0] & 0x0F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F));
  }
  return 0;
}

}  // namespace

bool decodeGsm(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad) {
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint8_t c = bytes[i];
    bool ok = true;
    if (c >= 0x80) {
      ok = bad.bad(bytes + i, 1, out);
    } else if (c != kEscape) {
      ok = putUtf8(kAlphabet[c], out);
    } else {
      const auto* const found =
          std::find_if(std::begin(kExtended), std::end(kExtended),
                       [&](const Extended& e) { return i + 1 < n && e.byte == bytes[i + 1]; });
      if (found == std::end(kExtended)) {
        ok = bad.bad(bytes + i, 1, out);
      } else {
        ok = putUtf8(found->c, out);
        ++i;
      }
    }
    if (!ok) return false;
  }
  return true;
}

bool encodeGsm(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad) {
  constexpr std::u16string_view kAll(kAlphabet, 128);
  for (std::size_t i = 0; i < n;) {
    const std::size_t length = std::max<std::size_t>(
        1, validUtf8SequenceLength(reinterpret_cast<const char*>(bytes + i), n - i));
    const char16_t c = decodeBmp(bytes + i, length);
    const std::size_t at = c == kEscape || c == 0 ? kAll.npos : kAll.find(c);
    const auto* const found = std::find_if(std::begin(kExtended), std::end(kExtended),
                                           [c](const Extended& e) { return e.c == c; });
    bool ok = true;
    if (at != kAll.npos) {
      ok = out.appendChar(static_cast<std::uint8_t>(at));
    } else if (found != std::end(kExtended)) {
      ok = out.appendChar(kEscape) && out.appendChar(found->byte);
    } else {
      ok = bad.bad(bytes + i, length, out);
    }
    if (!ok) return false;
    i += length;
  }
  return true;
}

}  // namespace keldane::mime
