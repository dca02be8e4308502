#include "mime/charsets/mac_arabic.h"

#include <algorithm>

namespace keldane::mime {

namespace {

/// From here on the page is right-to-left; below stand the accented Latin letters.
constexpr std::uint8_t kFirstRightToLeft = 0xA0;

/// The page repeats some ASCII marks 80 higher for right-to-left text.
std::uint8_t plainForm(std::uint8_t c) {
  const bool marks = (c >= 0xA0 && c <= 0xA4) || (c >= 0xA6 && c <= 0xAB) ||
                     (c >= 0xAD && c <= 0xAF) || c == 0xBA || (c >= 0xBC && c <= 0xBE) ||
                     (c >= 0xDB && c <= 0xDF) || (c >= 0xFB && c <= 0xFD);
  return marks ? static_cast<std::uint8_t>(c & 0x7F) : c;
}

}  // namespace

bool macArabicToLogical(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  const std::size_t begin = out.getSize();
  if (!out.append(bytes, n)) return false;
  std::uint8_t* p = out.getData_rw() + begin;
  std::uint8_t* const end = p + n;
  const auto rightToLeft = [](std::uint8_t c) { return c >= kFirstRightToLeft; };
  while (p < end) {
    std::uint8_t* const first = std::find_if(p, end, rightToLeft);
    p = std::find_if_not(first, end, rightToLeft);
    std::reverse(first, p);
    std::transform(first, p, first, plainForm);
  }
  return true;
}

}  // namespace keldane::mime
