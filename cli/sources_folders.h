#pragma once

#include <vector>

#include "cli/command_line.h"
#include "settings/mail_folder.h"

namespace keldane {

class Program;

/// `keldane sources add` and `remove`: folders and files that every run without paths archives.
[[nodiscard]] Command sourcesAddCommand(Program& program);
[[nodiscard]] Command sourcesRemoveCommand(Program& program);

/// For `sources list`, which has them behind the accounts.
void printMailFolders(const std::vector<MailFolder>& folders);
void printMailFoldersJson(const std::vector<MailFolder>& folders);

}  // namespace keldane
