#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "platform/main_queue.h"

namespace keldane {

/// The main queue of a program without an event loop of a toolkit: the thread that made it runs it.
class LocalMainQueue : public MainQueue {
 public:
  LocalMainQueue();

  void post(std::function<void()> task) override;
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override;
  void callAndWait(std::function<void()> task) override;

  /// Runs tasks as they come until `done` answers true; it is asked before each wait, and at least
  /// every `poll`. Only on the thread that made the queue.
  void runUntil(const std::function<bool()>& done,
                std::chrono::milliseconds poll = std::chrono::milliseconds(100));
  /// Runs what is due now and returns.
  void runPending();

 private:
  using Clock = std::chrono::steady_clock;
  bool runOne();
  /// Moves what has become due among the tasks. Under the mutex.
  void takeDue();

  const std::thread::id owner_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  std::multimap<Clock::time_point, std::function<void()>> delayed_;
};

}  // namespace keldane
