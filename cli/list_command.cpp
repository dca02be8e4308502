#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/message_rows.h"
#include "cli/program.h"

namespace keldane {
namespace {

struct ListOptions {
  RowOptions rows;
  unsigned limit = 200;
};

void runList(const ListOptions& options, Program& program) {
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ResultList& list = controller->resultList();
  list.currentSql = fmt::format(
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email ORDER BY date_fld "
      "DESC LIMIT {}",
      options.limit);
  list.retrieve();
  program.exitStatus = showList(*controller, options.rows, program);
}

}  // namespace

void addListCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list", "List the newest messages of the archive");
  command->add_option("--limit", options->limit, "At most so many (200 when not given)");
  options->rows.addTo(*command);
  command->callback([options, &program] { runList(*options, program); });
}

}  // namespace keldane
