#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/day_text.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/run_report.h"

namespace keldane {
namespace {

struct ArchiveOptions {
  std::vector<std::string> paths;
  std::string from;
  std::string to;
  std::string database;
  std::string connection;
  std::string ledger;
  bool json = false;
};

std::string checkDay(const std::string& day) {
  if (day.size() == 10 && readDay(day)) return "";
  return "\"" + day + "\" is not a day; write it as YYYY-MM-DD";
}

void setDay(const std::string& text, std::string& year, std::string& month, std::string& day) {
  const std::optional<DayText> read = readDay(text);
  if (!read) return;
  year = read->year;
  month = read->month;
  day = read->day;
}

/// Absolute paths of what is to be imported. Empty, and a message, when one of them is not there.
std::vector<AcctsRow> importRows(const std::vector<std::string>& paths, Program& program) {
  std::vector<AcctsRow> rows;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      program.exitStatus = program.fail(fmt::format("no such file or folder: {}", path));
      return {};
    }
    rows.push_back({true, std::filesystem::absolute(path, error).lexically_normal().string()});
    if (rows.back().acctDesc.size() > 1 && rows.back().acctDesc.back() == '/') {
      rows.back().acctDesc.pop_back();
    }
  }
  return rows;
}

void report(const ArchiveOptions& options, const ArchiveRun& run, Program& program) {
  if (options.json) {
    printJson(runSummaryJson(run.lastReport()));
  } else {
    printRunSummary(run.lastReport());
  }
  std::fflush(stdout);
  if (!reportRunProblems(run)) program.exitStatus = kExitFailed;
  if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
}

void runArchive(const ArchiveOptions& options, Program& program) {
  std::vector<AcctsRow> rows = importRows(options.paths, program);
  if (rows.empty() && !options.paths.empty()) return;
  watchInterrupts();
  KeldaneController* controller =
      program.connected(options.connection, options.database, Opening::create);
  if (controller == nullptr || interruptCount() > 0) {
    program.exitStatus = interruptCount() > 0 ? kExitInterrupted : kExitFailed;
    return;
  }
  ArchiveRun& run = controller->archiveRun();
  run.ledgerPath = options.ledger;
  if (!rows.empty()) {
    controller->sources().acctRows = std::move(rows);
    controller->sources().importMode = true;
  } else {
    run.setStoreDate();
    if (options.from.empty() && !run.goingOn().empty()) program.terminal.notice(run.goingOn());
  }
  setDay(options.from, run.form.beginStoreYr, run.form.beginStoreMo, run.form.beginStoreDa);
  setDay(options.to, run.form.endStoreYr, run.form.endStoreMo, run.form.endStoreDa);
  program.terminal.showsInformation = true;  // what stops a run before it starts must be seen
  run.parseEmail();
  if (!run.isRunning() && run.lastSummary().empty()) {
    program.exitStatus = kExitFailed;
    return;
  }
  program.terminal.showsInformation = false;
  program.runUntil([&run] { return !run.isRunning(); });
  report(options, run, program);
}

}  // namespace

Command archiveCommand(Program& program) {
  auto options = std::make_shared<ArchiveOptions>();
  return {
      .name = "archive",
      .help =
          "Archive mail: the files and folders named (.eml, .emlx, mbox), or the chosen sources",
      .more =
          "A run over the chosen sources without --from begins at the day of the newest stored "
          "message, or where a run that was cut off began. What became of each file and "
          "message stands in the ledger.",
      .options = {{"PATH", &options->paths, "Files and folders to import"},
                  {"--from", &options->from, "Only messages from this day on (YYYY-MM-DD)", "DAY",
                   checkDay},
                  {"--to", &options->to, "Only messages before this day (YYYY-MM-DD)", "DAY",
                   checkDay},
                  {"--database", &options->database, "Archive into this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"},
                  {"--ledger", &options->ledger,
                   "Keep the run's ledger in this file in place of Ledger.log", "FILE"},
                  {"--json", &options->json, "Print the summary as one line of JSON"}},
      .run = [options, &program] { runArchive(*options, program); }};
}

}  // namespace keldane
