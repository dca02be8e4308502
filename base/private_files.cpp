#include "base/private_files.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"

namespace keldane {
namespace {

constexpr std::chrono::milliseconds kLockPoll{20};
constexpr mode_t kOthersBits = 077;

Failure failure(const std::string& path, int code) {
  return {path + ": " + std::generic_category().message(code)};
}

}  // namespace

FileLock::FileLock(FileLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

FileLock::~FileLock() {
  if (fd_ >= 0) ::close(fd_);
}

Result<FileLock> FileLock::take(const std::string& path, int seconds) {
  FileLock lock;
  lock.fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock.fd_ < 0) return failure(path, errno);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (::flock(lock.fd_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return failure(path, errno);
    if (std::chrono::steady_clock::now() >= deadline) {
      return Failure{path + ": another program has been holding it for too long"};
    }
    std::this_thread::sleep_for(kLockPoll);
  }
  return lock;
}

Result<void> makePrivateFolder(const std::string& path, bool mayBeLink) {
  if (Result<void> made = makeFolders(path, 0700); !made) return made;
  struct stat status {};
  const int asked = mayBeLink ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status);
  if (asked != 0) return failure(path, errno);
  if (!S_ISDIR(status.st_mode)) return failure(path, ENOTDIR);
  if (status.st_uid != ::geteuid()) return Failure{path + ": it belongs to another user"};
  if ((status.st_mode & kOthersBits) == 0) return {};
  if (::chmod(path.c_str(), 0700) != 0) return failure(path, errno);
  return {};
}

bool isPrivateFolder(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid() && (status.st_mode & kOthersBits) == 0;
}

}  // namespace keldane
