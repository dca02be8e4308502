#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// Whether the terminal is to be given ASCII alone: by $TERM a dumb one, or by $LC_ALL, $LC_CTYPE
/// and $LANG one that does not show UTF-8. There a byte of a UTF-8 character could even be taken
/// for a control character.
[[nodiscard]] bool terminalIsPlain();
/// Each character beyond ASCII as "?".
[[nodiscard]] std::string plainText(std::string_view text);

/// A text of several lines from a message, fit for a terminal: line ends and tabs stay, every other
/// control character is made visible, so that no escape sequence gets through. The CR of a CR LF
/// goes. `plain`: what is beyond ASCII is left out of it.
[[nodiscard]] std::string terminalText(std::string_view text, bool plain = terminalIsPlain());

/// Whether the terminal knows escape sequences, by $TERM.
[[nodiscard]] bool terminalTakesEscapes();

}  // namespace keldane
