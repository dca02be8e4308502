#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "archive/archive_database.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/reading/current_message.h"
#include "ingest/run_counters.h"
#include "ingest/run_logs.h"
#include "ingest/run_watch.h"
#include "ingest/sources/mail_sources.h"
#include "ingest/store_date.h"
#include "ingest/storing/tag_rules.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/process_state.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"
#include "server/connections.h"
#include "settings/settings.h"

namespace keldane {

class ArchiveWorker;
class CrashRecovery;

/// How the last run went, beside the sums of its ledger.
struct RunReport {
  RunTotals totals;
  LedgerSums sums;
  long differing = 0;   ///< archived ones that differ from a message of the same date and addresses
  long noMessages = 0;  ///< of those left out, what was no mail message
  bool interrupted = false;  ///< ended by the user before all was read
  /// Why the run was ended before all was read; empty when it was not.
  std::string stoppedBy;
  LeftInFolder left;  ///< in the import folder, when it was to be emptied
};

/// One pass over the chosen mail, from the user's start to the final report: date range, checks,
/// the worker thread, cancelling, the second pass for the import folder, logs and summary.
///
/// Everything is called on the main thread except the walk, which runs on the worker; the worker
/// comes back through `taskCompleted` on the main queue and waits for it.
class ArchiveRun {
 public:
  struct Callbacks {
    std::function<void()> loadAccountRows;
    std::function<void()> getMailboxNames;
    /// Shows the rows that this statement selects.
    std::function<void(const std::string& sql)> retrieve;
    std::function<void()> clearResultList;
    std::function<void()> terminate;
    /// Tells the user of what could not be done.
    std::function<void(const Faults& faults)> tell;
    /// Brings a lost session back; false when that failed, of which the user has been told.
    std::function<bool()> reconnect;
  };
  struct Context {
    ServerSession& session;
    ProcessState& process;
    ArchiveDatabase& database;
    Connections& connections;
    Settings& settings;
    SourceSelection& sources;
    std::vector<TagRule>& tagRulesList;
    ProgressPanel& progress;
    UserInterface& ui;
    MainQueue& mainQueue;
    Environment& environment;
    HostServices& host;
  };

  ArchiveRun(Context context, Callbacks callbacks);
  /// Abandons a run that is under way.
  ~ArchiveRun();
  ArchiveRun(const ArchiveRun&) = delete;
  ArchiveRun& operator=(const ArchiveRun&) = delete;

  void setStoreDate();
  /// Starts the worker. Whatever prevents the run has been shown as an alert when it returns with
  /// `isRunning` false.
  void parseEmail();
  void cancelStore();
  void cancelParse();
  /// The same of a user who wants the program back: the run ends after the message at hand, and no
  /// second pass begins.
  void interrupt();
  /// Leaves the line of the run under way in `Keldane.log`, for a program that is about to end
  /// without waiting for its worker.
  void logInterrupted();
  void taskCompleted();
  void viewLogFile();
  void viewDuplicateLog();
  /// Path of a log of this name in the support folder; makes folder and file when they are missing.
  std::string pathForLogFile(const std::string& name);

  /// The program ends: the worker stops before the next message and is joined. There is no report,
  /// and the ledger keeps no mark of an orderly end. Must come before the session is closed.
  void abandon();

  /// A run is under way: the worker lives, or `taskCompleted` has not come to its end.
  [[nodiscard]] bool isRunning() const { return running_; }
  [[nodiscard]] const RunCounters& counters() const { return counters_; }
  /// The three lines of the last run's summary; empty before the first run has ended.
  [[nodiscard]] const std::string& lastSummary() const { return lastSummary_; }
  /// Of the last run that has ended.
  [[nodiscard]] const LedgerSums& lastSums() const { return lastSums_; }
  [[nodiscard]] const RunReport& lastReport() const { return lastReport_; }
  /// Where the ledger of the last run lies.
  [[nodiscard]] const std::string& lastLedgerPath() const { return ledger_.path(); }
  /// "Going on with the unfinished run of ...", when `setStoreDate` has made the range begin where
  /// that run began; else empty.
  [[nodiscard]] const std::string& goingOn() const { return goingOn_; }
  /// The last error text of a server that was lost during the run; empty when none was.
  [[nodiscard]] std::string lostServerError() const;
  /// What the run is about to do, in a sentence or two, made at its start. No face shows it so far.
  [[nodiscard]] const std::string& confirmationText() const { return confirmationText_; }
  /// A line for the run's `.storelog`, for what the main thread does within `taskCompleted`.
  /// Nothing is written when no run is under way.
  void writeStoreLog(const std::string& line) { storeLog_.write(line); }

  StoreDateForm form;
  /// Where the ledger goes; empty: `Ledger.log` beside `Keldane.log`.
  std::string ledgerPath;

 private:
  [[nodiscard]] bool isSecondPass() const;
  [[nodiscard]] bool startPass();
  void startCounters();
  void beginWithUnfinished();
  [[nodiscard]] std::vector<std::string> sourcesOfRun() const;
  [[nodiscard]] bool somethingSelected();
  void adoptCheckedAccounts();
  void composeConfirmation();
  void clearResults();
  [[nodiscard]] bool beginLedger();
  void openLogs();
  void showProgress();
  void startWorker();
  [[nodiscard]] bool startImportFolderPass();
  void report();
  void closeLedger();
  void fillReport();
  void showStoredMessages();
  void announce(const std::string& summary);
  void writeRunLogs(const RunTotals& totals);
  void noteLostServer(const std::string& error);
  [[nodiscard]] bool databaseOpened();
  [[nodiscard]] std::string supportPath(const std::string& name) const;
  [[nodiscard]] std::string ledgerFile() const;
  [[nodiscard]] std::string ledgerDatabase() const;

  Context context_;
  Callbacks callbacks_;
  RunCounters counters_;
  CurrentMessage message_;
  std::vector<TagRule> runRules_;  ///< as the worker under way sees them
  RunLedger ledger_;
  RunWatch watch_;
  std::unique_ptr<CrashRecovery> repair_;
  RunRange range_;
  double attachSizeBytes_ = 0;
  SpooledText duplicateLogText_;
  std::string confirmationText_;
  std::string lastSummary_;
  LedgerSums lastSums_;
  RunReport lastReport_;
  RunReport report_;  ///< of the run under way
  std::string goingOn_;
  bool isWhole_ = true;  ///< every pass so far has read all
  std::atomic<bool> interrupted_ = false;
  LogFile storeLog_;
  LogFile debugLog_;
  std::atomic<bool> running_ = false;
  mutable std::mutex lostServerMutex_;
  std::string lostServerError_;
  /// The pass under way, and the one before it, whose worker may still be on its way out.
  std::unique_ptr<ArchiveWorker> worker_;
  std::unique_ptr<ArchiveWorker> previousWorker_;
};

}  // namespace keldane
