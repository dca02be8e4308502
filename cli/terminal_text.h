#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace keldane {

/// A text of several lines from a message, fit for a terminal: line ends and tabs stay, every other
/// control character is made visible, so that no escape sequence gets through. The CR of a CR LF
/// goes.
[[nodiscard]] std::string terminalText(std::string_view text);

/// Prints a value as one line of JSON; on a terminal with every character beyond ASCII escaped,
/// because JSON itself leaves the controls from U+007F on as they are.
void printJson(const nlohmann::ordered_json& value);

}  // namespace keldane
