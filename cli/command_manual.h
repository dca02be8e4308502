#pragma once

#include <string>
#include <string_view>

#include "cli/command_line.h"

/// What is made of the description of the commands when the program is built.
namespace keldane {

/// The manual page in the language of man(7).
[[nodiscard]] std::string manualPage(const Command& root, const std::string& version);
/// That of the query language, in section 7.
[[nodiscard]] std::string queryManualPage(const std::string& version);
/// A text as a page's own characters; what stands between backticks is bold.
[[nodiscard]] std::string roff(std::string_view text);
/// Completions, as functions of the shell.
[[nodiscard]] std::string bashCompletions(const Command& root);
[[nodiscard]] std::string zshCompletions(const Command& root);

}  // namespace keldane
