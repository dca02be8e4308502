#include "ingest/reading/resting_file.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

namespace keldane {
namespace {

/// What stands there, for a file that nothing can be read from.
std::string kindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "is a folder";
  if (S_ISFIFO(mode)) return "not a regular file (a pipe)";
  if (S_ISSOCK(mode)) return "not a regular file (a socket)";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "not a regular file (a device)";
  return "not a regular file";
}

}  // namespace

Result<FileState> stateOf(const std::string& path) { return stateOf(AT_FDCWD, path); }

Result<FileState> stateOf(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, 0) != 0)
    return Failure{std::generic_category().message(errno)};
  if (!S_ISREG(status.st_mode)) return Failure{kindOf(status.st_mode)};
#ifdef __APPLE__
  const timespec modified = status.st_mtimespec;
  const timespec changed = status.st_ctimespec;
#else
  const timespec modified = status.st_mtim;
  const timespec changed = status.st_ctim;
#endif
  return FileState{static_cast<std::uint64_t>(status.st_size),
                   modified.tv_sec,
                   modified.tv_nsec,
                   static_cast<std::uint64_t>(status.st_dev),
                   static_cast<std::uint64_t>(status.st_ino),
                   changed.tv_sec,
                   changed.tv_nsec};
}

std::int64_t secondsUntilRested(const FileState& state, std::int64_t now,
                                std::int64_t restSeconds) {
  const std::int64_t age = now - state.modifiedSeconds;
  return age < 0 ? 0 : std::max<std::int64_t>(0, restSeconds - age);
}

}  // namespace keldane
