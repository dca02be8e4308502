#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "archive/server_session.h"
#include "ingest/ledger/crash_recovery.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/message_reader.h"
#include "ingest/run_logs.h"
#include "ingest/run_observer.h"
#include "ingest/run_watch.h"
#include "ingest/sources/mail_walk.h"
#include "ingest/storing/known_files.h"
#include "ingest/storing/message_store.h"
#include "platform/main_queue.h"
#include "platform/process_state.h"
#include "platform/progress.h"

namespace keldane {

/// What came of a pass.
struct PassResult {
  bool isWhole = false;              ///< all was read
  std::optional<LeftInFolder> left;  ///< when the import folder was to be emptied
  std::string lostServer;            ///< the last error of a server that was lost
};

/// The worker thread of one pass of a run, and its way to the main thread. It differs from
/// `MainQueue::callAndWait` in one thing: the main thread can let the worker go, so that a program
/// that ends in the middle of a run is not held up by a worker that waits for it.
class RunThread {
 public:
  explicit RunThread(MainQueue& mainQueue);
  /// Lets the worker go and joins it.
  ~RunThread();
  RunThread(const RunThread&) = delete;
  RunThread& operator=(const RunThread&) = delete;

  /// Starts the worker. `walk` must not throw.
  void start(std::function<void()> walk);
  /// From the worker: runs the task on the main thread and waits for its end. False when the worker
  /// has been let go instead; the task has then not been begun and never will be.
  bool onMainThread(std::function<void()> task);
  /// From the main thread: calls that wait, now or later, return at once. A task that is running is
  /// waited for by nobody.
  void abandon();
  [[nodiscard]] bool isAbandoned() const;

 private:
  /// Shared with the task in the queue, which may outlive the pass.
  struct Gate {
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool abandon = false;
  };

  MainQueue& mainQueue_;
  std::shared_ptr<Gate> gate_;
  std::thread thread_;
};

/// What works on the worker thread in one pass of a run: the repair of the run before, the walk,
/// the reader and the store, wired together. The one place that catches what they throw: one
/// message fails, the run goes on.
class ArchiveWorker {
 public:
  struct Context {
    ServerSession& session;
    ProcessState& process;
    Progress& progress;
    MainQueue& mainQueue;
    Environment& environment;
    RunObserver& observer;
    PassPlan plan;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    RunWatch& watch;
    CrashRecovery& repair;
    SpooledText& duplicateLogText;
    LogFile& storeLog;
    LogFile& debugLog;
    MessageFeed* feed = nullptr;  ///< is told what is stored; may be null
    bool repairsFirst = false;    ///< the first pass of a run
    /// Connects anew, on the main thread; false when there is no session then.
    std::function<bool()> reconnect;
    /// Called on the main thread, while the worker waits.
    std::function<void()> taskCompleted;
  };

  explicit ArchiveWorker(Context context);

  void start();
  /// The worker stops before the next message and waits for the main thread no more.
  void abandon() { pass_.abandon(); }
  /// To be asked within `taskCompleted`.
  [[nodiscard]] const PassResult& result() const { return result_; }

 private:
  void work();
  /// Runs the task on the main thread, which has the session until its end, and waits for it. False
  /// when the worker has been let go instead.
  bool onMainThread(const std::function<void()>& task);
  /// No further message is to be read.
  [[nodiscard]] bool mustEnd() const { return pass_.isAbandoned() || context_.watch.isStopped(); }
  void pause(int seconds) const;
  [[nodiscard]] bool reconnect();
  [[nodiscard]] std::function<bool()> moveOn() const;
  void guarded(const std::function<void()>& work);
  void fail(const std::string& reason);

  Context context_;
  PassResult result_;
  KnownFiles knownFiles_;
  MessageStore store_;
  MessageReader reader_;
  MailWalk walk_;
  /// Last, so that the worker is joined before anything it uses goes.
  RunThread pass_;
};

}  // namespace keldane
