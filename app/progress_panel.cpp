#include "app/progress_panel.h"

namespace keldane {

ProgressPanel::ProgressPanel(UserInterface& ui, MainQueue& mainQueue)
    : ui_(ui), mainQueue_(mainQueue) {}

void ProgressPanel::doProgressPanel(const std::string& title) { ui_.progressStarted(title); }

void ProgressPanel::close() { ui_.progressEnded(); }

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

void ProgressPanel::setDetail(const std::string& date, const std::string& subject) {
  std::lock_guard lock(mutex_);
  detail_.clear();
  detail_.append(date).append(": ").append(subject);
}

}  // namespace keldane
