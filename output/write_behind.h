#pragma once

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "base/ahead_queue.h"
#include "base/result.h"

namespace keldane {

/// Writes very many small files on a thread of its own, while whoever makes them waits for the
/// server. In the order in which they were put; the first failure ends it. Used by one thread.
class WriteBehind {
 public:
  struct File {
    std::string path;
    std::string bytes;
    long long time = 0;  ///< seconds since 1970; 0: now
  };

  /// The files are made in `temporaryFolder`, on the disk of all of them.
  explicit WriteBehind(std::string temporaryFolder);
  /// Writes what was put and not yet written.
  ~WriteBehind();
  WriteBehind(const WriteBehind&) = delete;
  WriteBehind& operator=(const WriteBehind&) = delete;

  /// Fails with path and reason when this one or another before it cannot be written; none behind
  /// that is.
  [[nodiscard]] Result<void> put(File file);
  /// Waits until all are written. Fails as `put`.
  [[nodiscard]] Result<void> finish();

 private:
  using Batch = std::vector<File>;

  [[nodiscard]] Result<void> handOver();
  [[nodiscard]] Result<void> write(const File& file) const;
  void writeAll();

  const std::string temporaryFolder_;
  Batch batch_;
  std::size_t batchBytes_ = 0;
  AheadQueue<Batch> queue_;
  std::string failure_;  ///< set before the queue is closed
  std::thread thread_;
};

}  // namespace keldane
