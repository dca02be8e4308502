#include "ingest/archive_pass.h"

#include <utility>

namespace keldane {

ArchivePass::ArchivePass(MainQueue& mainQueue)
    : mainQueue_(mainQueue), gate_(std::make_shared<Gate>()) {}

ArchivePass::~ArchivePass() {
  letGo();
  if (thread_.joinable()) thread_.join();
}

void ArchivePass::start(std::function<void()> walk) { thread_ = std::thread(std::move(walk)); }

bool ArchivePass::onMainThread(std::function<void()> task) {
  auto done = std::make_shared<bool>(false);
  mainQueue_.post([gate = gate_, done, task = std::move(task)] {
    {
      std::lock_guard lock(gate->mutex);
      if (gate->letGo) return;
    }
    task();
    std::lock_guard lock(gate->mutex);
    *done = true;
    gate->changed.notify_all();
  });
  std::unique_lock lock(gate_->mutex);
  gate_->changed.wait(lock, [this, &done] { return *done || gate_->letGo; });
  return *done;
}

void ArchivePass::letGo() {
  std::lock_guard lock(gate_->mutex);
  gate_->letGo = true;
  gate_->changed.notify_all();
}

bool ArchivePass::isLetGo() const {
  std::lock_guard lock(gate_->mutex);
  return gate_->letGo;
}

}  // namespace keldane
