#pragma once

#include <functional>
#include <string>

#include "app/process_state.h"
#include "app/progress_panel.h"
#include "app/server_session.h"
#include "app/settings.h"
#include "ingest/archive_pass.h"
#include "ingest/current_message.h"
#include "ingest/cut_off_repair.h"
#include "ingest/mail_sources.h"
#include "ingest/mail_walk.h"
#include "ingest/message_reader.h"
#include "ingest/message_store.h"
#include "ingest/run_counters.h"
#include "ingest/run_ledger.h"
#include "ingest/run_logs.h"
#include "ingest/run_watch.h"
#include "ingest/tag_rules.h"

namespace keldane {

/// What works on the worker thread in one pass of a run: the repair of the run before, the walk,
/// the reader and the store, wired together. The one place that catches what they throw: one
/// message fails, the run goes on.
class ArchiveWorker {
 public:
  struct Context {
    ServerSession& session;
    ProcessState& process;
    Settings& settings;
    SourceSelection& sources;
    std::vector<TagRule>& tagRulesList;
    ProgressPanel& progress;
    UserInterface& ui;
    MainQueue& mainQueue;
    Environment& environment;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    RunWatch& watch;
    CutOffRepair& repair;
    const RunRange& range;
    const double& attachSizeBytes;
    SpooledText& duplicateLogText;
    LogFile& storeLog;
    LogFile& debugLog;
    bool repairsFirst = false;  ///< the first pass of a run
    std::function<void()> getMailboxNames;
    /// Connects anew, on the main thread; false when there is no session then.
    std::function<bool()> doConnect;
    std::function<void(const std::string& error)> serverLost;
    std::function<void(LeftInFolder)> leftInFolder;
    /// The walk of this pass has ended, on the worker; false: before all was read.
    std::function<void(bool isWhole)> walkEnded;
    /// Called on the main thread, while the worker waits.
    std::function<void()> taskCompleted;
  };

  explicit ArchiveWorker(Context context);

  void start();
  /// The worker stops before the next message and waits for the main thread no more.
  void letGo() { pass_.letGo(); }

 private:
  void work();
  /// Runs the task on the main thread, which has the session until its end, and waits for it. False
  /// when the worker has been let go instead.
  bool onMainThread(const std::function<void()>& task);
  /// No further message is to be read.
  [[nodiscard]] bool mustEnd() const { return pass_.isLetGo() || context_.watch.isStopped(); }
  void pause(int seconds) const;
  [[nodiscard]] bool reconnect();
  void guarded(const std::function<void()>& work);
  void fail(const std::string& reason);

  Context context_;
  MessageStore store_;
  MessageReader reader_;
  MailWalk walk_;
  /// Last, so that the worker is joined before anything it uses goes.
  ArchivePass pass_;
};

}  // namespace keldane
