#pragma once

#include <string_view>

#include "base/result.h"

namespace keldane {

/// Deeper lists are refused.
inline constexpr int kPlistMostDepth = 256;
/// A preferences file of this size is none.
inline constexpr std::size_t kPlistMostBytes = 256000000;
/// What a binary list, which may name one value in many places, may need when it is unfolded.
inline constexpr std::size_t kPlistMostUnfoldedBytes = 2 * kPlistMostBytes;

/// Whether the bytes of a property list, XML or binary, may be given to the library that reads
/// them. It follows lists and dictionaries with the stack and unfolds each reference, so a damaged
/// or hostile file could end the program. A success does not mean that they are a property list.
[[nodiscard]] Result<void> checkPlistBounds(std::string_view bytes);

/// Whether it is meant to be the binary form.
[[nodiscard]] bool isBinaryPlist(std::string_view bytes);

}  // namespace keldane
