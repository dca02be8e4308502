#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/main_queue.h"

namespace keldane {

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

}  // namespace keldane
