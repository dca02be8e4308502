#include "cli/commands.h"

#include "cli/program.h"

namespace keldane {
namespace {

struct Group {
  const char* title;
  std::vector<Command (*)(Program&)> commands;
};

const std::vector<Group>& groups() {
  static const std::vector<Group> all = {
      {"Fill the archive",
       {archiveCommand, sourcesCommand, rulesCommand, scheduleCommand, logsCommand}},
      {"Find and read",
       {listCommand, findCommand, searchCommand, searchesCommand, browseCommand, showCommand,
        attachmentsCommand, partsCommand, statsCommand}},
      {"Carry it out",
       {exportCommand, saveCommand, printCommand, replyCommand, forwardCommand, backupCommand,
        restoreCommand}},
      {"Keep it",
       {tagCommand, untagCommand, duplicatesCommand, deleteCommand, verifyCommand, statusCommand,
        settingsCommand, indexCommand, connectionsCommand, serverCommand, inspectCommand}}};
  return all;
}

}  // namespace

Command wholeProgram(Program& program) {
  Command root = {
      .name = "keldane",
      .help = "Keldane Pro keeps your e-mail in a MySQL archive that you own.",
      .more =
          "A first argument that is a number other than 0 is a run by the schedule: it archives "
          "the chosen sources and ends.",
      .options = {
          {"-q,--quiet", &program.terminal.quiet, "No progress line"},
          {"--no-pager", &program.style.noPager, "Long output goes straight to the terminal"},
          {.names = "--color",
           .target = &program.style.color,
           .help = "Colour: on a terminal (auto, as when not given), always or never",
           .choices = {"auto", "always", "never"}}}};
  for (const Group& group : groups()) {
    for (Command (*const describe)(Program&) : group.commands) {
      root.commands.push_back(describe(program));
      root.commands.back().group = group.title;
    }
  }
  return root;
}

}  // namespace keldane
