#pragma once

#include <string_view>

namespace keldane {

/// The character of a named entity such as "eacute"; 0 for a name that is none. Case counts.
[[nodiscard]] char32_t entityCharacter(std::string_view name);

}  // namespace keldane
