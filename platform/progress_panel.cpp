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

void ProgressPanel::showReading(const ReadingProgress& progress) {
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

void ProgressPanel::setDetail(const std::string& date, const std::string& subject) {
  std::lock_guard lock(mutex_);
  detail_.clear();
  detail_.append(date).append(": ").append(subject);
}

}  // namespace keldane
