#pragma once

#include <string>

#include "cli/command_line.h"

/// What is made of the description of the commands when the program is built.
namespace keldane {

/// The manual page in the language of man(7).
[[nodiscard]] std::string manualPage(const Command& root, const std::string& version);
/// Completions, as functions of the shell.
[[nodiscard]] std::string bashCompletions(const Command& root);
[[nodiscard]] std::string zshCompletions(const Command& root);

}  // namespace keldane
