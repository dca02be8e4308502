#pragma once

#include <cstddef>
#include <cstdint>

namespace keldane::mime {

/// What a conversion does with what has no mapping.
struct ErrorPolicy {
  enum Action {
    kDrop = 0,
    kDefaultBytes = 1,
    kHexEntity = 2,
    kAlternatePage = 6,
    kRawBytes = 7,
    kByteAndNul = 8,
  };

  int action = kDrop;
  /// For kAlternatePage; 0 is the target of the conversion.
  int altDestCodePage = 0;
  /// For kDefaultBytes.
  const std::uint8_t* defBytes = nullptr;
  std::size_t numDefBytes = 0;
};

}  // namespace keldane::mime
