#pragma once

#include <chrono>
#include <functional>

namespace keldane {

/// The queue of the main thread. `post` and `callAndWait` may be called from any thread; what they
/// are given runs on the main thread, in order.
class MainQueue {
 public:
  virtual ~MainQueue() = default;
  virtual void post(std::function<void()> task) = 0;
  virtual void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) = 0;
  /// Runs the task on the main thread and returns when it has run. On the main thread itself it
  /// runs at once.
  virtual void callAndWait(std::function<void()> task) = 0;
};

}  // namespace keldane
