#pragma once

#include <array>
#include <cstddef>
#include <string_view>

/// The naming data behind CharsetNaming, as text that a person can check and as a table that is
/// sorted at compile time.
namespace keldane::mime::charset_names {

/// Names that are looked up as a whole.
inline constexpr std::size_t kNumExactNames = 453;
/// A name that begins with one of these is number 25. The last can never be met, since lookup turns
/// each `_` into `-` first.
inline constexpr std::array<std::string_view, 3> kHexLowerBeginnings = {"hexlower", "hex-lower",
                                                                        "hex_lower"};
inline constexpr int kHexLower = 25;

struct NamedPage {
  std::string_view name;
  int codePage = 0;
};

/// Sorted by name.
const std::array<NamedPage, kNumExactNames>& exactNames();
/// The page of a normalised name; 0 for an unknown one.
int findPage(std::string_view name);
/// The canonical name of a page or encoding; empty for an unknown number.
std::string_view findCanonicalName(int codePage);

}  // namespace keldane::mime::charset_names
