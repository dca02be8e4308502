#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "cli/command_line.h"

namespace keldane {

class Program;

/// The argument of a command on messages: their ids, or "-" for those of standard input.
[[nodiscard]] CommandOption idArgument(std::vector<std::string>& given);

/// The ids that were given, each once. Nothing, with the reason told and the exit status set, when
/// standard input holds something else.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> messageIds(
    const std::vector<std::string>& given, Program& program);

/// The ids in a text: one or several a line, or the lists of this program in any of their formats,
/// of which each line begins with one. Fails with the line that has none.
[[nodiscard]] Result<std::vector<std::uint32_t>> idsOfText(const std::string& text);

}  // namespace keldane
