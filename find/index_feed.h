#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include "base/result.h"
#include "find/message_terms.h"
#include "find/word_index.h"

namespace keldane {

/// Takes messages into a word index on a thread of its own while a run stores them. It never holds
/// the run up: what the queue has no room for is left to the next `IndexCatchUp`, and so is all
/// that is lost with a program that is killed. Commits often enough that a reader beside us is
/// seconds behind. All is called from other threads, one at a time; the mutex guards
/// the queue and what is known of its end, and the index, the reader and what is counted belong to
/// the feed's thread until `finish` has joined it.
class IndexFeed {
 public:
  struct Limits {
    std::size_t queueBytes = std::size_t{32} << 20U;
    std::size_t queueMessages = 5000;
  };
  struct Outcome {
    std::uint64_t taken = 0;
    std::uint64_t leftOut = 0;  ///< for want of room or of time, or because of `trouble`
    std::string trouble;        ///< why nothing more could be written; empty when all went well
  };

  /// `index` is open; when another program has it for writing, that one's end is waited for while
  /// messages are left out. `reader` lives as long as the feed.
  IndexFeed(std::unique_ptr<WordIndex> index, MessageTextReader& reader, Limits limits);
  IndexFeed(std::unique_ptr<WordIndex> index, MessageTextReader& reader)
      : IndexFeed(std::move(index), reader, Limits()) {}
  /// As `finish`.
  ~IndexFeed();
  IndexFeed(const IndexFeed&) = delete;
  IndexFeed& operator=(const IndexFeed&) = delete;

  /// A message that has been stored. Returns at once.
  void put(ArchivedMessage message);
  /// What the index has of the message no longer holds; the next catch-up brings it anew.
  void forget(std::uint32_t id);
  /// A stored message has got another mailbox.
  void move(std::uint32_t id, std::string mailbox);
  /// Waits until the queue is empty and committed, at most for this time, and no longer than
  /// `isCancelled` says no. What waits then is left out.
  void drain(std::chrono::seconds most, const std::function<bool()>& isCancelled);
  /// Leaves out what waits, commits and closes the index. The message at hand is ended first, which
  /// takes as long as the programs that read its attachments may.
  Outcome finish();

 private:
  struct Moved {
    std::uint32_t id;
    std::string mailbox;
  };
  struct Forgotten {
    std::uint32_t id;
  };
  using Task = std::variant<ArchivedMessage, Moved, Forgotten>;

  void add(Task task, std::size_t bytes);
  void work();
  [[nodiscard]] bool waitForTask(Task& task);
  void take(Task task);
  [[nodiscard]] Result<void> write(ArchivedMessage message);
  [[nodiscard]] bool canWrite();
  void commitWhenDue();
  void commit();
  void fail(const std::string& trouble);

  const Limits limits_;
  std::unique_ptr<WordIndex> index_;
  MessageTextReader& reader_;
  // The feed's thread alone.
  std::uint64_t taken_ = 0;
  std::uint64_t refused_ = 0;
  std::string trouble_;
  std::size_t uncommitted_ = 0;
  std::size_t uncommittedBytes_ = 0;
  std::chrono::steady_clock::time_point oldestUncommitted_;
  std::chrono::steady_clock::duration lastCommitTook_{};
  std::chrono::steady_clock::time_point lastTriedToOpen_;
  // Under `mutex_`.
  std::mutex mutex_;
  std::condition_variable changed_;
  struct Waiting {
    Task task;
    std::size_t bytes;
  };
  std::deque<Waiting> queue_;
  std::size_t queueBytes_ = 0;
  std::uint64_t leftOut_ = 0;
  bool isIdle_ = true;  ///< nothing is at hand, and nothing uncommitted
  bool isDraining_ = false;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace keldane
