#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// A text whose bytes compare as `compareNoCase` compares the text: for sorting many of them.
[[nodiscard]] std::string foldedKey(std::string_view text);

}  // namespace keldane
