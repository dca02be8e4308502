#include <cstdlib>
#include <string>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/overview.h"
#include "cli/program.h"
#include "platform/process_memory.h"

namespace {

/// A first argument that is an integer other than 0 is a start by the schedule.
bool isUnattended(int argc, char** argv) {
  if (argc < 2) return false;
  const std::string first = argv[1];
  char* end = nullptr;
  const long number = std::strtol(first.c_str(), &end, 10);
  return end != first.c_str() && *end == '\0' && number != 0;
}

}  // namespace

int main(int argc, char** argv) {
  keldane::fillStandardFiles();
  keldane::giveLargeBlocksBack();
  keldane::Program program(argc, argv);
  if (isUnattended(argc, argv)) return program.runUnattended();

  CLI::App app("Keldane Pro keeps your e-mail in a MySQL archive that you own.", "keldane");
  app.set_version_flag("-V,--version", "keldane 8.0.1");
  app.require_subcommand(1);
  app.fallthrough(false);
  app.add_flag("-q,--quiet", program.terminal.quiet, "No progress line");
  keldane::addArchiveCommand(app, program);
  keldane::addAttachmentsCommand(app, program);
  keldane::addBrowseCommand(app, program);
  keldane::addConnectionsCommand(app, program);
  keldane::addDuplicatesCommand(app, program);
  keldane::addInspectCommand(app, program);
  keldane::addListCommand(app, program);
  keldane::addLogsCommand(app, program);
  keldane::addRulesCommand(app, program);
  keldane::addScheduleCommand(app, program);
  keldane::addSearchCommand(app, program);
  keldane::addSearchesCommand(app, program);
  keldane::addServerCommand(app, program);
  keldane::addShowCommand(app, program);
  keldane::addSettingsCommand(app, program);
  keldane::addSourcesCommand(app, program);
  keldane::addStatsCommand(app, program);
  keldane::addStatusCommand(app, program);
  keldane::addTagCommand(app, program);
  keldane::groupCommands(app);
  if (argc == 1) {
    keldane::printOverview(app, !program.controller().connections().connectionNames().empty());
    return program.finishOutput();
  }
  app.footer(
      "A first argument that is a number other than 0 is a run by the schedule: it archives the "
      "chosen sources and ends.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const std::string unknown = keldane::unknownCommand(app, argc, argv);
    if (!unknown.empty() && error.get_exit_code() != 0) {
      program.fail("there is no command \"" + keldane::printable(unknown) +
                   "\"; `keldane` alone and --help show what there is");
      return keldane::kExitUsage;
    }
    return app.exit(error) == 0 ? keldane::kExitDone : keldane::kExitUsage;
  }
  return program.finishOutput();
}
