#pragma once

#include <CLI/CLI.hpp>

namespace keldane {

class Program;

/// Each adds one command to the terminal program. Its callback runs the command and leaves the exit
/// status in the program.
void addArchiveCommand(CLI::App& app, Program& program);
void addConnectionsCommand(CLI::App& app, Program& program);
void addInspectCommand(CLI::App& app, Program& program);
void addListCommand(CLI::App& app, Program& program);
void addLogsCommand(CLI::App& app, Program& program);
void addServerCommand(CLI::App& app, Program& program);
void addStatusCommand(CLI::App& app, Program& program);

}  // namespace keldane
