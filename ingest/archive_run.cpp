#include "ingest/archive_run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/archive_worker.h"
#include "ingest/ledger/crash_recovery.h"

namespace keldane {
namespace {

constexpr std::string_view kStoreLogEnding = ".storelog";
constexpr const char* kRunLog = "Keldane.log";
constexpr const char* kDuplicatesLog = "Duplicates.log";
constexpr const char* kLedger = "Ledger.log";
constexpr const char* kAllAccounts = "all accounts";
/// Above every id of a first run.
constexpr std::uint32_t kNoFirstId = 9999999;

bool holds(const std::vector<std::string>& list, const std::string& what) {
  return std::find(list.begin(), list.end(), what) != list.end();
}

std::string textOf(const std::string& path) {
  const Result<std::string> text = readFile(path);
  return text ? toUtf8(*text) : std::string();
}

}  // namespace

ArchiveRun::ArchiveRun(Context context, Callbacks callbacks)
    : context_(context),
      callbacks_(std::move(callbacks)),
      watch_(context_.session, ledger_, context_.progress) {}

ArchiveRun::~ArchiveRun() { abandon(); }

// The start.

bool ArchiveRun::databaseOpened() {
  callbacks_.tell(context_.database.openDatabase());
  return context_.process.cancelFlag.exchange(0) == 0;
}

void ArchiveRun::setStoreDate() {
  context_.process.cancelFlag = 0;
  context_.ui.changed("progressLabels");
  context_.progress.doProgressPanel("Finding date of last email stored...");
  if (!databaseOpened()) {
    context_.progress.close();
    return;
  }
  if (!context_.session.query("SELECT MAX(date_fld) FROM email")) {
    std::fprintf(stderr, "SQL error: %s\n", printable(context_.session.error()).c_str());
    return;
  }
  beginWithNewest(form, fetchFirstCell(context_.session), context_.environment.now());
  beginWithUnfinished();
  context_.progress.close();
  if (context_.process.unattendedRun != 0) {
    parseEmail();
  } else {
    context_.ui.openSheet("storeDatePanel");
  }
}

void ArchiveRun::beginWithUnfinished() {
  goingOn_.clear();
  const std::vector<std::string> sources = sourcesOfRun();
  const std::string begin = rangeOf(form).rangeStartText;
  const UnfinishedSource* earliest = nullptr;
  const auto unfinished = RunLedger::unfinishedSources(ledgerFile(), supportPath(kLedger));
  for (const UnfinishedSource& source : unfinished) {
    const bool isChosen = holds(sources, source.source) || holds(sources, kAllAccounts);
    if (source.database != ledgerDatabase() || !isChosen) continue;
    if (earliest == nullptr || source.from < earliest->from) earliest = &source;
  }
  if (earliest == nullptr) return;
  goingOn_ = "Going on with the unfinished run of " + earliest->startedAt + ".";
  if (earliest->from < begin) beginAt(form, earliest->from);
}

/// As the ledger names them; empty for files and folders that are named for one run.
std::vector<std::string> ArchiveRun::sourcesOfRun() const {
  const Settings& settings = context_.settings;
  std::vector<std::string> sources;
  if (context_.sources.importMode) return sources;
  if (settings.archive.mailboxesState != 0) {
    for (const std::string& mailbox : settings.selectedMailboxes) {
      sources.push_back("mailbox " + mailbox);
    }
  } else {
    // Accounts that nobody has chosen yet are all of them, and get their names at the start.
    if (settings.selectedAccounts.empty()) sources.emplace_back(kAllAccounts);
    for (const std::string& account : settings.selectedAccounts) {
      sources.push_back("account " + account);
    }
  }
  if (settings.archive.importFolderState != 0) {
    sources.push_back("folder " + settings.archive.importFolderPath);
  }
  return sources;
}

void ArchiveRun::cancelStore() { context_.ui.closePanel("storeDatePanel"); }

void ArchiveRun::cancelParse() { context_.process.cancelFlag = 1; }

void ArchiveRun::interrupt() {
  if (!running_) return;
  interrupted_ = true;
  cancelParse();
}

void ArchiveRun::parseEmail() {
  if (!running_) static_cast<void>(startPass());
}

bool ArchiveRun::isSecondPass() const {
  return context_.process.storeLogPath.ends_with(kStoreLogEnding);
}

bool ArchiveRun::startPass() {
  ProcessState& process = context_.process;
  const ArchiveSettings& archive = context_.settings.archive;
  SourceSelection& sources = context_.sources;
  const bool secondPass = isSecondPass();
  // A database that could not be opened some time ago must not swallow this start. Between the
  // passes it is the user who has cancelled.
  if (!secondPass) process.cancelFlag = 0;
  context_.connections.doConfigure();
  if (!secondPass) {
    if (counters_.processedCount != 0) return false;
    startCounters();
  }
  if (process.unattendedRun == 0) context_.ui.closePanel("storeDatePanel");
  range_ = rangeOf(form);
  if (!sources.importMode && archive.mailboxesState == 0 && callbacks_.loadAccountRows) {
    callbacks_.loadAccountRows();
  }
  if (!somethingSelected()) return false;
  if (process.unattendedRun == 0 && !secondPass) {
    composeConfirmation();
    duplicateLogText_.clear();
  }
  clearResults();
  if (!secondPass) counters_.progressCount = 0;
  if (!databaseOpened()) return false;
  if (!secondPass) {
    if (!beginLedger()) return false;
    context_.progress.doProgressCount(0, 0);
  }
  openLogs();
  if (archive.mailboxesState != 0 && !sources.importMode && !sources.mailboxNamesLoaded) {
    if (callbacks_.getMailboxNames) callbacks_.getMailboxNames();
    sources.mailboxNamesLoaded = true;
  }
  showProgress();
  if (process.debugLogOn) debugLog_.openForAppend(process.logFilePath);
  process.cancelFlag = 0;
  // The setting is a text such as "1.6", in millions; its value is taken in single precision.
  attachSizeBytes_ = static_cast<float>(leadingDouble(archive.attachSize)) * 1000000.0F;
  startWorker();
  return true;
}

void ArchiveRun::startCounters() {
  counters_.parsedCount = 0;
  counters_.archivedCount = 0;
  counters_.duplicateCount = 0;
  counters_.lastStoredId = 0;
  counters_.firstStoredId = kNoFirstId;
  report_ = {};
  watch_.reset();
  isWhole_ = true;
  interrupted_ = false;
  const std::lock_guard lock(lostServerMutex_);
  lostServerError_.clear();
}

bool ArchiveRun::somethingSelected() {
  const Settings& settings = context_.settings;
  const bool otherSources = context_.sources.importMode || settings.archive.importFolderState != 0;
  if (settings.archive.mailboxesState != 0) {
    if (!settings.selectedMailboxes.empty() || otherSources) return true;
    context_.ui.alert({"No mailboxes selected",
                       "You have not selected any mailboxes to archive in the database.  Click on "
                       "the Settings button to select your mailboxes."});
    return false;
  }
  if (settings.archive.postbox >= 1) return true;
  if (settings.selectedAccounts.empty() && !otherSources) adoptCheckedAccounts();
  if (!settings.selectedAccounts.empty() || otherSources) return true;
  context_.ui.alert({"No accounts selected",
                     "You have not selected any email accounts to archive in the database.  Click "
                     "on the Settings button to select your mailboxes."});
  return false;
}

void ArchiveRun::adoptCheckedAccounts() {
  for (const AcctsRow& row : context_.sources.acctRows) {
    if (row.acctCheck) context_.settings.selectedAccounts.push_back(row.acctDesc);
    callbacks_.tell(context_.settings.saveSettings());
  }
}

void ArchiveRun::composeConfirmation() {
  const ArchiveSettings& archive = context_.settings.archive;
  const std::string& database = context_.database.dbPath;
  const std::string_view attachments = archive.attachState != 0 ? "and attachments " : "";
  std::string& text = confirmationText_;
  text.clear();
  if (context_.sources.importMode) {
    text = fmt::format(
        "Keldane Pro Pro will archive and index the email in the selected mbox files, into the {} "
        "database.",
        database);
  } else if (archive.mailboxesState != 0) {
    text = fmt::format(
        "Keldane Pro will archive and index the text {}of all emails in your selected email "
        "mailboxes, into the {} database.",
        attachments, database);
  } else if (archive.postbox < 1) {
    text = fmt::format(
        "Keldane Pro will archive and index the text {}of all emails in the In boxes and Sent "
        "boxes of your selected email accounts, into the {} database.",
        attachments, database);
  }
  if (archive.trashState != 0) text += " The Trash mailboxes will also be archived.";
  if (archive.junkState != 0) text += " The Junk mailboxes will also be archived.";
  if (archive.importFolderState == 0) return;
  text += fmt::format("\n\nThe email files in the {} folder will also be archived.",
                      archive.importFolderPath);
  if (archive.deleteFolderState == 0) return;
  text += fmt::format(
      " After the email files have been archived, they will be deleted from the {} folder.",
      archive.importFolderPath);
}

void ArchiveRun::clearResults() {
  if (callbacks_.clearResultList) callbacks_.clearResultList();
  for (const char* control :
       {"dbCountTextField", "listCountTextField", "bodyTextView", "origTextView"}) {
    context_.ui.changed(control);
  }
}

std::string ArchiveRun::ledgerDatabase() const {
  const ServerConnection& server = context_.connections.current();
  std::string text = context_.database.dbPath + "@" + server.host;
  if (server.port != 0) text += ":" + std::to_string(server.port);
  if (!server.socket.empty()) text += ":" + server.socket;
  return text;
}

std::string ArchiveRun::ledgerFile() const {
  return ledgerPath.empty() ? supportPath(kLedger) : ledgerPath;
}

bool ArchiveRun::beginLedger() {
  if (!context_.session.query("SELECT MAX(id) FROM email")) {
    context_.ui.alert(
        {"SQL Error", "SQL error: " + printable(context_.session.error()), AlertStyle::critical});
    return false;
  }
  LedgerStart start;
  start.greatestId = static_cast<std::uint32_t>(
      std::strtoul(fetchFirstCell(context_.session).c_str(), nullptr, 10));
  start.database = ledgerDatabase();
  start.startedAt = localDateTime(context_.environment.now());
  start.home = supportPath(kLedger);
  start.sources = sourcesOfRun();
  start.rangeFrom = range_.rangeStartText;
  start.rangeTo = range_.rangeEndText;
  const Result<void> folder = makeFolders(supportFolder(context_.process));
  const Result<void> begun = folder ? ledger_.begin(ledgerFile(), start) : folder;
  if (!begun) {
    context_.ui.alert({"No ledger",
                       "The run has not been started, because its ledger cannot be kept. " +
                           printable(begun.error()),
                       AlertStyle::critical});
    return false;
  }
  repair_ = std::make_unique<CrashRecovery>(context_.session, ledger_, storeLog_, start.database);
  return true;
}

void ArchiveRun::openLogs() {
  ProcessState& process = context_.process;
  const bool onDesktop = process.unattendedRun != 0 && context_.settings.user.leaveLogState != 0;
  const std::string& database = context_.database.dbPath;
  const std::string name = "/" + database + std::string(kStoreLogEnding);
  process.storeLogPath = (onDesktop ? process.homePath + "/Desktop" : process.workFolder) + name;
  storeLog_.openForAppend(process.storeLogPath);
  if (onDesktop && !storeLog_.isOpen()) {
    const std::string wanted = process.storeLogPath;
    process.storeLogPath = supportFolder(process) + name;
    storeLog_.openForAppend(process.storeLogPath);
    std::fprintf(stderr, "The log of this run cannot be kept in %s; it is in %s\n", wanted.c_str(),
                 process.storeLogPath.c_str());
  }
  process.logFilePath = process.workFolder + "/" + database + ".log";
}

void ArchiveRun::showProgress() {
  context_.progress.doProgressPanel("Looking for email files...");
  if (context_.process.unattendedRun == 0) context_.ui.openSheet("ProgressPanel");
}

void ArchiveRun::startWorker() {
  // The rules may be edited while the worker reads them: a pass keeps to those of its start.
  runRules_ = context_.tagRulesList;
  ArchiveWorker::Context context{
      .session = context_.session,
      .process = context_.process,
      .settings = context_.settings,
      .sources = context_.sources,
      .tagRulesList = runRules_,
      .progress = context_.progress,
      .ui = context_.ui,
      .mainQueue = context_.mainQueue,
      .environment = context_.environment,
      .message = message_,
      .counters = counters_,
      .ledger = ledger_,
      .watch = watch_,
      .repair = *repair_,
      .range = range_,
      .attachSizeBytes = attachSizeBytes_,
      .duplicateLogText = duplicateLogText_,
      .storeLog = storeLog_,
      .debugLog = debugLog_,
      .repairsFirst = !running_,
      .getMailboxNames = callbacks_.getMailboxNames,
      .doConnect = callbacks_.reconnect,
      .serverLost = [this](const std::string& error) { noteLostServer(error); },
      .leftInFolder = [this](LeftInFolder left) { report_.left = std::move(left); },
      .walkEnded = [this](bool isWhole) { isWhole_ = isWhole_ && isWhole; },
      .taskCompleted = [this] { taskCompleted(); }};
  // In a second pass, the worker of the first is waiting for the call that we are in.
  previousWorker_ = std::move(worker_);
  worker_ = std::make_unique<ArchiveWorker>(std::move(context));
  running_ = true;
  worker_->start();
}

// The end.

void ArchiveRun::taskCompleted() {
  context_.progress.close();
  if (context_.process.unattendedRun == 0) context_.ui.closePanel("ProgressPanel");
  // A walk that was cancelled is followed by the import folder all the same; after Ctrl-C, or with
  // a server that stores no more, nothing is.
  const bool importFolderNext = context_.settings.archive.importFolderState != 0 &&
                                !context_.sources.importMode && !interrupted_ &&
                                !watch_.isStopped();
  if (importFolderNext && startImportFolderPass()) return;
  report();
}

bool ArchiveRun::startImportFolderPass() {
  const ArchiveSettings& archive = context_.settings.archive;
  SourceSelection& sources = context_.sources;
  sources.importMode = true;
  sources.acctRows = {{true, archive.importFolderPath}};
  sources.rowKind = RowKind::paths;
  storeLog_.close();
  if (archive.deleteFolderState != 0) sources.deleteImportFiles = true;
  if (startPass()) return true;
  // Nothing will come back from a pass that has not begun, so the run ends here with its report,
  // and the folder keeps its files.
  storeLog_.openForAppend(context_.process.storeLogPath);
  isWhole_ = false;
  return false;
}

void ArchiveRun::report() {
  ProcessState& process = context_.process;
  SourceSelection& sources = context_.sources;
  sources.importMode = false;
  // A pass that was cancelled has not read the folder to its end; the next run must not begin by
  // emptying it.
  sources.deleteImportFiles = false;
  closeLedger();
  callbacks_.tell(context_.settings.savePreferences());
  if (context_.settings.archive.mailboxesState != 0 && !sources.mailboxNamesLoaded &&
      callbacks_.getMailboxNames) {
    callbacks_.getMailboxNames();
  }
  showStoredMessages();
  debugLog_.close();
  const DebugLogTotals debugLog = readDebugLog(process.logFilePath);
  counters_.invalidCount = debugLog.invalid;
  counters_.parsedCount += debugLog.parsed;
  if (counters_.parsedCount == 0 || counters_.parsedCount == counters_.processedCount - 1) {
    counters_.parsedCount = counters_.processedCount;
  }
  const RunTotals totals{counters_.processedCount, counters_.archivedCount,
                         counters_.duplicateCount};
  report_.totals = totals;
  fillReport();
  lastSummary_ = runSummary(totals);
  storeLog_.write(storeLogSummary(totals, debugLog));
  storeLog_.close();
  announce(lastSummary_);
  process.storeLogPath.clear();
  writeRunLogs(totals);
  duplicateLogText_.clear();
  counters_.parsedCount = 0;
  counters_.archivedCount = 0;
  counters_.duplicateCount = 0;
  counters_.processedCount = 0;
  running_ = false;
  if (process.unattendedRun != 0 && callbacks_.terminate) callbacks_.terminate();
}

void ArchiveRun::fillReport() {
  report_.sums = lastSums_;
  report_.differing = watch_.differing();
  report_.noMessages = watch_.noMessages();
  report_.interrupted = interrupted_;
  const std::optional<StopReason>& stop = watch_.stopReason();
  if (stop && !stop->serverLost) report_.stoppedBy = stop->text;
  lastReport_ = report_;
}

void ArchiveRun::closeLedger() {
  const std::optional<StopReason>& stop = watch_.stopReason();
  if (stop && stop->serverLost && lostServerError().empty()) noteLostServer(stop->text);
  const bool serverLost = !lostServerError().empty();
  // What was being written is left to the next run, so that must not begin behind it.
  if (isWhole_ && !watch_.isStopped() && ledger_.sums().postponed == 0) ledger_.sourcesRead();
  if (repair_ && !serverLost) repair_->finish();
  ledger_.finish(serverLost);
  lastSums_ = ledger_.sums();
  if (ledger_.unwrittenLines() > 0) {
    storeLog_.write(fmt::format("Ledger: {} lines could not be written, {}\n",
                                ledger_.unwrittenLines(), printable(ledger_.path())));
  }
}

void ArchiveRun::showStoredMessages() {
  if (!callbacks_.retrieve) return;
  callbacks_.retrieve(
      fmt::format("SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email WHERE "
                  "id>={} AND id<={} ORDER BY date_fld DESC",
                  counters_.firstStoredId, counters_.lastStoredId));
}

void ArchiveRun::announce(const std::string& summary) {
  const ProcessState& process = context_.process;
  context_.host.notify("Done Archiving Email", summary);
  context_.ui.setWindowTitle("storePanel", "done storing email in " + context_.database.dbPath);
  if (process.unattendedRun != 0) return;
  const int button = context_.ui.alert(
      {"Archive Log", "Done Archiving Email", AlertStyle::informational, {"OK", "View Log File"}});
  if (button == kSecondButton) {
    context_.ui.showText("Archive Log", textOf(process.storeLogPath));
  }
}

void ArchiveRun::writeRunLogs(const RunTotals& totals) {
  const std::string date = dateDefaultText(context_.environment.now());
  const bool runWritten = rewriteRunLog(pathForLogFile(kRunLog), date, totals);
  const bool duplicatesWritten =
      rewriteDuplicatesLog(pathForLogFile(kDuplicatesLog), date, duplicateLogText_);
  if (!runWritten || !duplicatesWritten) {
    std::fprintf(stderr, "The logs in %s cannot be written\n",
                 supportFolder(context_.process).c_str());
  }
}

void ArchiveRun::logInterrupted() {
  if (!running_) return;
  const RunTotals totals{counters_.processedCount, counters_.archivedCount,
                         counters_.duplicateCount};
  // What fails leaves the log as it was; nobody is there to be told.
  static_cast<void>(
      rewriteRunLog(pathForLogFile(kRunLog), dateDefaultText(context_.environment.now()), totals));
}

// The logs.

std::string ArchiveRun::supportPath(const std::string& name) const {
  return supportFolder(context_.process) + "/" + name;
}

std::string ArchiveRun::pathForLogFile(const std::string& name) {
  std::string path = supportPath(name);
  // What fails here shows when the file is read or written.
  static_cast<void>(makeFolders(supportFolder(context_.process)));
  if (!fileExists(path)) LogFile().openForAppend(path);
  return path;
}

void ArchiveRun::viewLogFile() {
  context_.ui.showText("Archive Log", textOf(pathForLogFile(kRunLog)));
}

void ArchiveRun::viewDuplicateLog() {
  context_.ui.showText("Duplicates Log", textOf(pathForLogFile(kDuplicatesLog)));
}

std::string ArchiveRun::lostServerError() const {
  const std::lock_guard lock(lostServerMutex_);
  return lostServerError_;
}

void ArchiveRun::noteLostServer(const std::string& error) {
  const std::lock_guard lock(lostServerMutex_);
  lostServerError_ = error;
}

void ArchiveRun::abandon() {
  if (worker_) {
    context_.process.cancelFlag = 1;
    worker_->abandon();
  }
  if (previousWorker_) previousWorker_->abandon();
  worker_.reset();
  previousWorker_.reset();
  if (!running_) return;
  storeLog_.close();
  debugLog_.close();
  context_.process.storeLogPath.clear();
  context_.process.cancelFlag = 0;
  counters_.processedCount = 0;
  duplicateLogText_.clear();
  running_ = false;
}

}  // namespace keldane
