#pragma once

#include <CLI/CLI.hpp>

namespace keldane {

class Program;

/// Each adds one command to the terminal program. Its callback runs the command and leaves the exit
/// status in the program.
void addArchiveCommand(CLI::App& app, Program& program);
void addAttachmentsCommand(CLI::App& app, Program& program);
void addBrowseCommand(CLI::App& app, Program& program);
void addConnectionsCommand(CLI::App& app, Program& program);
void addDuplicatesCommand(CLI::App& app, Program& program);
void addInspectCommand(CLI::App& app, Program& program);
void addListCommand(CLI::App& app, Program& program);
void addLogsCommand(CLI::App& app, Program& program);
void addRulesCommand(CLI::App& app, Program& program);
void addScheduleCommand(CLI::App& app, Program& program);
void addSearchCommand(CLI::App& app, Program& program);
void addSearchesCommand(CLI::App& app, Program& program);
void addServerCommand(CLI::App& app, Program& program);
void addShowCommand(CLI::App& app, Program& program);
void addSettingsCommand(CLI::App& app, Program& program);
void addSourcesCommand(CLI::App& app, Program& program);
void addStatsCommand(CLI::App& app, Program& program);
void addStatusCommand(CLI::App& app, Program& program);
/// Adds "untag" as well.
void addTagCommand(CLI::App& app, Program& program);

}  // namespace keldane
