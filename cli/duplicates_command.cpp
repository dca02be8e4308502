#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/json_text.h"
#include "cli/message_rows.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/question.h"
#include "cli/text_table.h"
#include "query/duplicate_sweep.h"

namespace keldane {
namespace {

struct DuplicatesOptions {
  bool deletes = false;
  bool dryRun = false;
  bool yes = false;
  bool json = false;
  std::string database;
  std::string connection;
};

void printDeleted(const DuplicatesOptions& options, const SweepResult& found) {
  if (!options.json) {
    fmt::print("{} deleted.\n", countText(static_cast<long long>(found.deleted), "duplicate"));
    return;
  }
  nlohmann::ordered_json kept = nlohmann::ordered_json::array();
  for (const SweepResult::Entry& entry : found.listed) kept.push_back(entry.row.emailID);
  printJson({{"deleted", found.deleted}, {"kept", std::move(kept)}});
}

nlohmann::ordered_json jsonOf(const SweepResult::Entry& entry) {
  const Emailrow& row = entry.row;
  nlohmann::ordered_json object = {{"id", row.emailID},
                                   {"copy_of", nullptr},
                                   {"similar_to", nullptr},
                                   {"date", isoDate(plainDate(row))},
                                   {"from", row.emailFrom},
                                   {"to", row.emailTo},
                                   {"subject", row.emailSubject},
                                   {"mailbox", row.emailMailbox},
                                   {"attachments", row.emailAtch},
                                   {"tagged", isTagged(row)}};
  if (entry.relation == Relation::copy) object["copy_of"] = entry.of;
  if (entry.relation == Relation::similar) object["similar_to"] = entry.of;
  return object;
}

std::string relationText(const SweepResult::Entry& entry) {
  if (entry.relation == Relation::kept) return {};
  return fmt::format("{} {}", entry.relation == Relation::copy ? "copy of" : "similar to",
                     entry.of);
}

void printCopies(const DuplicatesOptions& options, const SweepResult& found,
                 const OutputStyle& style) {
  const Pager pager(style, !options.json);
  if (options.json) {
    for (const SweepResult::Entry& entry : found.listed) printJson(jsonOf(entry));
    return;
  }
  std::vector<std::vector<std::string>> rows;
  for (const SweepResult::Entry& entry : found.listed) {
    const Emailrow& row = entry.row;
    rows.push_back({fmt::format("{}", row.emailID), relationText(entry),
                    dateToFit(row, pager.width()), isTagged(row) ? "*" : "", row.emailFrom,
                    row.emailSubject, row.emailMailbox});
  }
  const std::string table = formatTable({{"ID", true, 0},
                                         {"IS", false, 0, true},
                                         {"DATE", false, 0, true},
                                         {"TAG", false, 0, true},
                                         {"FROM", false, 32},
                                         {"SUBJECT", false, 0},
                                         {"MAILBOX", false, 24}},
                                        rows, pager.width());
  std::fwrite(table.data(), 1, table.size(), stdout);
}

/// Sweeps the archive; a failure is told.
SweepResult sweep(bool deletes, Archiver& archiver, Program& program) {
  program.terminal.progressStarted("Checking for duplicates...");
  Progress unseen;
  Result<SweepResult> found =
      sweepDuplicates(archiver.session(), deletes, sourceReading(archiver.settings().user), unseen);
  program.terminal.progressEnded();
  SweepResult result;
  if (found) {
    result = std::move(*found);
  } else {
    result.error = found.error();
  }
  if (!result.error.empty()) (void)program.failSql(result.error);
  return result;
}

/// Whether the copies may be deleted: they are counted first when somebody can be asked.
bool mayDelete(const DuplicatesOptions& options, Archiver& archiver, Program& program) {
  if (options.yes) return true;
  const SweepResult found = sweep(false, archiver, program);
  if (!found.error.empty()) return false;
  const unsigned long copies = found.copies;
  if (copies != 0 &&
      asksAndHearsYes(fmt::format("Delete {}? One of each stays.",
                                  countText(static_cast<long long>(copies), "duplicate")))) {
    return true;
  }
  std::fputs(copies == 0 ? "There are no duplicates.\n" : "Nothing is deleted.\n", stdout);
  program.exitStatus = kExitDone;
  return false;
}

void runDuplicates(const DuplicatesOptions& options, Program& program) {
  const bool deletes = options.deletes && !options.dryRun;
  if (deletes && !options.yes && !canAsk()) {
    (void)program.fail(
        "--delete wants --yes where nobody can be asked; --dry-run shows what it would delete");
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  if (deletes && !mayDelete(options, *archiver, program)) return;
  const SweepResult found = sweep(deletes, *archiver, program);
  if (found.error.empty()) program.exitStatus = kExitDone;
  if (deletes) {
    printDeleted(options, found);
  } else if (found.error.empty()) {
    printCopies(options, found, program.style);
    if (options.dryRun && !options.json) {
      fmt::print("{} would be deleted.\n",
                 countText(static_cast<long long>(found.copies), "duplicate"));
    }
  }
}

}  // namespace

Command duplicatesCommand(Program& program) {
  auto options = std::make_shared<DuplicatesOptions>();
  return {
      .name = "duplicates",
      .help =
          "List messages that are stored twice: the same sender, receivers, subject, time and "
          "content, in whatever mailbox. Those of another content are called similar",
      .options = {{"--delete", &options->deletes,
                   "Delete the copies; of each message the one that the server names first stays, "
                   "and so does what is similar. Asks on a terminal, and wants --yes elsewhere"},
                  {.names = "--dry-run",
                   .target = &options->dryRun,
                   .help = "Only show what --delete would delete",
                   .needs = {"--delete"}},
                  {.names = "--yes",
                   .target = &options->yes,
                   .help = "Delete without asking",
                   .needs = {"--delete"}},
                  {"--json", &options->json,
                   "One JSON object a line for each message; with --delete one for all"},
                  {"--database", &options->database, "Use this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"}},
      .run = [options, &program] { runDuplicates(*options, program); }};
}

}  // namespace keldane
