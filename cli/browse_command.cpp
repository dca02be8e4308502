#include <memory>

#include "cli/commands.h"
#include "cli/last_list.h"
#include "cli/message_rows.h"
#include "cli/program.h"

namespace keldane {
namespace {

struct BrowseOptions {
  RowOptions rows;
  bool bySize = false;
};

void runBrowse(const BrowseOptions& options, Program& program) {
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  if (options.bySize) {
    controller->browse().browseBySize();
  } else {
    controller->browse().browseDatabase();
  }
  program.exitStatus = showList(*controller, options.rows, program);
}

}  // namespace

void addBrowseCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<BrowseOptions>();
  CLI::App* command = app.add_subcommand(
      "browse",
      "List the whole archive, or run the saved search set with `keldane searches set-browse`; the "
      "limit and the order are those of the settings");
  command->add_flag("--size", options->bySize, "List by size, the largest first");
  options->rows.addTo(*command);
  command->callback([options, &program] { runBrowse(*options, program); });
}

}  // namespace keldane
