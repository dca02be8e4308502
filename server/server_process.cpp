#include "server/server_process.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldane {
namespace {

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
