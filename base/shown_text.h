#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// A text of several lines out of a message, fit for a view: line ends and tabs stay, the CR of a
/// CR LF goes, and every character that could steer what shows it becomes U+FFFD: the controls, and
/// those that turn the direction of writing, of which one that nothing closes would turn all that
/// follows.
[[nodiscard]] std::string shownText(std::string_view text);

/// The same for a text that stands in one line, such as the name of an attachment; tabs and line
/// ends become blanks.
[[nodiscard]] std::string shownLine(std::string_view text);

/// A name that stays one file in its folder, whatever the message calls it: no slash, no control
/// character, no leading dot, never empty, at most 200 bytes with its ending kept.
[[nodiscard]] std::string safeFileName(std::string_view name);

}  // namespace keldane
