#pragma once

#include <string>

#include "cli/command_line.h"

namespace keldane {

/// What the program says without a command: what there is, and what to do next; on a machine
/// without an archive, how to begin.
[[nodiscard]] std::string overviewText(const Command& root, bool hasArchive);

}  // namespace keldane
