#pragma once

#include <string>

#include "base/result.h"

/// What programs of one user share on disk: locks between them, and folders closed to others.
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

}  // namespace keldane
