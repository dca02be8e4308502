#pragma once

#include <string>

namespace keldane {

/// Whether somebody sits at the terminal who can be asked.
[[nodiscard]] bool canAsk();
/// Asks on standard error and waits. Anything but a yes is a no, also the end of the input.
[[nodiscard]] bool asksAndHearsYes(const std::string& question);

}  // namespace keldane
