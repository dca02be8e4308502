#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/message_rows.h"
#include "cli/program.h"
#include "cli/search_options.h"

namespace keldane {
namespace {

struct ListOptions {
  RowOptions rows;
  std::string limit = "200";
};

void runList(const ListOptions& options, Program& program) {
  SearchContext context;
  if (const Result<void> limited = applyLimit(options.limit, context); !limited) {
    (void)program.fail(limited.error());
    program.exitStatus = kExitUsage;
    return;
  }
  Archiver* archiver = program.connected(options.rows.connection, options.rows.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  program.exitStatus =
      showList(*archiver, {makeNewestSQL(limitClause(context))}, options.rows, program);
}

}  // namespace

Command listCommand(Program& program) {
  auto options = std::make_shared<ListOptions>();
  Command command = {.name = "list",
                     .help = "List the newest messages of the archive",
                     .options = {{"--limit", &options->limit,
                                  "At most so many (200 when not given)", kLimitWords}},
                     .run = [options, &program] { runList(*options, program); }};
  options->rows.addTo(command);
  return command;
}

}  // namespace keldane
