#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace keldane {

/// Sorts the commands into the groups that help and overview show.
void groupCommands(CLI::App& app);

/// The first word that should be a command, or the second that should be one of its commands, and
/// is none; empty when there is no such word.
[[nodiscard]] std::string unknownCommand(const CLI::App& app, int argc, char** argv);

/// What the program says without a command: what there is, and what to do next; on a machine
/// without an archive, how to begin.
void printOverview(const CLI::App& app, bool hasArchive);

}  // namespace keldane
