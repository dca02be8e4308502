#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// The value of a hexadecimal digit in either case; -1 for any other character.
[[nodiscard]] constexpr int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

/// Two lower-case digits for each byte.
[[nodiscard]] inline std::string hexText(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    digits += kDigits[static_cast<unsigned char>(byte) >> 4U];
    digits += kDigits[static_cast<unsigned char>(byte) & 15U];
  }
  return digits;
}

}  // namespace keldane
