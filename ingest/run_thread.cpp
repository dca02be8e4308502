#include "ingest/run_thread.h"

#include <utility>

namespace keldane {

RunThread::RunThread(MainQueue& mainQueue)
    : mainQueue_(mainQueue), gate_(std::make_shared<Gate>()) {}

RunThread::~RunThread() {
  abandon();
  if (thread_.joinable()) thread_.join();
}

void RunThread::start(std::function<void()> walk) { thread_ = std::thread(std::move(walk)); }

bool RunThread::onMainThread(std::function<void()> task) {
  auto done = std::make_shared<bool>(false);
  mainQueue_.post([gate = gate_, done, task = std::move(task)] {
    {
      std::lock_guard lock(gate->mutex);
      if (gate->abandon) return;
    }
    task();
    std::lock_guard lock(gate->mutex);
    *done = true;
    gate->changed.notify_all();
  });
  std::unique_lock lock(gate_->mutex);
  gate_->changed.wait(lock, [this, &done] { return *done || gate_->abandon; });
  return *done;
}

void RunThread::abandon() {
  std::lock_guard lock(gate_->mutex);
  gate_->abandon = true;
  gate_->changed.notify_all();
}

bool RunThread::isAbandoned() const {
  std::lock_guard lock(gate_->mutex);
  return gate_->abandon;
}

}  // namespace keldane
