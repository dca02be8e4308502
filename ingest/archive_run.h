#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive_database.h"
#include "base/result.h"
#include "ingest/archive_worker.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/message_feed.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/run_logs.h"
#include "ingest/run_observer.h"
#include "ingest/run_watch.h"
#include "ingest/sources/mail_sources.h"
#include "ingest/storing/tag_rule_list.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/process_state.h"
#include "platform/progress.h"
#include "server/connections.h"
#include "settings/settings.h"

namespace keldane {

class CrashRecovery;

/// What a run is to do, beside what the settings say.
struct ArchiveRequest {
  /// Files and folders to read. Empty: the accounts or mailboxes that are chosen, whose rows have
  /// been loaded, then the folders that are kept as sources, and then the import folder.
  std::vector<std::string> paths;
  RunRange range;
  /// Of files that are named or in folders kept, read those, too, that have not changed since they
  /// were archived.
  bool readsAll = false;
  /// Messages that their mail program has marked as deleted are taken too.
  bool withDeleted = false;
  /// Of the folders that are kept as sources: all days, where the user has not named any.
  RunRange foldersRange = {};
  /// Where the ledger goes; empty: `Ledger.log` beside `Keldane.log`.
  std::string ledgerPath;
  /// What is stored goes to the `MessageFeed` of the run, too.
  bool feeds = true;
};

/// Why a run has not been started.
struct NotStarted {
  enum class Reason { isRunning, noMailboxes, noAccounts, noDatabase, sqlError, noLedger };
  Reason reason = Reason::isRunning;
  /// What the server or the system says. Of `noDatabase` the user has been told.
  std::string text;
};

/// Where a run by the chosen sources is to begin.
struct RunBeginning {
  /// "YYYY-MM-DD 00:00:00"; empty: where the caller says.
  std::string rangeStartText;
  /// "Going on with the unfinished run of ...", when that is why; else empty.
  std::string goingOn;
};

/// Midnight of the newest day stored, or of the day two days before `now` when that is earlier, or
/// when the day cannot be read. Empty when nothing is stored ("0").
[[nodiscard]] std::string newestLimit(const std::string& newestDate, std::int64_t now);

/// Why a run over the chosen sources has nothing to read; absent: something is chosen.
[[nodiscard]] std::optional<NotStarted> nothingChosen(const Settings& settings);

/// The pass that follows; absent behind the last.
[[nodiscard]] std::optional<RunPass> passBehind(RunPass pass, const ArchiveRequest& request,
                                                const Settings& settings);

/// What a pass of a run goes by.
[[nodiscard]] PassPlan makePassPlan(const ArchiveRequest& request, RunPass pass,
                                    const Settings& settings, MailSources& sources,
                                    const TagRuleList& tagRules);

/// One run over the chosen mail, from its start to the final report: checks, the worker thread,
/// cancelling, the passes for kept folders and the import folder, ledger and logs.
///
/// Everything is called on the main thread except the walk, which runs on the worker; the worker
/// comes back through the main queue at its end and waits there.
class ArchiveRun {
 public:
  struct Context {
    ServerSession& session;
    ProcessState& process;
    ArchiveDatabase& database;
    Connections& connections;
    Settings& settings;
    MailSources& sources;
    const TagRuleList& tagRules;
    Progress& progress;
    MainQueue& mainQueue;
    Environment& environment;
    HostServices& host;
    MessageFeed* feed = nullptr;  ///< is told what is stored; may be null
  };

  explicit ArchiveRun(Context context);
  /// Abandons a run that is under way.
  ~ArchiveRun();
  ArchiveRun(const ArchiveRun&) = delete;
  ArchiveRun& operator=(const ArchiveRun&) = delete;

  /// The day of the newest message stored, or the day two days ago when that is earlier; or where
  /// an unfinished run over one of the sources began, when that is earlier than this or than the
  /// range of the request. Fails with the server's words, or without words when the database could
  /// not be opened, of which the user has been told.
  [[nodiscard]] Result<RunBeginning> findBeginning(const ArchiveRequest& request,
                                                   RunObserver& observer);
  /// Starts the worker. Absent: it has been; `observer` is then told of the run until its end.
  [[nodiscard]] std::optional<NotStarted> start(ArchiveRequest request, RunObserver& observer);
  /// The pass ends after the message at hand; those behind it follow all the same.
  void cancel();
  /// The same of a user who wants the program back: no further pass begins.
  void interrupt();
  /// Leaves the line of the run under way in `Keldane.log`, for a program that is about to end
  /// without waiting for its worker.
  void logInterrupted();
  /// The program ends: the worker stops before the next message and is joined. There is no report,
  /// and the ledger keeps no mark of an orderly end. Must come before the session is closed.
  void abandon();

  /// A run is under way: the worker lives, or its end has not been dealt with.
  [[nodiscard]] bool isRunning() const { return running_; }
  [[nodiscard]] const RunCounters& counters() const { return counters_; }
  /// Of the last run that has ended; absent before the first has.
  [[nodiscard]] const std::optional<RunReport>& lastReport() const { return lastReport_; }
  /// A line for the run's `.storelog`, for what the main thread does while the run is ended.
  /// Nothing is written when no run is under way.
  void writeStoreLog(const std::string& line) { storeLog_.write(line); }

  /// Brings a lost session back, on the main thread; false when that failed, of which the user has
  /// been told. Empty: it is not tried.
  std::function<bool()> reconnect;

  /// How the ledger names the database that is open.
  [[nodiscard]] std::string ledgerDatabase() const;

 private:
  [[nodiscard]] std::optional<NotStarted> startPass(RunPass pass);
  void endFeed();
  void startCounters();
  [[nodiscard]] std::vector<std::string> sourcesOf(const ArchiveRequest& request) const;
  [[nodiscard]] std::optional<NotStarted> nothingSelected();
  void adoptCheckedAccounts();
  [[nodiscard]] std::optional<NotStarted> beginLedger();
  void openLogs(RunPass pass);
  void startWorker(RunPass pass);
  void tellMissing(const std::vector<MailFolder>& folders);
  void taskCompleted();
  [[nodiscard]] bool goOn(RunPass pass);
  void report();
  void closeLedger();
  void fillReport();
  void writeRunLogs(const RunTotals& totals);
  [[nodiscard]] RunTotals totals() const;
  [[nodiscard]] bool databaseOpened();
  [[nodiscard]] std::string supportPath(const std::string& name) const;
  [[nodiscard]] std::string ledgerFile(const ArchiveRequest& request) const;

  Context context_;
  ArchiveRequest request_;  ///< of the run under way, as the next three
  RunObserver* observer_ = nullptr;
  MessageFeed* feed_ = nullptr;  ///< between its `begin` and its `end`
  RunPass pass_ = RunPass::chosen;
  RunReport report_;
  RunCounters counters_;
  CurrentMessage message_;
  RunLedger ledger_;
  RunWatch watch_;
  std::unique_ptr<CrashRecovery> repair_;
  SpooledText duplicateLogText_;
  std::optional<RunReport> lastReport_;
  bool isWhole_ = true;  ///< every pass so far has read all
  bool interrupted_ = false;
  LogFile storeLog_;
  LogFile debugLog_;
  bool running_ = false;
  /// The pass under way, and the one before it, whose worker may still be on its way out.
  std::unique_ptr<ArchiveWorker> worker_;
  std::unique_ptr<ArchiveWorker> previousWorker_;
};

}  // namespace keldane
