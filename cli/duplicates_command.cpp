#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

struct DuplicatesOptions {
  bool deletes = false;
  bool json = false;
  std::string database;
  std::string connection;
};

void printDeleted(const DuplicatesOptions& options, const ResultList& list, unsigned long deleted) {
  if (!options.json) {
    fmt::print("{} duplicate emails have been deleted from the database.\n", deleted);
    return;
  }
  nlohmann::ordered_json kept = nlohmann::ordered_json::array();
  for (const Emailrow& row : list.emailRows) kept.push_back(row.emailID);
  printJson({{"deleted", deleted}, {"kept", std::move(kept)}});
}

void printCopies(const DuplicatesOptions& options, const ResultList& list,
                 const DuplicateSweep& sweep) {
  std::string text;
  std::vector<std::vector<std::string>> rows;
  for (const Emailrow& row : list.emailRows) {
    const std::uint32_t kept = sweep.keptOf(row.emailID);
    const bool copy = kept != row.emailID;
    if (options.json) {
      const bool tagged = row.emailDate.ends_with("*");
      nlohmann::ordered_json object = {
          {"id", row.emailID},
          {"copy_of", nullptr},
          {"date", row.emailDate.substr(0, row.emailDate.size() - (tagged ? 1 : 0))},
          {"from", row.emailFrom},
          {"to", row.emailTo},
          {"subject", row.emailSubject},
          {"mailbox", row.emailMailbox},
          {"attachments", row.emailAtch},
          {"tagged", tagged}};
      if (copy) object["copy_of"] = kept;
      text += jsonLine(object);
      continue;
    }
    rows.push_back({fmt::format("{}", row.emailID), copy ? fmt::format("{}", kept) : "",
                    row.emailDate, row.emailFrom, row.emailSubject, row.emailMailbox});
  }
  const Pager pager(!options.json);
  if (!options.json) {
    text = formatTable({{"ID", true, 0},
                        {"COPY OF", true, 0},
                        {"DATE", false, 20},
                        {"FROM", false, 32},
                        {"SUBJECT", false, 0},
                        {"MAILBOX", false, 24}},
                       rows, pager.width());
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void runDuplicates(const DuplicatesOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  KeldaneController* controller = program.connected(options.connection, options.database);
  if (controller == nullptr) return;
  DuplicateSweep& sweep = controller->duplicateSweep();
  const DuplicateSweep::Outcome outcome = sweep.checkDups(options.deletes);
  if (outcome.complete) program.exitStatus = kExitDone;
  if (options.deletes) {
    printDeleted(options, controller->resultList(), outcome.deleted);
  } else if (outcome.complete) {
    printCopies(options, controller->resultList(), sweep);
  }
}

}  // namespace

void addDuplicatesCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<DuplicatesOptions>();
  CLI::App* command = app.add_subcommand("duplicates",
                                         "List messages that are stored twice: the same sender, "
                                         "receivers, subject and time. What they "
                                         "say, and the mailbox, does not count");
  command->add_flag("--delete", options->deletes,
                    "Delete the copies; of each message the one that the server names first stays");
  command->add_flag("--json", options->json,
                    "One JSON object a line for each message; with --delete one for all");
  command->add_option("--database", options->database, "Use this database");
  command->add_option("--connection", options->connection, "Use this saved connection");
  command->callback([options, &program] { runDuplicates(*options, program); });
}

}  // namespace keldane
