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

nlohmann::ordered_json summaryJson(const LedgerSums& sums, int processed, int archived,
                                   int duplicates) {
  return {{"processed", processed},
          {"archived", archived},
          {"duplicates", duplicates},
          {"ledger",
           {{"met", sums.met},
            {"archived", sums.archived},
            {"duplicates", sums.duplicates},
            {"excluded", sums.excluded},
            {"dropped", sums.dropped},
            {"failed", sums.failed},
            {"notMail", sums.notMail},
            {"unreadable", sums.unreadable},
            {"postponed", sums.postponed}}}};
}

/// The three numbers of the summary's lines, which outlive the counters of the run.
std::array<int, 3> summaryNumbers(const std::string& summary) {
  std::array<int, 3> numbers{};
  std::size_t next = 0;
  for (const std::string& line : split(summary, "\n")) {
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos || next == numbers.size()) continue;
    numbers[next++] = leadingInt(std::string_view(line).substr(colon + 2));
  }
  return numbers;
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
  const LedgerSums& sums = run.lastSums();
  if (options.json) {
    const auto [processed, archived, duplicates] = summaryNumbers(run.lastSummary());
    printJson(summaryJson(sums, processed, archived, duplicates));
  } else {
    std::fputs(run.lastSummary().c_str(), stdout);
  }
  std::fflush(stdout);
  if (const std::string lost = run.lostServerError(); !lost.empty()) {
    program.exitStatus = program.fail(fmt::format(
        "the server went away during the run: {}\nWhat was stored before is safe. Run the same "
        "command again: it goes on where this run was cut off.",
        lost));
  } else if (sums.failed != 0) {
    program.exitStatus = program.fail(
        fmt::format("{} message{} could not be stored; `keldane logs ledger --only failed` tells "
                    "which and why",
                    sums.failed, sums.failed == 1 ? "" : "s"));
  }
  if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
}

void runArchive(const ArchiveOptions& options, Program& program) {
  std::vector<AcctsRow> rows = importRows(options.paths, program);
  if (rows.empty() && !options.paths.empty()) return;
  watchInterrupts();
  KeldaneController* controller =
      program.connected(options.connection, options.database, Opening::create);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ArchiveRun& run = controller->archiveRun();
  run.ledgerPath = options.ledger;
  if (!rows.empty()) {
    controller->sources().acctRows = std::move(rows);
    controller->sources().importMode = true;
  } else {
    run.setStoreDate();
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

void addArchiveCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ArchiveOptions>();
  CLI::App* command = app.add_subcommand(
      "archive",
      "Archive mail: the files and folders named (.eml, .emlx, mbox), or the chosen sources");
  command->add_option("PATH", options->paths, "Files and folders to import");
  command->add_option("--from", options->from, "Only messages from this day on (YYYY-MM-DD)")
      ->check(checkDay);
  command->add_option("--to", options->to, "Only messages before this day (YYYY-MM-DD)")
      ->check(checkDay);
  command->add_option("--database", options->database, "Archive into this database");
  command->add_option("--connection", options->connection, "Use this saved connection");
  command->add_option("--ledger", options->ledger,
                      "Keep the run's ledger in this file in place of Ledger.log");
  command->add_flag("--json", options->json, "Print the summary as one line of JSON");
  command->callback([options, &program] { runArchive(*options, program); });
}

}  // namespace keldane
