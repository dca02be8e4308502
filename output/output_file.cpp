#include "output/output_file.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"

namespace keldane {
namespace {

constexpr std::size_t kBufferBytes = 256 * 1024;

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
  if (!hasFailed() && ::lstat(path_.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    char resolved[PATH_MAX];
    if (::realpath(path_.c_str(), resolved) != nullptr) {
      target_ = resolved;
    } else {
      fail(errno);
    }
  }
  if (!hasFailed() && ::stat(target_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    fd_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  } else if (!hasFailed()) {
    temporary_ = temporaryFolder_.empty() ? target_ : temporaryFolder_ + "/keldane";
    temporary_ += ".XXXXXX";
    fd_ = ::mkstemp(temporary_.data());
    if (fd_ < 0) temporary_.clear();
  }
  if (!hasFailed() && fd_ < 0) fail(errno);
  if (hasFailed()) return Failure{failure_};
  ::fcntl(fd_, F_SETFD, FD_CLOEXEC);
  return {};
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
  if (!hasFailed() && !temporary_.empty()) {
    if (time_ != 0) {
      const timespec times[2] = {{static_cast<time_t>(time_), 0}, {static_cast<time_t>(time_), 0}};
      static_cast<void>(::futimens(fd_, times));
    }
    if (temporaryFolder_.empty() && ::fsync(fd_) != 0) fail(errno);
  }
  if (fd_ >= 0 && ::close(std::exchange(fd_, -1)) != 0) fail(errno);
  if (!hasFailed() && !temporary_.empty()) {
    if (::rename(temporary_.c_str(), target_.c_str()) == 0) {
      temporary_.clear();
      if (temporaryFolder_.empty()) syncFolderOf(target_);
    } else {
      fail(errno);
    }
  }
  if (!hasFailed()) return {};
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
