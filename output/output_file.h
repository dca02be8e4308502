#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/result.h"

namespace keldane {

/// The one way by which a file leaves the archive. The bytes go to a private file, without a name
/// where the system has such, else beside the target, which takes the target's name only when all
/// of them are on disk: a full disk, a lost folder or a crash leaves whatever lay there before.
/// Mode 0600; a symbolic link is followed.
///
/// "-" stands for standard output. That, and a target that is no regular file (a pipe, /dev/null),
/// is written to at once. One thread at a time.
class OutputFile {
 public:
  explicit OutputFile(std::string path) : path_(std::move(path)) {}
  /// One of very many files: made in `temporaryFolder`, on the same disk, and not waited for by
  /// `commit`; whoever writes them has the disk caught up at the end.
  OutputFile(std::string path, std::string temporaryFolder)
      : path_(std::move(path)), temporaryFolder_(std::move(temporaryFolder)) {}
  /// Without `commit` before, what was written goes.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Fails with path and reason when nothing can be written there.
  [[nodiscard]] Result<void> open();
  /// Writes behind what is there. The first failure is kept, and all that follows is dropped.
  void write(std::string_view bytes);
  /// Whether a write has failed: going on is of no use.
  [[nodiscard]] bool hasFailed() const { return !failure_.empty(); }
  /// Puts the file on disk and in its place. Fails with the first failure of all; the target is
  /// then as it was.
  [[nodiscard]] Result<void> commit();
  /// Seconds since 1970 that `commit` gives the file as its time; 0: now.
  void setTime(long long seconds) { time_ = seconds; }

 private:
  void openTemporary();
  [[nodiscard]] int makeTemporary();
  void takeName();
  void flush();
  void fail(int code);
  void discard();

  std::string path_;
  std::string temporaryFolder_;
  std::string target_;
  std::string temporary_;  ///< empty: the target itself is written to, or a file without a name
  std::string buffer_;
  std::string failure_;
  long long time_ = 0;
  int fd_ = -1;
  bool isNameless_ = false;
};

}  // namespace keldane
