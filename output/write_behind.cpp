#include "output/write_behind.h"

#include <optional>
#include <utility>

#include "output/output_file.h"

namespace keldane {
namespace {

constexpr std::size_t kQueueBytes = 4U << 20U;
/// Handed over together: waking the other thread costs as much as a file.
constexpr std::size_t kBatchBytes = 256U << 10U;
/// A larger one is not kept beside others.
constexpr std::size_t kLargeBytes = 1U << 20U;
/// Of a file beside its bytes.
constexpr std::size_t kFileBytes = 512;

}  // namespace

WriteBehind::WriteBehind(std::string temporaryFolder)
    : temporaryFolder_(std::move(temporaryFolder)),
      queue_(kQueueBytes),
      thread_([this] { writeAll(); }) {}

WriteBehind::~WriteBehind() { static_cast<void>(finish()); }

Result<void> WriteBehind::put(File file) {
  if (file.bytes.size() > kLargeBytes) {
    if (Result<void> handed = handOver(); !handed) return handed;
    return queue_.waitUntilAsked() ? write(file) : finish();
  }
  batchBytes_ += file.bytes.size() + kFileBytes;
  batch_.push_back(std::move(file));
  return batchBytes_ < kBatchBytes ? Result<void>() : handOver();
}

Result<void> WriteBehind::finish() {
  if (thread_.joinable()) {
    if (!batch_.empty()) static_cast<void>(queue_.put(std::exchange(batch_, {}), batchBytes_));
    queue_.end();
    thread_.join();
  }
  return failure_.empty() ? Result<void>() : Failure{failure_};
}

Result<void> WriteBehind::handOver() {
  if (batch_.empty()) return {};
  const std::size_t bytes = std::exchange(batchBytes_, 0);
  return queue_.put(std::exchange(batch_, {}), bytes) ? Result<void>() : finish();
}

Result<void> WriteBehind::write(const File& file) const {
  OutputFile output(file.path, temporaryFolder_);
  if (Result<void> opened = output.open(); !opened) return opened;
  output.setTime(file.time);
  output.write(file.bytes);
  return output.commit();
}

// The thread.

void WriteBehind::writeAll() {
  while (const std::optional<Batch> batch = queue_.take()) {
    for (const File& file : *batch) {
      const Result<void> written = write(file);
      if (written) continue;
      failure_ = written.error();
      return queue_.close();
    }
  }
}

}  // namespace keldane
