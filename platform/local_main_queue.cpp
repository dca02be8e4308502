#include "platform/local_main_queue.h"

#include <algorithm>
#include <future>
#include <utility>

namespace keldane {

LocalMainQueue::LocalMainQueue() : owner_(std::this_thread::get_id()) {}

void LocalMainQueue::post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void LocalMainQueue::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  const Clock::time_point due = Clock::now() + std::chrono::duration_cast<Clock::duration>(delay);
  {
    const std::lock_guard lock(mutex_);
    delayed_.emplace(due, std::move(task));
  }
  wake_.notify_one();
}

void LocalMainQueue::callAndWait(std::function<void()> task) {
  if (std::this_thread::get_id() == owner_) {
    task();
    return;
  }
  std::packaged_task<void()> wrapped(std::move(task));
  std::future<void> finished = wrapped.get_future();
  post([&wrapped] { wrapped(); });
  finished.get();
}

bool LocalMainQueue::runOne() {
  std::function<void()> task;
  {
    const std::lock_guard lock(mutex_);
    takeDue();
    if (tasks_.empty()) return false;
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  task();
  return true;
}

void LocalMainQueue::takeDue() {
  const Clock::time_point now = Clock::now();
  while (!delayed_.empty() && delayed_.begin()->first <= now) {
    tasks_.push_back(std::move(delayed_.begin()->second));
    delayed_.erase(delayed_.begin());
  }
}

void LocalMainQueue::runUntil(const std::function<bool()>& done, std::chrono::milliseconds poll) {
  while (!done()) {
    if (runOne()) continue;
    std::unique_lock lock(mutex_);
    if (!tasks_.empty()) continue;
    Clock::time_point until = Clock::now() + poll;
    if (!delayed_.empty()) until = std::min(until, delayed_.begin()->first);
    wake_.wait_until(lock, until);
  }
}

void LocalMainQueue::runPending() {
  // What the tasks post in their turn waits for the next call, so that this one returns.
  std::size_t due = 0;
  {
    const std::lock_guard lock(mutex_);
    takeDue();
    due = tasks_.size();
  }
  while (due > 0 && runOne()) --due;
}

}  // namespace keldane
