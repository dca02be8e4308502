#pragma once

#include <CLI/CLI.hpp>

namespace keldane {

/// Takes the name of a priority, in any case, or its number 0 to 5, and makes it the number.
[[nodiscard]] CLI::Validator priorityNames();

}  // namespace keldane
