#include "ingest/archive_run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/ledger/crash_recovery.h"
#include "settings/mail_folders.h"

namespace keldane {
namespace {

constexpr const char* kLedger = "Ledger.log";
constexpr const char* kAllAccounts = "all accounts";
/// Above every id of a first run.
constexpr std::uint32_t kNoFirstId = 9999999;
constexpr std::int64_t kTwoDays = 172800;
constexpr std::size_t kDayLength = 10;  // "YYYY-MM-DD"

bool contains(const std::vector<std::string>& list, const std::string& what) {
  return std::find(list.begin(), list.end(), what) != list.end();
}

NotStarted notStarted(NotStarted::Reason reason, std::string text = {}) {
  return {reason, std::move(text)};
}

}  // namespace

std::string newestLimit(const std::string& newestDate, std::int64_t now) {
  if (leadingInt(newestDate) == 0) return {};
  std::string day = newestDate.substr(0, kDayLength);
  const std::string twoDaysAgo = localDateTime(now - kTwoDays).substr(0, kDayLength);
  if (day.size() < kDayLength || day > twoDaysAgo) day = twoDaysAgo;
  return day + " 00:00:00";
}

ArchiveRun::ArchiveRun(Context context)
    : context_(context), watch_(context_.session, ledger_, context_.progress) {}

ArchiveRun::~ArchiveRun() { abandon(); }

// The start.

bool ArchiveRun::databaseOpened() {
  observer_->failed(context_.database.openDatabase());
  return context_.process.cancelFlag.exchange(0) == 0;
}

Result<RunBeginning> ArchiveRun::findBeginning(const ArchiveRequest& request,
                                               RunObserver& observer) {
  observer_ = &observer;
  context_.process.cancelFlag = 0;
  if (!databaseOpened()) return Failure{""};
  if (!context_.session.query("SELECT MAX(date_fld) FROM email")) {
    return Failure{context_.session.error()};
  }
  RunBeginning beginning;
  beginning.rangeStartText =
      newestLimit(fetchFirstCell(context_.session), context_.environment.now());
  const std::string& begin =
      beginning.rangeStartText.empty() ? request.range.rangeStartText : beginning.rangeStartText;
  const std::vector<std::string> sources = sourcesOf(request);
  const UnfinishedSource* earliest = nullptr;
  const auto unfinished = RunLedger::unfinishedSources(ledgerFile(request), supportPath(kLedger));
  for (const UnfinishedSource& source : unfinished) {
    const bool isChosen = contains(sources, source.source) || contains(sources, kAllAccounts);
    if (source.database != ledgerDatabase() || !isChosen) continue;
    if (earliest == nullptr || source.from < earliest->from) earliest = &source;
  }
  if (earliest == nullptr) return beginning;
  beginning.goingOn = "Going on with the unfinished run of " + earliest->startedAt + ".";
  if (earliest->from < begin) beginning.rangeStartText = earliest->from;
  return beginning;
}

/// As the ledger names them; empty for files and folders that are named for one run.
std::vector<std::string> ArchiveRun::sourcesOf(const ArchiveRequest& request) const {
  const Settings& settings = context_.settings;
  std::vector<std::string> sources;
  if (context_.sources.importMode || !request.paths.empty()) return sources;
  if (settings.archive.mailboxesState != 0) {
    for (const std::string& mailbox : settings.selectedMailboxes) {
      sources.push_back("mailbox " + mailbox);
    }
  } else {
    // Accounts that nobody has chosen yet are all of them, and get their names at the start.
    const bool mayAdopt = settings.user.mailFolders.empty();
    if (settings.selectedAccounts.empty() && mayAdopt) sources.emplace_back(kAllAccounts);
    for (const std::string& account : settings.selectedAccounts) {
      sources.push_back("account " + account);
    }
  }
  if (settings.archive.importFolderState != 0) {
    sources.push_back("folder " + settings.archive.importFolderPath);
  }
  return sources;
}

void ArchiveRun::cancel() { context_.process.cancelFlag = 1; }

void ArchiveRun::interrupt() {
  if (!running_) return;
  interrupted_ = true;
  cancel();
}

std::optional<NotStarted> ArchiveRun::start(ArchiveRequest request, RunObserver& observer) {
  if (running_) return notStarted(NotStarted::Reason::isRunning);
  request_ = std::move(request);
  observer_ = &observer;
  std::optional<NotStarted> failure = startPass(RunPass::chosen);
  if (failure) request_ = {};
  return failure;
}

std::optional<NotStarted> ArchiveRun::startPass(RunPass pass) {
  ProcessState& process = context_.process;
  // A database that could not be opened some time ago must not swallow this start. Between the
  // passes it is the user who has cancelled.
  if (pass == RunPass::chosen) process.cancelFlag = 0;
  context_.connections.doConfigure();
  if (pass == RunPass::chosen) {
    startCounters();
    if (request_.paths.empty()) {
      if (auto nothing = nothingSelected()) return nothing;
    }
  }
  if (!databaseOpened()) return notStarted(NotStarted::Reason::noDatabase);
  if (pass == RunPass::chosen) {
    if (auto failure = beginLedger()) return failure;
    context_.progress.step(0, "");
  }
  openLogs(pass);
  if (pass == RunPass::chosen && request_.feeds && context_.feed != nullptr) {
    feed_ = context_.feed;
    feed_->begin();
  }
  observer_->passBegins();
  if (process.debugLogOn) debugLog_.openForAppend(process.logFilePath);
  process.cancelFlag = 0;
  startWorker(pass);
  return std::nullopt;
}

void ArchiveRun::startCounters() {
  counters_.parsedCount = 0;
  counters_.archivedCount = 0;
  counters_.duplicateCount = 0;
  counters_.lastStoredId = 0;
  counters_.firstStoredId = kNoFirstId;
  counters_.progressCount = 0;
  duplicateLogText_.clear();
  report_ = {};
  watch_.reset();
  isWhole_ = true;
  interrupted_ = false;
}

std::optional<NotStarted> nothingChosen(const Settings& settings) {
  if (settings.archive.importFolderState != 0) return std::nullopt;
  if (!settings.user.mailFolders.empty()) return std::nullopt;
  if (settings.archive.mailboxesState != 0) {
    if (!settings.selectedMailboxes.empty()) return std::nullopt;
    return notStarted(NotStarted::Reason::noMailboxes);
  }
  if (settings.archive.postbox >= 1 || !settings.selectedAccounts.empty()) return std::nullopt;
  return notStarted(NotStarted::Reason::noAccounts);
}

std::optional<NotStarted> ArchiveRun::nothingSelected() {
  const std::optional<NotStarted> nothing = nothingChosen(context_.settings);
  if (!nothing || nothing->reason != NotStarted::Reason::noAccounts) return nothing;
  adoptCheckedAccounts();
  return nothingChosen(context_.settings);
}

void ArchiveRun::adoptCheckedAccounts() {
  for (const AcctsRow& row : context_.sources.acctRows) {
    if (row.acctCheck) context_.settings.selectedAccounts.push_back(row.acctDesc);
    observer_->failed(context_.settings.saveSettings());
  }
}

std::string ArchiveRun::ledgerDatabase() const {
  const ServerConnection& server = context_.connections.current();
  std::string text = context_.database.dbPath + "@" + server.host;
  if (server.port != 0) text += ":" + std::to_string(server.port);
  if (!server.socket.empty()) text += ":" + server.socket;
  return text;
}

std::string ArchiveRun::ledgerFile(const ArchiveRequest& request) const {
  return request.ledgerPath.empty() ? supportPath(kLedger) : request.ledgerPath;
}

std::optional<NotStarted> ArchiveRun::beginLedger() {
  if (!context_.session.query("SELECT MAX(id) FROM email")) {
    return notStarted(NotStarted::Reason::sqlError, context_.session.error());
  }
  LedgerStart start;
  start.greatestId = static_cast<std::uint32_t>(
      std::strtoul(fetchFirstCell(context_.session).c_str(), nullptr, 10));
  start.database = ledgerDatabase();
  start.startedAt = localDateTime(context_.environment.now());
  start.home = supportPath(kLedger);
  start.sources = sourcesOf(request_);
  start.rangeFrom = request_.range.rangeStartText;
  start.rangeTo = request_.range.rangeEndText;
  const Result<void> folder = makeFolders(supportFolder(context_.process));
  const Result<void> begun = folder ? ledger_.begin(ledgerFile(request_), start) : folder;
  if (!begun) return notStarted(NotStarted::Reason::noLedger, begun.error());
  repair_ = std::make_unique<CrashRecovery>(context_.session, ledger_, storeLog_, start.database);
  return std::nullopt;
}

void ArchiveRun::openLogs(RunPass pass) {
  ProcessState& process = context_.process;
  const bool onDesktop = process.unattendedRun != 0 && context_.settings.user.leaveLogState != 0;
  const std::string& database = context_.database.dbPath;
  const std::string name = "/" + database + ".storelog";
  process.storeLogPath = (onDesktop ? process.homePath + "/Desktop" : process.workFolder) + name;
  storeLog_.openForAppend(process.storeLogPath);
  if (onDesktop && !storeLog_.isOpen()) {
    const std::string wanted = process.storeLogPath;
    process.storeLogPath = supportFolder(process) + name;
    storeLog_.openForAppend(process.storeLogPath);
    if (pass == RunPass::chosen) {
      std::fprintf(stderr, "keldane: the log of this run cannot be kept in %s; it is in %s\n",
                   wanted.c_str(), process.storeLogPath.c_str());
    }
  }
  process.logFilePath = process.workFolder + "/" + database + ".log";
}

std::optional<RunPass> passBehind(RunPass pass, const ArchiveRequest& request,
                                  const Settings& settings) {
  if (!request.paths.empty()) return std::nullopt;
  if (pass == RunPass::chosen && !settings.user.mailFolders.empty()) return RunPass::folders;
  const bool hasImport = settings.archive.importFolderState != 0;
  return pass != RunPass::importFolder && hasImport ? std::optional(RunPass::importFolder)
                                                    : std::nullopt;
}

PassPlan makePassPlan(const ArchiveRequest& request, RunPass pass, const Settings& settings,
                      MailSources& sources, const TagRuleList& tagRules) {
  PassPlan plan;
  plan.settings = settings.archive;
  if (pass == RunPass::importFolder) {
    plan.selection = {settings.archive.importFolderPath};
    plan.deleteImportFiles = settings.archive.deleteFolderState != 0;
  } else if (pass == RunPass::folders) {
    for (const MailFolder& folder : settings.user.mailFolders) {
      (isThere(folder) ? plan.folders : plan.missingFolders).push_back(folder);
    }
  } else if (!request.paths.empty()) {
    plan.selection = request.paths;
  } else {
    plan.selection = sources.chosen();
  }
  plan.importMode = pass != RunPass::chosen || !request.paths.empty();
  // Not for the import folder, where a file goes by what became of it in this very run, nor for the
  // accounts, whose days are chosen anew each time. Who wants copies gets them from every run.
  const bool staysWhole = !plan.importMode || pass == RunPass::importFolder;
  plan.skipsKnownFiles = !staysWhole && settings.archive.skipDupsState == 0;
  plan.readsAll = request.readsAll || request.withDeleted;
  // What may be removed once it is read is read whole.
  plan.leavesOutDeleted = !staysWhole && !request.withDeleted;
  plan.range = pass == RunPass::folders ? request.foldersRange : request.range;
  // The setting is a text such as "1.6", in millions; its value is taken in single precision.
  plan.attachSizeBytes =
      static_cast<float>(leadingDouble(settings.archive.attachSize)) * 1000000.0F;
  plan.keepDiffering = settings.user.keepDiffering != 0;
  plan.declaredCharsets = settings.user.declaredCharsets != 0;
  plan.gmailLabels = settings.user.gmailLabels != 0;
  plan.tagRulesList = tagRules.rules();
  plan.mailAccounts = sources.mailAccounts;
  return plan;
}

void ArchiveRun::startWorker(RunPass pass) {
  PassPlan plan =
      makePassPlan(request_, pass, context_.settings, context_.sources, context_.tagRules);
  tellMissing(plan.missingFolders);
  // In a later pass, the worker of the one before is waiting for the call that we are in.
  previousWorker_ = std::move(worker_);
  pass_ = pass;
  worker_ = std::make_unique<ArchiveWorker>(
      ArchiveWorker::Context{.session = context_.session,
                             .process = context_.process,
                             .progress = context_.progress,
                             .mainQueue = context_.mainQueue,
                             .environment = context_.environment,
                             .observer = *observer_,
                             .plan = std::move(plan),
                             .message = message_,
                             .counters = counters_,
                             .ledger = ledger_,
                             .watch = watch_,
                             .repair = *repair_,
                             .duplicateLogText = duplicateLogText_,
                             .storeLog = storeLog_,
                             .debugLog = debugLog_,
                             .feed = feed_,
                             .repairsFirst = pass == RunPass::chosen,
                             .reconnect = [this] { return reconnect && reconnect(); },
                             .taskCompleted = [this] { taskCompleted(); }});
  running_ = true;
  worker_->start();
}

// The end.

void ArchiveRun::taskCompleted() {
  const PassResult& result = worker_->result();
  isWhole_ = isWhole_ && result.isWhole;
  if (!result.lostServer.empty()) report_.lostServer = result.lostServer;
  if (result.left) {
    report_.left = *result.left;
    if (result.isWhole) context_.sources.mailboxNamesLoaded = false;
  }
  observer_->passEnds();
  // A walk that was cancelled is followed by the import folder all the same, but by no further mail
  // of the user's choice; after Ctrl-C, or with a server that stores no more, nothing follows.
  std::optional<RunPass> next = passBehind(pass_, request_, context_.settings);
  if (next == RunPass::folders && !result.isWhole) {
    next = passBehind(RunPass::folders, request_, context_.settings);
  }
  if (next && !interrupted_ && !watch_.isStopped() && goOn(*next)) return;
  report();
}

bool ArchiveRun::goOn(RunPass pass) {
  if (pass == RunPass::importFolder) {
    MailSources& sources = context_.sources;
    sources.acctRows = {{true, context_.settings.archive.importFolderPath}};
    sources.rowKind = RowKind::paths;
  }
  storeLog_.close();
  if (!startPass(pass)) return true;
  // Nothing will come back from a pass that has not begun, so the run ends here with its report,
  // and the import folder keeps its files.
  storeLog_.openForAppend(context_.process.storeLogPath);
  isWhole_ = false;
  return false;
}

void ArchiveRun::endFeed() {
  if (MessageFeed* const feed = std::exchange(feed_, nullptr)) {
    const std::string line = feed->end();
    if (!line.empty()) storeLog_.write(line);
  }
}

void ArchiveRun::tellMissing(const std::vector<MailFolder>& folders) {
  for (const MailFolder& folder : folders) {
    storeLog_.write("Source is not there: " + printable(folder.path) + "\n");
    report_.missingFolders.push_back(folder);
  }
}

void ArchiveRun::report() {
  closeLedger();
  endFeed();
  observer_->savesSettings();
  observer_->failed(context_.settings.savePreferences());
  fillReport();
  observer_->stored(report_);
  debugLog_.close();
  const DebugLogTotals debugLog = readDebugLog(context_.process.logFilePath);
  counters_.invalidCount = debugLog.invalid;
  counters_.parsedCount += debugLog.parsed;
  if (counters_.parsedCount == 0 || counters_.parsedCount == counters_.processedCount - 1) {
    counters_.parsedCount = counters_.processedCount;
  }
  const std::string summary = runSummary(report_.totals);
  storeLog_.write(storeLogSummary(report_.totals, debugLog));
  storeLog_.close();
  context_.host.notify("Done Archiving Email", summary);
  observer_->logged(report_);
  context_.process.storeLogPath.clear();
  writeRunLogs(report_.totals);
  duplicateLogText_.clear();
  counters_.parsedCount = 0;
  counters_.archivedCount = 0;
  counters_.duplicateCount = 0;
  counters_.processedCount = 0;
  request_ = {};
  lastReport_ = report_;
  running_ = false;
  observer_->ended();
}

RunTotals ArchiveRun::totals() const {
  return {counters_.processedCount, counters_.archivedCount, counters_.duplicateCount};
}

void ArchiveRun::fillReport() {
  report_.totals = totals();
  report_.sums = ledger_.sums();
  report_.differing = watch_.differing();
  report_.noMessages = watch_.noMessages();
  report_.outsideRange = watch_.outsideRange();
  report_.notChosen = watch_.notChosen();
  report_.interrupted = interrupted_;
  const std::optional<StopReason>& stop = watch_.stopReason();
  if (stop && !stop->serverLost) report_.stoppedBy = stop->text;
  report_.firstStoredId = counters_.firstStoredId;
  report_.lastStoredId = counters_.lastStoredId;
  report_.ledgerPath = ledger_.path();
}

void ArchiveRun::closeLedger() {
  const std::optional<StopReason>& stop = watch_.stopReason();
  if (stop && stop->serverLost && report_.lostServer.empty()) report_.lostServer = stop->text;
  const bool serverLost = !report_.lostServer.empty();
  // What was being written is left to the next run, so that must not begin behind it.
  if (isWhole_ && !watch_.isStopped() && ledger_.sums().postponed == 0) ledger_.sourcesRead();
  if (repair_ && !serverLost) repair_->finish();
  ledger_.finish(serverLost);
  if (ledger_.unwrittenLines() > 0) {
    storeLog_.write(fmt::format("Ledger: {} lines could not be written, {}\n",
                                ledger_.unwrittenLines(), printable(ledger_.path())));
  }
}

void ArchiveRun::writeRunLogs(const RunTotals& totals) {
  const std::string date = dateDefaultText(context_.environment.now());
  const bool runWritten = rewriteRunLog(pathForLogFile(context_.process, kRunLog), date, totals);
  const bool duplicatesWritten = rewriteDuplicatesLog(
      pathForLogFile(context_.process, kDuplicatesLog), date, duplicateLogText_);
  if (!runWritten || !duplicatesWritten) {
    std::fprintf(stderr, "keldane: the logs in %s cannot be written\n",
                 supportFolder(context_.process).c_str());
  }
}

void ArchiveRun::logInterrupted() {
  if (!running_) return;
  // What fails leaves the log as it was; nobody is there to be told.
  static_cast<void>(rewriteRunLog(pathForLogFile(context_.process, kRunLog),
                                  dateDefaultText(context_.environment.now()), totals()));
}

std::string ArchiveRun::supportPath(const std::string& name) const {
  return supportFolder(context_.process) + "/" + name;
}

void ArchiveRun::abandon() {
  if (worker_) {
    context_.process.cancelFlag = 1;
    worker_->abandon();
  }
  if (previousWorker_) previousWorker_->abandon();
  worker_.reset();
  previousWorker_.reset();
  endFeed();
  if (!running_) return;
  storeLog_.close();
  debugLog_.close();
  context_.process.storeLogPath.clear();
  context_.process.cancelFlag = 0;
  counters_.processedCount = 0;
  duplicateLogText_.clear();
  request_ = {};
  running_ = false;
}

}  // namespace keldane
