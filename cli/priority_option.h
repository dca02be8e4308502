#pragma once

#include <optional>
#include <string_view>

#include "cli/command_line.h"

namespace keldane {

/// What an option for a priority accepts.
inline constexpr const char* kPriorityWords = "none, lowest, low, medium, high, highest or 0 to 5";
inline constexpr const char* kPriorityNames = "none|lowest|low|medium|high|highest";
/// The value of a priority's name, in any case, or of its number; absent for anything else.
[[nodiscard]] std::optional<int> priorityOf(std::string_view text);
/// Keeps the value of what is given.
[[nodiscard]] ValueReader priorityInto(std::optional<int>& priority);

}  // namespace keldane
