#include "platform/queued_progress.h"

namespace keldane {
namespace {

constexpr std::chrono::milliseconds kBetweenShows{200};

}  // namespace

std::string QueuedProgress::detail() {
  std::lock_guard lock(mutex_);
  return detail_;
}

void QueuedProgress::doProgressCount(int count, int step) {
  if (step == 0 ? count != 0 : count % step != 0) return;
  mainQueue_.post([this, count] { showCount(count, detail()); });
}

void QueuedProgress::step(int count, std::string_view detail) {
  if (!detail.empty()) {
    std::lock_guard lock(mutex_);
    detail_ = detail;
  }
  doProgressCount(count, 2);
}

void QueuedProgress::reading(const ReadingProgress& progress, std::string_view /*detail*/) {
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ < kBetweenShows && progress.files < progress.allFiles) return;
  shown_ = now;
  mainQueue_.post([this, progress] { showReading(progress, detail()); });
}

}  // namespace keldane
