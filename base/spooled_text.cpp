#include "base/spooled_text.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace keldane {
namespace {

constexpr std::size_t kMostTailBytes = 512UL * 1024;
constexpr std::size_t kPieceBytes = 64UL * 1024;

}  // namespace

SpooledText& SpooledText::append(std::string_view text) {
  tail_.append(text);
  if (tail_.size() > kMostTailBytes && !fileRefused_) moveTailToFile();
  return *this;
}

void SpooledText::clear() {
  file_.reset();
  fileBytes_ = 0;
  tail_.clear();
  fileRefused_ = false;
}

void SpooledText::moveTailToFile() {
  if (!file_) {
    file_.reset(std::tmpfile());
    // No program started meanwhile shall hold on to it.
    if (file_) ::fcntl(::fileno(file_.get()), F_SETFD, FD_CLOEXEC);
  }
  std::size_t moved = 0;
  while (file_ && moved < tail_.size()) {
    const ssize_t put = ::pwrite(::fileno(file_.get()), tail_.data() + moved, tail_.size() - moved,
                                 static_cast<off_t>(fileBytes_ + moved));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) break;
    moved += static_cast<std::size_t>(put);
  }
  fileRefused_ = moved < tail_.size();
  fileBytes_ += moved;
  tail_.erase(0, moved);
}

PieceReader SpooledText::reader() const {
  return [this, at = std::size_t{0},
          piece = std::string()](std::string_view& bytes) mutable -> Result<bool> {
    if (at >= fileBytes_) {
      bytes = std::string_view(tail_).substr(at - fileBytes_);
      at = size();
      return !bytes.empty();
    }
    piece.resize(std::min(kPieceBytes, fileBytes_ - at));
    ssize_t got = 0;
    do {
      got = ::pread(::fileno(file_.get()), piece.data(), piece.size(), static_cast<off_t>(at));
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
      return Failure{"a temporary file cannot be read back: " +
                     std::generic_category().message(got < 0 ? errno : EIO)};
    }
    at += static_cast<std::size_t>(got);
    bytes = std::string_view(piece).substr(0, static_cast<std::size_t>(got));
    return true;
  };
}

}  // namespace keldane
