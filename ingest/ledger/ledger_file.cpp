#include "ingest/ledger/ledger_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "base/files.h"

namespace keldane {
namespace {

constexpr mode_t kMode = 0600;
/// How often a file may be replaced by another run between our opening and our locking it.
constexpr int kLockAttempts = 10;
/// Ends a torn line so that it has one field too many and is not taken for a whole one.
constexpr std::string_view kTornLineEnd = "\t!\n";

Failure systemFailure(const std::string& path) { return {path + ": " + std::strerror(errno)}; }

std::string resolved(const std::string& path) {
  char* real = ::realpath(path.c_str(), nullptr);
  if (real == nullptr) return std::filesystem::absolute(path).lexically_normal().string();
  std::string result(real);
  std::free(real);
  return result;
}

/// A file system that has no locks is no reason to do without a ledger.
bool isHeldByOther(int descriptor, int operation) {
  return ::flock(descriptor, operation | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

/// The file behind the descriptor is still the one that has this path.
bool isStillAt(int descriptor, const std::string& path) {
  struct stat mine {};
  struct stat there {};
  return ::fstat(descriptor, &mine) == 0 && ::stat(path.c_str(), &there) == 0 &&
         mine.st_dev == there.st_dev && mine.st_ino == there.st_ino;
}

std::optional<Failure> refuseOtherThanFile(const std::string& path) {
  struct stat there {};
  if (::stat(path.c_str(), &there) != 0) return std::nullopt;
  if (S_ISREG(there.st_mode)) return std::nullopt;
  return Failure{path + ": not a file"};
}

}  // namespace

Result<std::unique_ptr<LedgerFile>> LedgerFile::take(const std::string& path) {
  const std::string real = resolved(path);
  if (const std::optional<Failure> refusal = refuseOtherThanFile(real)) return *refusal;
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    const int descriptor = ::open(real.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, kMode);
    if (descriptor < 0) return systemFailure(real);
    std::unique_ptr<LedgerFile> file(new LedgerFile(real, descriptor));
    if (isHeldByOther(descriptor, LOCK_EX)) break;
    if (isStillAt(descriptor, real)) return file;
  }
  return Failure{"Another archive run is keeping its ledger in " + real};
}

bool LedgerFile::isHeld(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool held = isHeldByOther(descriptor, LOCK_SH);
  ::close(descriptor);
  return held;
}

bool LedgerFile::appendTo(const std::string& path, std::string_view line) {
  const int descriptor =
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, kMode);
  if (descriptor < 0) return false;
  const bool written = writeAll(descriptor, line) == 0;
  return ::close(descriptor) == 0 && written;
}

LedgerFile::LedgerFile(std::string path, int descriptor)
    : path_(std::move(path)), descriptor_(descriptor) {}

LedgerFile::~LedgerFile() { ::close(descriptor_); }

Result<void> LedgerFile::restart(std::string_view content) {
  const std::string newPath = path_ + ".new";
  ::unlink(newPath.c_str());
  const int descriptor =
      ::open(newPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
  if (descriptor < 0) return systemFailure(newPath);
  // Locked before it gets the name, so that there is no moment in which the name is free to take.
  if (isHeldByOther(descriptor, LOCK_EX) || writeAll(descriptor, content) != 0 ||
      ::fsync(descriptor) != 0 || ::rename(newPath.c_str(), path_.c_str()) != 0) {
    const Failure failure = systemFailure(path_);
    ::close(descriptor);
    ::unlink(newPath.c_str());
    return failure;
  }
  syncFolderOf(path_);
  ::close(descriptor_);
  descriptor_ = descriptor;
  torn_ = false;
  ownBytes_ = content.size();
  return {};
}

bool LedgerFile::append(std::string_view line) {
  if (torn_) {
    if (writeAll(descriptor_, kTornLineEnd) != 0) return false;
    torn_ = false;
    ownBytes_ += kTornLineEnd.size();
  }
  ssize_t written = 0;
  do {
    written = ::write(descriptor_, line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written > 0) ownBytes_ += static_cast<std::size_t>(written);
  if (written == static_cast<ssize_t>(line.size())) return true;
  torn_ = written > 0;
  return false;
}

bool LedgerFile::hasLinesOfOthers() const {
  struct stat status {};
  return ::fstat(descriptor_, &status) == 0 &&
         static_cast<std::size_t>(status.st_size) != ownBytes_;
}

}  // namespace keldane
