#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/day_option.h"
#include "cli/day_text.h"
#include "cli/dry_run_report.h"
#include "cli/import_paths.h"
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
  bool all = false;
  bool withDeleted = false;
  bool dryRun = false;
  bool noIndex = false;
  bool list = false;
  bool json = false;
};

std::string midnightOf(const std::string& day) {
  const std::optional<DayText> read = readDay(day);
  return read ? fmt::format("{}-{}-{} 00:00:00", read->year, read->month, read->day) : day;
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

void fillDays(const ArchiveOptions& options, ArchiveRequest& request) {
  for (RunRange* range : {&request.range, &request.foldersRange}) {
    if (!options.from.empty()) range->rangeStartText = midnightOf(options.from);
    if (!options.to.empty()) range->rangeEndText = midnightOf(options.to);
  }
}

/// An archive that there may be, to compare with. False: it cannot be opened, which has been told.
bool openForDryRun(const ArchiveOptions& options, Program& program) {
  // Where no connection is saved there is no archive either, and a server is not set up to say so.
  const bool anyConnection = !program.archiver().connections().connectionList().empty();
  if (!anyConnection && options.connection.empty()) return true;
  return program.connected(options.connection, options.database, Opening::ifThere) != nullptr;
}

void runDry(const ArchiveOptions& options, ArchiveRequest request, Program& program) {
  program.exitStatus = kExitFailed;
  if (!openForDryRun(options, program)) {
    if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
    return;
  }
  Archiver& archiver = program.archiver();
  const bool hasArchive = archiver.connections().isConnected() && archiver.database().isOpen();
  RunDisplay display(program);
  if (request.paths.empty() && hasArchive &&
      !goOnFromNewest(request, options.from.empty(), archiver.archiveRun(), display, program)) {
    return;
  }
  fillDays(options, request);
  if (request.paths.empty()) {
    if (const auto nothing = nothingChosen(archiver.settings())) return tellNotStarted(*nothing);
    loadSources(archiver.sources(), program);
  }
  DryRun run({archiver.session(), archiver.process(), program.environment, program.terminal,
              [] { return interruptCount() > 0; }});
  DryRunReport lines(options.json, options.list, program);
  program.terminal.progressStarted("Looking for email files...");
  const Result<RunReport> report =
      run.run(dryPlans(request, archiver.settings(), archiver.sources(), archiver.tagRules()),
              hasArchive, [&lines](const DryOutcome& outcome) { lines.take(outcome); });
  program.terminal.progressEnded();
  if (!report) {
    program.exitStatus = program.failSql(report.error());
    return;
  }
  program.exitStatus = lines.finish(*report);
}

void runArchive(const ArchiveOptions& options, Program& program) {
  std::unique_ptr<StandardInputFile> input;
  ArchiveRequest request;
  request.paths = importPaths(options.paths, input, program);
  if (request.paths.empty() && !options.paths.empty()) return;
  request.ledgerPath = options.ledger;
  request.feeds = !options.noIndex;
  // Each standard input lies in the same file.
  request.readsAll = options.all || input != nullptr;
  request.withDeleted = options.withDeleted;
  watchInterrupts();
  if (options.dryRun) return runDry(options, std::move(request), program);
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
  fillDays(options, request);
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
          "Without paths, the chosen accounts or mailboxes are archived, then the folders that "
          "`keldane sources add` keeps, then the import folder. Without --from, accounts and "
          "mailboxes begin at the day of the newest stored message, or where a run that was cut "
          "off began; folders are read whole. What became of each file and "
          "message stands in the ledger.",
      .options = {{"PATH", &options->paths,
                   "Files and folders to import; - is a message or an mbox from standard input"},
                  {"--from", wholeDayInto(options->from, program),
                   "Only messages from this day on (YYYY-MM-DD)", "DAY"},
                  {"--to", wholeDayInto(options->to, program),
                   "Only messages before this day (YYYY-MM-DD)", "DAY"},
                  {"--with-deleted", &options->withDeleted,
                   "Also messages that their mail program has marked as deleted and not yet taken "
                   "away; of files and folders they are left out otherwise"},
                  {"--database", &options->database, "Archive into this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"},
                  {"--ledger", &options->ledger,
                   "Keep the run's ledger in this file in place of Ledger.log", "FILE"},
                  {"--no-index", &options->noIndex,
                   "Leave the word index behind; the next find brings it in step"},
                  {"--all", &options->all,
                   "Read every file, also those that have not changed since they were archived"},
                  {.names = "--dry-run",
                   .target = &options->dryRun,
                   .help = "Only tell what would become of each message; nothing at all is written",
                   .excludes = {"--ledger"}},
                  {.names = "--list",
                   .target = &options->list,
                   .help = "With --dry-run: a line for each message and file, however many",
                   .needs = {"--dry-run"}},
                  {"--json", &options->json, "Print the summary as one line of JSON"}},
      .run = [options, &program] { runArchive(*options, program); }};
}

}  // namespace keldane
