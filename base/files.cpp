#include "base/files.h"

#include <cerrno>
#include <climits>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace keldane {
namespace {

constexpr int kMostLinks = 40;  ///< as many as the system itself follows

Failure failure(const std::string& path, int code) {
  return {path + ": " + std::generic_category().message(code)};
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return fd_; }
  /// 0, or the reason why closing failed.
  [[nodiscard]] int close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

/// 0, or the reason.
int readUpTo(int fd, std::size_t most, std::string& bytes) {
  std::size_t used = 0;
  bytes.resize(most);
  while (used < most) {
    const ssize_t got = ::read(fd, bytes.data() + used, most - used);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
  }
  bytes.resize(used);
  return 0;
}

/// 0, or the reason.
int readAll(int fd, std::size_t expected, std::string& bytes) {
  std::size_t used = 0;
  // One byte more than expected, so that the end shows without a second growth.
  bytes.resize(expected + 1);
  while (true) {
    const ssize_t got = ::read(fd, bytes.data() + used, bytes.size() - used);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
    if (used == bytes.size()) bytes.resize(used * 2);
  }
  bytes.resize(used);
  return 0;
}

/// All of a regular file, or at most so much of it.
Result<std::string> readFrom(const std::string& path, std::optional<std::size_t> most) {
  // Not blocking, so that a pipe among the files cannot hold up its reader.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return failure(path, errno);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return failure(path, errno);
  if (S_ISDIR(status.st_mode)) return failure(path, EISDIR);
  if (!S_ISREG(status.st_mode)) return Failure{path + ": not a regular file"};
  try {
    std::string bytes;
    const int code = most ? readUpTo(file.get(), *most, bytes)
                          : readAll(file.get(), static_cast<std::size_t>(status.st_size), bytes);
    if (code != 0) return failure(path, code);
    return bytes;
  } catch (const std::bad_alloc&) {
    return failure(path, ENOMEM);
  } catch (const std::length_error&) {
    return failure(path, EFBIG);
  }
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// Where a chain of symbolic links ends; what it ends in need not exist.
std::string followLinks(std::string path) {
  for (int i = 0; i < kMostLinks; ++i) {
    std::string target(PATH_MAX, '\0');
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length <= 0) break;
    target.resize(static_cast<std::size_t>(length));
    path = target.front() == '/' ? target : folderOf(path) + "/" + target;
  }
  return path;
}

/// The file is left behind on failure.
Result<void> fillNewFile(const std::string& path, int fd, const PieceReader& nextPiece,
                         unsigned mode) {
  Descriptor file(fd);
  if (::fchmod(fd, static_cast<mode_t>(mode)) != 0) return failure(path, errno);
  while (true) {
    std::string_view piece;
    const Result<bool> more = nextPiece(piece);
    if (!more) return Failure{more.error()};
    if (!*more) break;
    if (const int code = writeAll(fd, piece); code != 0) return failure(path, code);
  }
  if (::fsync(fd) != 0) return failure(path, errno);
  const int code = file.close();
  if (code != 0) return failure(path, code);
  return {};
}

}  // namespace

Result<std::string> readFile(const std::string& path) { return readFrom(path, std::nullopt); }

Result<std::string> readBeginning(const std::string& path, std::size_t most) {
  return readFrom(path, most);
}

Result<void> replaceFile(const std::string& path, const PieceReader& nextPiece, unsigned mode) {
  const std::string target = followLinks(path);
  std::string temporary = target + ".XXXXXX";
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) return failure(path, errno);
  ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  Result<void> written = fillNewFile(path, fd, nextPiece, mode);
  if (written && ::rename(temporary.c_str(), target.c_str()) != 0) written = failure(path, errno);
  if (!written) {
    ::unlink(temporary.c_str());
    return written;
  }
  syncFolderOf(target);
  return {};
}

Result<void> replaceFile(const std::string& path, std::string_view bytes, unsigned mode) {
  const PieceReader whole = [bytes,
                             given = false](std::string_view& piece) mutable -> Result<bool> {
    piece = bytes;
    return !std::exchange(given, true);
  };
  return replaceFile(path, whole, mode);
}

int writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = ::write(fd, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return 0;
}

void syncFolderOf(const std::string& path) {
  const Descriptor fd(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.get() >= 0) static_cast<void>(::fsync(fd.get()));
}

Result<void> makeFolders(const std::string& path, unsigned mode) {
  std::size_t end = 0;
  while (end < path.size()) {
    end = path.find('/', end + 1);
    if (end == std::string::npos) end = path.size();
    const std::string part = path.substr(0, end);
    if (::mkdir(part.c_str(), static_cast<mode_t>(mode)) == 0) continue;
    const int code = errno;
    if (isDirectory(part)) continue;
    return failure(part, code == EEXIST ? ENOTDIR : code);
  }
  return {};
}

bool fileExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace keldane
