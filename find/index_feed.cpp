#include "find/index_feed.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/thread_priority.h"

namespace keldane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMessagesPerCommit = 10000;
constexpr std::size_t kBytesPerCommit = std::size_t{96} << 20U;
/// How long a message waits at least to be seen by another program's search.
/// Each commit loosens the files, so that they grow.
constexpr std::chrono::seconds kLeastAge{15};
/// A commit may take this part of the time, so that a large index is not forever committed.
constexpr int kCommitShare = 10;
constexpr std::chrono::seconds kBetweenOpenings{1};
constexpr std::size_t kTaskBytes = 512;

std::size_t bytesOf(const ArchivedMessage& message) {
  return kTaskBytes + (message.source ? message.source->size() : 0) + message.body.size() +
         message.attachText.size() + message.to.size();
}

}  // namespace

IndexFeed::IndexFeed(std::unique_ptr<WordIndex> index, MessageTextReader& reader, Limits limits)
    : limits_(limits), index_(std::move(index)), reader_(reader), thread_([this] { work(); }) {}

IndexFeed::~IndexFeed() { finish(); }

void IndexFeed::put(ArchivedMessage message) {
  const std::size_t bytes = bytesOf(message);
  add(std::move(message), bytes);
}

void IndexFeed::move(std::uint32_t id, std::string mailbox) {
  add(Moved{id, std::move(mailbox)}, kTaskBytes);
}

void IndexFeed::forget(std::uint32_t id) { add(Forgotten{id}, kTaskBytes); }

void IndexFeed::add(Task task, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  const bool isFull =
      queue_.size() >= limits_.queueMessages || queueBytes_ + bytes > limits_.queueBytes;
  // A message that is larger than the queue passes when it is the only one.
  if (isEnding_ || (isFull && !queue_.empty())) {
    ++leftOut_;
    return;
  }
  queue_.push_back({std::move(task), bytes});
  queueBytes_ += bytes;
  isIdle_ = false;
  changed_.notify_all();
}

void IndexFeed::drain(std::chrono::seconds most, const std::function<bool()>& isCancelled) {
  constexpr std::chrono::milliseconds kBetweenLooks{50};
  const Clock::time_point end = Clock::now() + most;
  std::unique_lock lock(mutex_);
  isDraining_ = true;
  changed_.notify_all();
  while (!isIdle_ && Clock::now() < end && !isCancelled()) {
    changed_.wait_for(lock, kBetweenLooks, [this] { return isIdle_; });
  }
  isDraining_ = false;
  leftOut_ += queue_.size();
  queue_.clear();
  queueBytes_ = 0;
}

IndexFeed::Outcome IndexFeed::finish() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    leftOut_ += queue_.size();
    queue_.clear();
    queueBytes_ = 0;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
  return {taken_, leftOut_ + refused_, trouble_};
}

// The feed's thread.

void IndexFeed::work() {
  // Else the run and its server wait for a processor. What is left at the end is waited for there.
  lowerThreadPriority();
  Task task;
  while (waitForTask(task)) {
    try {
      take(std::move(task));
    } catch (const std::exception& error) {
      fail(error.what());
    }
    commitWhenDue();
  }
  commit();
  index_->close();
}

/// Commits what has waited long enough while there is nothing to do. False: it is the end.
bool IndexFeed::waitForTask(Task& task) {
  std::unique_lock lock(mutex_);
  while (!isEnding_ && queue_.empty()) {
    const bool isDue =
        uncommitted_ > 0 && (isDraining_ || Clock::now() - oldestUncommitted_ > kLeastAge);
    if (isDue) {
      lock.unlock();
      commit();
      lock.lock();
      continue;
    }
    isIdle_ = uncommitted_ == 0;
    changed_.notify_all();
    changed_.wait_for(lock, kLeastAge, [this] {
      return isEnding_ || !queue_.empty() || (isDraining_ && uncommitted_ > 0);
    });
  }
  if (isEnding_) return false;
  task = std::move(queue_.front().task);
  queueBytes_ -= queue_.front().bytes;
  queue_.pop_front();
  return true;
}

void IndexFeed::take(Task task) {
  if (!canWrite()) {
    ++refused_;
    return;
  }
  Result<void> done;
  if (const auto* const moved = std::get_if<Moved>(&task)) {
    done = index_->putMailbox(moved->id, moved->mailbox);
  } else if (const auto* const forgotten = std::get_if<Forgotten>(&task)) {
    done = index_->remove(forgotten->id);
  } else {
    done = write(std::move(std::get<ArchivedMessage>(task)));
  }
  if (!done) {
    ++refused_;
    return fail(done.error());
  }
  ++taken_;
  if (uncommitted_++ == 0) oldestUncommitted_ = Clock::now();
}

Result<void> IndexFeed::write(ArchivedMessage message) {
  IndexEntry entry = entryOf(message);
  entry.texts = reader_.read(std::move(message));
  for (const FieldText& text : entry.texts.texts) uncommittedBytes_ += text.text.size();
  return index_->put(entry);
}

/// Another program may have the index for a moment, to bring it in step.
bool IndexFeed::canWrite() {
  if (!trouble_.empty()) return false;
  if (index_->state() == WordIndex::State::writing) return true;
  if (Clock::now() - lastTriedToOpen_ < kBetweenOpenings) return false;
  lastTriedToOpen_ = Clock::now();
  if (index_->open() == WordIndex::State::unusable) fail(index_->trouble());
  return index_->state() == WordIndex::State::writing;
}

void IndexFeed::commitWhenDue() {
  if (uncommitted_ == 0) return;
  const auto age = Clock::now() - oldestUncommitted_;
  const bool isOld = age >= kLeastAge && age >= kCommitShare * lastCommitTook_;
  if (isOld || uncommitted_ >= kMessagesPerCommit || uncommittedBytes_ >= kBytesPerCommit) commit();
}

void IndexFeed::commit() {
  if (uncommitted_ == 0) return;
  uncommitted_ = 0;
  uncommittedBytes_ = 0;
  const Clock::time_point begin = Clock::now();
  const Result<void> done = index_->commit();
  lastCommitTook_ = Clock::now() - begin;
  if (!done) fail(done.error());
}

/// What was not committed is gone with the index closed; the next catch-up brings it.
void IndexFeed::fail(const std::string& trouble) {
  trouble_ = trouble.empty() ? "unknown error" : trouble;
  uncommitted_ = 0;
  uncommittedBytes_ = 0;
  index_->close();
}

}  // namespace keldane
