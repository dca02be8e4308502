#include "output/output_file.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"

namespace keldane {
namespace {

constexpr std::size_t kBufferBytes = 256 * 1024;
constexpr const char* kOpenFiles = "/proc/self/fd";

/// A file without a name, which takes one when it is whole: nothing stays of it when the program is
/// killed, and in a folder of very many files a name that is changed costs five times as much as
/// one that is given. -1: not to be had here.
int openNameless(const std::filesystem::path& folder) {
#ifdef O_TMPFILE
  if (::access(kOpenFiles, X_OK) != 0) return -1;
  return ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR);
#else
  static_cast<void>(folder);
  return -1;
#endif
}

bool giveName(int fd, const std::string& path) {
  const std::string source = kOpenFiles + ("/" + std::to_string(fd));
  return ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

}  // namespace

OutputFile::~OutputFile() { discard(); }

Result<void> OutputFile::open() {
  if (path_ == "-") {
    fd_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (fd_ < 0) fail(errno);
    return hasFailed() ? Result<void>(Failure{failure_}) : Result<void>();
  }
  target_ = path_;
  if (path_.empty()) fail(ENOENT);
  struct stat status {};
  bool isThere = !hasFailed() && ::lstat(path_.c_str(), &status) == 0;
  if (isThere && S_ISLNK(status.st_mode)) {
    char resolved[PATH_MAX];
    if (::realpath(path_.c_str(), resolved) != nullptr) {
      target_ = resolved;
      isThere = ::stat(target_.c_str(), &status) == 0;
    } else {
      fail(errno);
    }
  }
  if (isThere && !hasFailed() && !S_ISREG(status.st_mode)) {
    fd_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  } else if (!hasFailed()) {
    openTemporary();
  }
  if (!hasFailed() && fd_ < 0) fail(errno);
  if (hasFailed()) return Failure{failure_};
  ::fcntl(fd_, F_SETFD, FD_CLOEXEC);
  return {};
}

void OutputFile::openTemporary() {
  fd_ = openNameless(temporaryFolder_.empty() ? std::filesystem::path(target_).replace_filename(".")
                                              : std::filesystem::path(temporaryFolder_));
  isNameless_ = fd_ >= 0;
  if (!isNameless_) fd_ = makeTemporary();
}

/// Makes the file that is renamed to the target later. -1: errno tells why not.
int OutputFile::makeTemporary() {
  temporary_ = temporaryFolder_.empty() ? target_ : temporaryFolder_ + "/keldane";
  temporary_ += ".XXXXXX";
  const int fd = ::mkstemp(temporary_.data());
  if (fd < 0) temporary_.clear();
  return fd;
}

/// The file without a name gets the target's, in place of another that lies there.
void OutputFile::takeName() {
  if (giveName(fd_, target_)) return;
  int code = errno;
  if (code == EEXIST) {
    const int other = makeTemporary();
    if (other >= 0 && ::close(other) == 0 && ::unlink(temporary_.c_str()) == 0 &&
        giveName(fd_, temporary_)) {
      return;
    }
    code = errno;
  }
  fail(code);
}

void OutputFile::write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferBytes) flush();
  if (hasFailed()) return;
  if (bytes.size() < kBufferBytes) {
    buffer_ += bytes;
  } else if (const int code = writeAll(fd_, bytes); code != 0) {
    fail(code);
  }
}

Result<void> OutputFile::commit() {
  if (fd_ < 0 && !hasFailed()) fail(EBADF);
  flush();
  const bool isNew = isNameless_ || !temporary_.empty();
  if (!hasFailed() && isNew) {
    if (time_ != 0) {
      const timespec times[2] = {{static_cast<time_t>(time_), 0}, {static_cast<time_t>(time_), 0}};
      static_cast<void>(::futimens(fd_, times));
    }
    if (temporaryFolder_.empty() && ::fsync(fd_) != 0) fail(errno);
  }
  if (!hasFailed() && isNameless_) takeName();
  if (fd_ >= 0 && ::close(std::exchange(fd_, -1)) != 0) {
    fail(errno);
    if (isNameless_ && temporary_.empty()) ::unlink(target_.c_str());
  }
  if (!hasFailed() && !temporary_.empty()) {
    if (::rename(temporary_.c_str(), target_.c_str()) == 0) {
      temporary_.clear();
    } else {
      fail(errno);
    }
  }
  if (!hasFailed()) {
    if (isNew && temporaryFolder_.empty()) syncFolderOf(target_);
    return {};
  }
  discard();
  return Failure{failure_};
}

void OutputFile::flush() {
  if (hasFailed() || buffer_.empty()) return;
  if (const int code = writeAll(fd_, buffer_); code != 0) fail(code);
  buffer_.clear();
}

void OutputFile::fail(int code) {
  if (hasFailed()) return;
  const std::string name = path_ == "-" ? "standard output" : path_;
  failure_ = name + ": " + std::generic_category().message(code);
}

void OutputFile::discard() {
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace keldane
