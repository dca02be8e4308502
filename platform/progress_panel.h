#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/main_queue.h"
#include "platform/progress.h"
#include "platform/user_interface.h"

namespace keldane {

/// The progress services of every long task. `doProgressCount`, `step` and `reading` may be called
/// from any thread; the user interface is reached through the main queue only.
class ProgressPanel : public Progress {
 public:
  ProgressPanel(UserInterface& ui, MainQueue& mainQueue);

  /// Shows the panel under this title. The count is left as it is.
  void doProgressPanel(const std::string& title);
  void close();
  /// Main thread only: shows the panel under this title, or closes it.
  void stage(std::string_view title) override;
  /// Shows the count, and the detail as it stands when the main thread gets to it, whenever `count`
  /// is a multiple of `step` (with a step of 0, when the count is 0).
  void doProgressCount(int count, int step);
  /// Keeps the detail, unless it is empty, and shows every second count.
  void step(int count, std::string_view detail) override;
  /// Shows how far a run has come, a few times a second at most and at its end, with the detail of
  /// the last step.
  void reading(const ReadingProgress& progress, std::string_view detail) override;

 private:
  UserInterface& ui_;
  MainQueue& mainQueue_;
  std::mutex mutex_;
  std::string detail_;
  std::chrono::steady_clock::time_point shown_;  ///< of the thread that reads
};

}  // namespace keldane
