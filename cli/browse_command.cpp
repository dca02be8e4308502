#include <memory>

#include "cli/commands.h"
#include "cli/message_rows.h"
#include "cli/program.h"
#include "cli/search_options.h"

namespace keldane {
namespace {

struct BrowseOptions {
  RowOptions rows;
  std::string limit;
  bool bySize = false;
};

void runBrowse(BrowseOptions options, Program& program) {
  SearchContext checked;
  if (const Result<void> limited = applyLimit(options.limit, checked); !limited) {
    (void)program.fail(limited.error());
    program.exitStatus = kExitUsage;
    return;
  }
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  SearchContext context = controller->searchSettings();
  static_cast<void>(applyLimit(options.limit, context));  // has been checked
  options.rows.prepare(controller->resultList());
  if (options.bySize) {
    controller->resultList().retrieveBySize(limitClause(context));
  } else {
    controller->retrieveSheet().orderAndLimit = context;
    if (!controller->settings().archive.browseNameString.empty()) {
      options.rows.withoutLimit = "the limit stands in the saved search that browse runs";
    }
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
  command->add_option("--limit", options->limit, "At most so many, but for a saved search")
      ->option_text(kLimitWords);
  options->rows.addTo(*command);
  command->callback([options, &program] { runBrowse(*options, program); });
}

}  // namespace keldane
