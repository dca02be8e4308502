#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/main_queue.h"
#include "platform/progress.h"

namespace keldane {

/// A progress that is told of from any thread and shown on the main thread, and not more often than
/// somebody can read it.
class QueuedProgress : public Progress {
 public:
  explicit QueuedProgress(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

  /// Keeps the detail, unless it is empty, and shows every second count.
  void step(int count, std::string_view detail) override;
  /// Shows how far a run has come, a few times a second at most and at its end, with the detail of
  /// the last step.
  void reading(const ReadingProgress& progress, std::string_view detail) override;
  /// Shows the count, and the detail as it stands when the main thread gets to it, whenever `count`
  /// is a multiple of `step` (with a step of 0, when the count is 0).
  void doProgressCount(int count, int step);

 protected:
  // Called on the main thread.
  virtual void showCount(int count, std::string_view detail) = 0;
  virtual void showReading(const ReadingProgress& progress, std::string_view detail) = 0;

 private:
  std::string detail();

  MainQueue& mainQueue_;
  std::mutex mutex_;
  std::string detail_;
  std::chrono::steady_clock::time_point shown_;  ///< of the thread that reads
};

}  // namespace keldane
