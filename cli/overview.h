#pragma once

#include <CLI/CLI.hpp>

namespace keldane {

/// Sorts the commands into the groups that help and overview show.
void groupCommands(CLI::App& app);

/// What the program says without a command: what there is, and what to do next; on a machine
/// without an archive, how to begin.
void printOverview(const CLI::App& app, bool hasArchive);

}  // namespace keldane
