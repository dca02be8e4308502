#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/day_option.h"
#include "cli/day_text.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/run_report.h"
#include "cli/standard_input.h"

namespace keldane {
namespace {

/// What the terminal shows of a run beside its reading.
class RunDisplay : public RunObserver {
 public:
  explicit RunDisplay(Program& program) : program_(program), terminal_(program.terminal) {}
  void failed(const Faults& faults) override { static_cast<void>(program_.tell(faults)); }
  void passBegins() override { terminal_.progressStarted("Looking for email files..."); }
  void passEnds() override { terminal_.progressEnded(); }
  void messageTooLarge() override { terminal_.notice("keldane: " + std::string(kTooLargeWords)); }

 private:
  Program& program_;
  TerminalInterface& terminal_;
};

struct ArchiveOptions {
  std::vector<std::string> paths;
  std::string from;
  std::string to;
  std::string database;
  std::string connection;
  std::string ledger;
  bool json = false;
};

std::string midnightOf(const std::string& day) {
  const std::optional<DayText> read = readDay(day);
  return read ? fmt::format("{}-{}-{} 00:00:00", read->year, read->month, read->day) : day;
}

/// Absolute paths of what is to be imported, with "-" as the file that `input` then holds. Empty,
/// and a message, when one of them is not there.
std::vector<std::string> importPaths(const std::vector<std::string>& paths,
                                     std::unique_ptr<StandardInputFile>& input, Program& program) {
  std::vector<std::string> absolute;
  for (const std::string& path : paths) {
    if (path == "-") {
      if (input != nullptr) continue;
      auto received = StandardInputFile::receive(supportFolder(program.archiver().process()));
      if (!received) {
        program.exitStatus = program.fail(received.error());
        return {};
      }
      input = std::move(*received);
      absolute.push_back(input->path());
      continue;
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      program.exitStatus = program.fail(fmt::format("no such file or folder: {}", path));
      return {};
    }
    absolute.push_back(std::filesystem::absolute(path, error).lexically_normal().string());
    if (absolute.back().size() > 1 && absolute.back().back() == '/') absolute.back().pop_back();
  }
  return absolute;
}

/// A run over the sources that are chosen begins with the newest day stored. False: that day cannot
/// be had.
bool goOnFromNewest(ArchiveRequest& request, bool tells, ArchiveRun& run, RunObserver& observer,
                    Program& program) {
  program.terminal.progressStarted("Finding date of last email stored...");
  const Result<RunBeginning> beginning = run.findBeginning(request, observer);
  program.terminal.progressEnded();
  if (!beginning) {
    if (beginning.error().empty()) return false;
    std::fprintf(stderr, "SQL error: %s\n", printable(beginning.error()).c_str());
    return false;
  }
  if (tells && !beginning->goingOn.empty()) program.terminal.notice(beginning->goingOn);
  if (!beginning->rangeStartText.empty()) request.range.rangeStartText = beginning->rangeStartText;
  return true;
}

void loadSources(MailSources& sources, Program& program) {
  bool answered = true;
  if (!sources.choosesMailboxes()) {
    answered = sources.loadAccountRows();
  } else if (!sources.mailboxNamesLoaded) {
    program.terminal.progressStarted("Looking for mailboxes...");
    answered = sources.getMailboxNames();
    program.terminal.progressEnded();
  }
  if (!answered) {
    program.terminal.notice(
        "keldane: the Mail application does not tell its accounts; mailboxes keep their ids");
  }
}

void report(const ArchiveOptions& options, const RunReport& report, Program& program) {
  if (options.json) {
    printJson(runSummaryJson(report));
  } else {
    printRunSummary(report);
  }
  std::fflush(stdout);
  if (!reportRunProblems(report)) program.exitStatus = kExitFailed;
  if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
}

void runArchive(const ArchiveOptions& options, Program& program) {
  std::unique_ptr<StandardInputFile> input;
  ArchiveRequest request;
  request.paths = importPaths(options.paths, input, program);
  if (request.paths.empty() && !options.paths.empty()) return;
  request.ledgerPath = options.ledger;
  watchInterrupts();
  Archiver* archiver = program.connected(options.connection, options.database, Opening::create);
  if (archiver == nullptr || interruptCount() > 0) {
    program.exitStatus = interruptCount() > 0 ? kExitInterrupted : kExitFailed;
    return;
  }
  ArchiveRun& run = archiver->archiveRun();
  RunDisplay display(program);
  if (request.paths.empty()) {
    static_cast<void>(goOnFromNewest(request, options.from.empty(), run, display, program));
  }
  if (!options.from.empty()) request.range.rangeStartText = midnightOf(options.from);
  if (!options.to.empty()) request.range.rangeEndText = midnightOf(options.to);
  if (request.paths.empty()) loadSources(archiver->sources(), program);
  if (const auto failure = run.start(std::move(request), display)) {
    tellNotStarted(*failure);
    program.exitStatus = kExitFailed;
    return;
  }
  program.runUntil([&run] { return !run.isRunning(); });
  if (run.lastReport()) report(options, *run.lastReport(), program);
}

/// What the schedule asks for, on the main thread; the status of the program.
int archiveUnattended(Program& program) {
  Archiver& archiver = program.archiver();
  // A start by a schedule that is gone.
  if (archiver.process().unattendedRun == 0 || !archiver.schedule().isScheduled()) return kExitDone;
  watchInterrupts();
  program.host.requestMailAutomation();
  if (archiver.fullDiskAccessRefused()) return program.fail(kFullDiskAccessText);
  static_cast<void>(program.tell(archiver.connectUnattended()));
  if (!archiver.connections().isConnected()) return kExitFailed;
  archiver.connections().doConfigure();
  ArchiveRun& run = archiver.archiveRun();
  RunDisplay display(program);
  ArchiveRequest request;
  if (!goOnFromNewest(request, true, run, display, program)) return kExitFailed;
  loadSources(archiver.sources(), program);
  if (const auto failure = run.start(std::move(request), display)) {
    tellNotStarted(*failure);
    return kExitFailed;
  }
  program.runUntil([&run] { return !run.isRunning(); });
  return run.lastReport() && reportRunProblems(*run.lastReport()) ? kExitDone : kExitFailed;
}

}  // namespace

int runUnattended(Program& program) {
  const int status = archiveUnattended(program);
  return interruptCount() > 0 ? kExitInterrupted : status;
}

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
      .options = {{"PATH", &options->paths,
                   "Files and folders to import; - is a message or an mbox from standard input"},
                  {"--from", wholeDayInto(options->from, program),
                   "Only messages from this day on (YYYY-MM-DD)", "DAY"},
                  {"--to", wholeDayInto(options->to, program),
                   "Only messages before this day (YYYY-MM-DD)", "DAY"},
                  {"--database", &options->database, "Archive into this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"},
                  {"--ledger", &options->ledger,
                   "Keep the run's ledger in this file in place of Ledger.log", "FILE"},
                  {"--json", &options->json, "Print the summary as one line of JSON"}},
      .run = [options, &program] { runArchive(*options, program); }};
}

}  // namespace keldane
