#pragma once

namespace keldane {

/// The value of a hexadecimal digit in either case; -1 for any other character.
[[nodiscard]] constexpr int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace keldane
