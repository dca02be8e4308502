#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// A text of several lines from a message, fit for a terminal: line ends and tabs stay, every other
/// control character is made visible, so that no escape sequence gets through. The CR of a CR LF
/// goes.
[[nodiscard]] std::string terminalText(std::string_view text);

/// Whether the terminal knows escape sequences, by $TERM.
[[nodiscard]] bool terminalTakesEscapes();

}  // namespace keldane
