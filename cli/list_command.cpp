#include <cstdio>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

struct ListOptions {
  unsigned limit = 200;
  std::string database;
  std::string connection;
  bool json = false;
};

void printRows(const ResultList& list, bool json) {
  if (json) {
    for (const Emailrow& row : list.emailRows) {
      const bool tagged = row.emailDate.ends_with("*");
      std::fputs(jsonLine({{"id", row.emailID},
                           {"date", row.emailDate.substr(0, row.emailDate.size() - tagged)},
                           {"from", row.emailFrom},
                           {"to", row.emailTo},
                           {"subject", row.emailSubject},
                           {"mailbox", row.emailMailbox},
                           {"attachments", row.emailAtch},
                           {"tagged", tagged}})
                     .c_str(),
                 stdout);
    }
    return;
  }
  std::vector<std::vector<std::string>> rows;
  for (const Emailrow& row : list.emailRows) {
    rows.push_back({fmt::format("{}", row.emailID), row.emailDate,
                    row.emailAtch != 0 ? fmt::format("{}", row.emailAtch) : "", row.emailFrom,
                    row.emailSubject});
  }
  const std::size_t width = ::isatty(STDOUT_FILENO) != 0 ? terminalWidth(STDOUT_FILENO) : 0;
  std::fputs(formatTable({{"ID", true, 0}, {"DATE", false, 20}, {"ATT", true, 3},
                          {"FROM", false, 32}, {"SUBJECT", false, 0}},
                         rows, width)
                 .c_str(),
             stdout);
}

void runList(const ListOptions& options, Program& program) {
  KeldaneController* controller = program.connected(options.connection, options.database);
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
  if (list.listCountTextField.empty()) {
    program.exitStatus = kExitFailed;
    return;
  }
  printRows(list, options.json);
}

}  // namespace

void addListCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list", "List the newest messages of the archive");
  command->add_option("--limit", options->limit, "At most so many (200 when not given)");
  command->add_option("--database", options->database, "List this database");
  command->add_option("--connection", options->connection, "Use this saved connection");
  command->add_flag("--json", options->json, "One JSON object a line for each message");
  command->callback([options, &program] { runList(*options, program); });
}

}  // namespace keldane
