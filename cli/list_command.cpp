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
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ResultList& list = controller->resultList();
  options.rows.prepare(list);
  list.currentSql =
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email ORDER BY date_fld "
      "DESC" +
      limitClause(context);
  list.retrieve();
  program.exitStatus = showList(*controller, options.rows, program);
}

}  // namespace

void addListCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list", "List the newest messages of the archive");
  command->add_option("--limit", options->limit, "At most so many (200 when not given)")
      ->option_text(kLimitWords);
  options->rows.addTo(*command);
  command->callback([options, &program] { runList(*options, program); });
}

}  // namespace keldane
