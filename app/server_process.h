#pragma once

#include <string>

#include "base/result.h"

namespace keldane {

/// A lock between programs, on a file that is made when it is missing and stays. Released with the
/// object, and by the system when its program ends in any way.
class FileLock {
 public:
  FileLock() = default;
  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&& other) noexcept;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock();

  /// Waits for the lock. Fails after `seconds`, or when the file cannot be made.
  [[nodiscard]] static Result<FileLock> take(const std::string& path, int seconds);

 private:
  int fd_ = -1;
};

/// Makes the folder with mode 0700, or makes sure that it is one of this user's and closes it to
/// others. With `mayBeLink` false a symbolic link in its place is refused: somebody else may have
/// put it there.
[[nodiscard]] Result<void> makePrivateFolder(const std::string& path, bool mayBeLink);

/// Whether it is a folder of this user's, closed to others, and no link.
[[nodiscard]] bool isPrivateFolder(const std::string& path);

/// The process that has a server's data folder open, told by the locks that it holds on its files:
/// no note about a process can be stale, and no other process that got the same number is taken for
/// it.
struct DataFolderHolder {
  bool held = false;
  int processId = 0;  ///< 0: not known, as in another container
};
[[nodiscard]] DataFolderHolder dataFolderHolder(const std::string& dataFolder);

/// Whether a process has ended. A child of this process is reaped by the way.
[[nodiscard]] bool hasEnded(int processId);

/// Bytes of memory of this machine; 0 when the system does not tell.
[[nodiscard]] unsigned long long machineMemoryBytes();

}  // namespace keldane
