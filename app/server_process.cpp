#include "app/server_process.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/files.h"

namespace keldane {
namespace {

constexpr std::chrono::milliseconds kLockPoll{20};
constexpr mode_t kOthersBits = 077;

Failure failure(const std::string& path, int code) {
  return {path + ": " + std::generic_category().message(code)};
}

/// Asks who holds the lock of one file; the caller's own locks do not count.
DataFolderHolder holderOf(const std::string& path) {
  DataFolderHolder holder;
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return holder;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (::fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) {
    holder.held = true;
    holder.processId = lock.l_pid > 0 ? static_cast<int>(lock.l_pid) : 0;
  }
  ::close(fd);
  return holder;
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

DataFolderHolder dataFolderHolder(const std::string& dataFolder) {
  // The first is locked soonest and the second longest; either is enough.
  for (const char* name : {"/aria_log_control", "/ibdata1"}) {
    const DataFolderHolder holder = holderOf(dataFolder + name);
    if (holder.held) return holder;
  }
  return {};
}

bool hasEnded(int processId) {
  if (processId <= 0) return true;
  if (::waitpid(processId, nullptr, WNOHANG) == processId) return true;
  return ::kill(processId, 0) != 0 && errno == ESRCH;
}

unsigned long long machineMemoryBytes() {
#ifdef _SC_PHYS_PAGES
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long bytes = ::sysconf(_SC_PAGESIZE);
  if (pages > 0 && bytes > 0) {
    return static_cast<unsigned long long>(pages) * static_cast<unsigned long long>(bytes);
  }
#endif
  return 0;
}

}  // namespace keldane
