#pragma once

#include <optional>
#include <string_view>

#include <CLI/CLI.hpp>

namespace keldane {

/// What an option for a priority accepts.
inline constexpr const char* kPriorityWords = "none, lowest, low, medium, high, highest or 0 to 5";
/// The value of a priority's name, in any case, or of its number; absent for anything else.
[[nodiscard]] std::optional<int> priorityOf(std::string_view text);
/// Makes what was given the number.
[[nodiscard]] CLI::Validator priorityNames();

}  // namespace keldane
