#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/result.h"

namespace keldane {

/// A file that one living process appends to, line by line. Locked from `take` to its end, by the
/// lock that the system drops with the process, so that a killed run leaves no lock behind.
class LedgerFile {
 public:
  /// Locks `path` (made with mode 0600 when it is missing). Fails when another process holds it,
  /// when it is no regular file, or when the system refuses.
  [[nodiscard]] static Result<std::unique_ptr<LedgerFile>> take(const std::string& path);
  /// Whether a living process holds the file.
  [[nodiscard]] static bool isHeld(const std::string& path);
  /// Adds a line to a file that this process does not hold.
  [[nodiscard]] static bool appendTo(const std::string& path, std::string_view line);
  ~LedgerFile();
  LedgerFile(const LedgerFile&) = delete;
  LedgerFile& operator=(const LedgerFile&) = delete;

  /// Replaces the content in one step, flushed to disk; the lock is kept.
  [[nodiscard]] Result<void> restart(std::string_view content);
  /// One write, unbuffered. After a short write the torn line is ended before the next one.
  [[nodiscard]] bool append(std::string_view line);
  /// Another process has added something since `restart`.
  [[nodiscard]] bool hasLinesOfOthers() const;
  /// The path with symbolic links followed.
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  LedgerFile(std::string path, int descriptor);

  std::string path_;
  int descriptor_;
  bool torn_ = false;
  std::size_t ownBytes_ = 0;
};

}  // namespace keldane
