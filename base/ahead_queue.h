#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace keldane {

/// What one thread makes and another takes, in the same order. Bounded by the memory that the items
/// take: whoever makes them waits while there is no room. It goes on only when half of it is
/// free, so that the two do not wake each other for each item.
template <typename Item>
class AheadQueue {
 public:
  explicit AheadQueue(std::size_t mostBytes) : mostBytes_(mostBytes) {}

  /// False: nobody takes any more. An item that is larger than the room is put in alone.
  [[nodiscard]] bool put(Item item, std::size_t bytes) {
    std::unique_lock lock(mutex_);
    if (usedBytes_ + bytes > mostBytes_) {
      changed_.wait(lock, [this, bytes] {
        return isClosed_ || items_.empty() || usedBytes_ + bytes <= mostBytes_ / 2;
      });
    }
    if (isClosed_) return false;
    items_.emplace_back(std::move(item), bytes);
    usedBytes_ += bytes;
    if (isAsking_) changed_.notify_all();
    return true;
  }
  /// Waits until all has been taken and is done with: the next item is asked for. False as above.
  [[nodiscard]] bool waitUntilAsked() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isClosed_ || (isAsking_ && items_.empty()); });
    return !isClosed_;
  }
  /// Nothing more is put in.
  void end() {
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
    changed_.notify_all();
  }

  /// Waits for the next item; absent behind the last.
  [[nodiscard]] std::optional<Item> take() {
    std::unique_lock lock(mutex_);
    if (items_.empty() && !isEnded_) {
      isAsking_ = true;
      changed_.notify_all();
      changed_.wait(lock, [this] { return isEnded_ || !items_.empty(); });
      isAsking_ = false;
    }
    if (items_.empty()) return std::nullopt;
    auto [item, bytes] = std::move(items_.front());
    items_.pop_front();
    usedBytes_ -= bytes;
    if (usedBytes_ <= mostBytes_ / 2) changed_.notify_all();
    return std::move(item);
  }
  /// Nothing more is taken.
  void close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    changed_.notify_all();
  }

 private:
  const std::size_t mostBytes_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<Item, std::size_t>> items_;
  std::size_t usedBytes_ = 0;
  bool isAsking_ = false;
  bool isEnded_ = false;
  bool isClosed_ = false;
};

}  // namespace keldane
