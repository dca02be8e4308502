#include "ingest/archive_worker.h"

#include <chrono>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "base/text.h"

namespace keldane {

RunThread::RunThread(MainQueue& mainQueue)
    : mainQueue_(mainQueue), gate_(std::make_shared<Gate>()) {}

RunThread::~RunThread() {
  abandon();
  if (thread_.joinable()) thread_.join();
}

void RunThread::start(std::function<void()> walk) { thread_ = std::thread(std::move(walk)); }

bool RunThread::onMainThread(std::function<void()> task) {
  auto done = std::make_shared<bool>(false);
  mainQueue_.post([gate = gate_, done, task = std::move(task)] {
    {
      std::lock_guard lock(gate->mutex);
      if (gate->abandon) return;
    }
    task();
    std::lock_guard lock(gate->mutex);
    *done = true;
    gate->changed.notify_all();
  });
  std::unique_lock lock(gate_->mutex);
  gate_->changed.wait(lock, [this, &done] { return *done || gate_->abandon; });
  return *done;
}

void RunThread::abandon() {
  std::lock_guard lock(gate_->mutex);
  gate_->abandon = true;
  gate_->changed.notify_all();
}

bool RunThread::isAbandoned() const {
  std::lock_guard lock(gate_->mutex);
  return gate_->abandon;
}

ArchiveWorker::ArchiveWorker(Context context)
    : context_(std::move(context)),
      knownFiles_(context_.session, context_.counters),
      store_({.session = context_.session,
              .message = context_.message,
              .counters = context_.counters,
              .ledger = context_.ledger,
              .storeLog = context_.storeLog,
              .plan = context_.plan,
              .duplicateLogText = context_.duplicateLogText,
              .doConnect = [this] { return reconnect(); },
              .moveOn = moveOn(),
              .serverLost = [this](const std::string& error) { result_.lostServer = error; },
              .repair = &context_.repair,
              .feed = context_.feed}),
      reader_({.process = context_.process,
               .plan = context_.plan,
               .message = context_.message,
               .counters = context_.counters,
               .ledger = context_.ledger,
               .environment = context_.environment,
               .progress = context_.progress,
               .storeLog = context_.storeLog,
               .debugLog = context_.debugLog,
               .knownFiles = context_.plan.skipsKnownFiles ? &knownFiles_ : nullptr,
               .storeEmail = [this](int partCount) { store_.storeEmail(partCount); },
               .guarded = [this](const std::function<void()>& work) { guarded(work); },
               .isAbandoned = [this] { return mustEnd(); },
               .messageTooLarge =
                   [this] {
                     // Queued: the run goes on while the user reads.
                     context_.mainQueue.post(
                         [&observer = context_.observer] { observer.messageTooLarge(); });
                   }}),
      walk_({.process = context_.process,
             .plan = context_.plan,
             .reader = reader_,
             .ledger = context_.ledger,
             .watch = context_.watch,
             .session = context_.session,
             .environment = context_.environment,
             .progress = context_.progress,
             .storeLog = context_.storeLog,
             .knownFiles = context_.plan.skipsKnownFiles ? &knownFiles_ : nullptr,
             .isAbandoned = [this] { return mustEnd(); },
             .pause = [this](int seconds) { pause(seconds); }}),
      pass_(context_.mainQueue) {}

/// Empty where the connection has one host.
std::function<bool()> ArchiveWorker::moveOn() const {
  if (!context_.session.place()) return {};
  return [this] { return !mustEnd() && context_.session.moveOn(); };
}

void ArchiveWorker::start() {
  pass_.start([this] { work(); });
}

void ArchiveWorker::work() {
  guarded([this] {
    const SessionClaim claim(context_.session);
    context_.session.waitsWhenUnsure = true;
    if (context_.repairsFirst) context_.repair.run();
    result_.isWhole = walk_.getEmailPaths(result_.left);
  });
  context_.session.waitsWhenUnsure = false;
  context_.watch.beginWalk(0, nullptr);
  if (context_.feed != nullptr) {
    context_.feed->drain([this] { return mustEnd() || context_.process.cancelFlag != 0; });
  }
  pass_.onMainThread(context_.taskCompleted);
}

bool ArchiveWorker::onMainThread(const std::function<void()>& task) {
  return pass_.onMainThread([this, task] {
    const SessionClaim claim(context_.session);
    task();
  });
}

bool ArchiveWorker::reconnect() {
  if (context_.process.cancelFlag != 0) return false;
  // Shared: when the program ends meanwhile, the task is left running.
  const auto connected = std::make_shared<bool>(false);
  return onMainThread([this, connected] { *connected = context_.reconnect(); }) && *connected;
}

void ArchiveWorker::pause(int seconds) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end && !pass_.isAbandoned()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

void ArchiveWorker::guarded(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& error) {
    fail(error.what());
  } catch (...) {
    fail("unknown error");
  }
}

void ArchiveWorker::fail(const std::string& reason) {
  context_.storeLog.write("Error: " + printable(reason) + ", " +
                          printable(context_.message.currentPath) + "\n");
  RunLedger& ledger = context_.ledger;
  if (ledger.isOpen()) {
    // How far its storing came is for the next run to find out.
    ledger.leaveOpen(reason);
  } else if (ledger.isPending()) {
    ledger.close(LedgerOutcome::failed, reason);
  } else {
    // Outside a message: what has not been read by now is not read at all.
    ledger.recordUnreadable(context_.message.currentPath, "the reading ended here: " + reason);
  }
}

}  // namespace keldane
