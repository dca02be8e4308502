#pragma once

#include <string>
#include <string_view>

#include "app/user_interface.h"
#include "platform/queued_progress.h"

namespace keldane {

/// The progress panel of every long task. The counts may be told of from any thread, the rest on
/// the main thread.
class ProgressPanel : public QueuedProgress {
 public:
  ProgressPanel(UserInterface& ui, MainQueue& mainQueue) : QueuedProgress(mainQueue), ui_(ui) {}

  /// Shows the panel under this title. The count is left as it is.
  void doProgressPanel(const std::string& title) { ui_.progressStarted(title); }
  void close() { ui_.progressEnded(); }
  /// Shows the panel under this title, or closes it.
  void stage(std::string_view title) override {
    if (title.empty()) {
      ui_.progressEnded();
    } else {
      ui_.progressStarted(title);
    }
  }
  void notice(std::string_view line) override { ui_.notice(line); }

 private:
  void showCount(int count, std::string_view detail) override {
    ui_.progressChanged(count, detail);
  }
  void showReading(const ReadingProgress& progress, std::string_view detail) override {
    ui_.readingProgress(progress, detail);
  }

  UserInterface& ui_;
};

}  // namespace keldane
