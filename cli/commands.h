#pragma once

#include "cli/command_line.h"

namespace keldane {

class Program;

/// All that the program takes, in its groups.
[[nodiscard]] Command wholeProgram(Program& program);

/// A run as the schedule starts it; the status of the program.
[[nodiscard]] int runUnattended(Program& program);

/// Each describes one command. Running it leaves the exit status in the program, which outlives it.
[[nodiscard]] Command archiveCommand(Program& program);
[[nodiscard]] Command attachmentsCommand(Program& program);
[[nodiscard]] Command backupCommand(Program& program);
[[nodiscard]] Command browseCommand(Program& program);
[[nodiscard]] Command connectionsCommand(Program& program);
[[nodiscard]] Command deleteCommand(Program& program);
[[nodiscard]] Command duplicatesCommand(Program& program);
[[nodiscard]] Command exportCommand(Program& program);
[[nodiscard]] Command findCommand(Program& program);
[[nodiscard]] Command forwardCommand(Program& program);
[[nodiscard]] Command indexCommand(Program& program);
[[nodiscard]] Command inspectCommand(Program& program);
[[nodiscard]] Command listCommand(Program& program);
[[nodiscard]] Command logsCommand(Program& program);
[[nodiscard]] Command partsCommand(Program& program);
[[nodiscard]] Command printCommand(Program& program);
[[nodiscard]] Command replyCommand(Program& program);
[[nodiscard]] Command restoreCommand(Program& program);
[[nodiscard]] Command rulesCommand(Program& program);
[[nodiscard]] Command saveCommand(Program& program);
[[nodiscard]] Command scheduleCommand(Program& program);
[[nodiscard]] Command searchCommand(Program& program);
[[nodiscard]] Command searchesCommand(Program& program);
[[nodiscard]] Command serverCommand(Program& program);
[[nodiscard]] Command settingsCommand(Program& program);
[[nodiscard]] Command showCommand(Program& program);
[[nodiscard]] Command sourcesCommand(Program& program);
[[nodiscard]] Command statsCommand(Program& program);
[[nodiscard]] Command statusCommand(Program& program);
[[nodiscard]] Command tagCommand(Program& program);
[[nodiscard]] Command untagCommand(Program& program);
[[nodiscard]] Command verifyCommand(Program& program);

}  // namespace keldane
