#include "platform/progress_panel.h"

namespace keldane {
namespace {

constexpr std::chrono::milliseconds kBetweenShows{200};

}  // namespace

ProgressPanel::ProgressPanel(UserInterface& ui, MainQueue& mainQueue)
    : ui_(ui), mainQueue_(mainQueue) {}

void ProgressPanel::doProgressPanel(const std::string& title) { ui_.progressStarted(title); }

void ProgressPanel::close() { ui_.progressEnded(); }

void ProgressPanel::stage(std::string_view title) {
  if (title.empty()) {
    ui_.progressEnded();
  } else {
    ui_.progressStarted(title);
  }
}

void ProgressPanel::doProgressCount(int count, int step) {
  if (step == 0 ? count != 0 : count % step != 0) return;
  mainQueue_.post([this, count] {
    std::string detail;
    {
      std::lock_guard lock(mutex_);
      detail = detail_;
    }
    ui_.progressChanged(count, detail);
  });
}

void ProgressPanel::step(int count, std::string_view detail) {
  if (!detail.empty()) {
    std::lock_guard lock(mutex_);
    detail_ = detail;
  }
  doProgressCount(count, 2);
}

void ProgressPanel::reading(const ReadingProgress& progress, std::string_view /*detail*/) {
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ < kBetweenShows && progress.files < progress.allFiles) return;
  shown_ = now;
  mainQueue_.post([this, progress] {
    std::string detail;
    {
      std::lock_guard lock(mutex_);
      detail = detail_;
    }
    ui_.readingProgress(progress, detail);
  });
}

}  // namespace keldane
