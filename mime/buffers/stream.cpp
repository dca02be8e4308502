#include "mime/buffers/stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kChunk = 65536;
/// A piece that outgrows this leaves the buffer in blocks, so that it is not copied at every
/// growth.
constexpr std::size_t kSideBlock = 1048600;
/// Of a piece that is too long so much is held, so that its caller sees how it ends.
constexpr std::size_t kKeptBytes = 4096;
constexpr std::string_view kBom = "\xEF\xBB\xBF";

}  // namespace

bool _tnFileDataSource::openDataSourceFile(const std::string& path, LogBase& log) {
  close();
  // Without waiting, or the open of a pipe would hang until somebody writes to it.
  fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat info = {};
  reason_.clear();
  if (fd_ < 0 || ::fstat(fd_, &info) != 0) {
    reason_ = std::strerror(errno);
  } else if (!S_ISREG(info.st_mode)) {
    reason_ = "not a regular file";
  }
  if (!reason_.empty()) {
    log.LogError("Failed to open the source file.");
    log.LogData("path", path);
    log.LogData("reason", reason_);
    close();
    return false;
  }
  remaining_ = static_cast<std::uint64_t>(info.st_size);
  return true;
}

long _tnFileDataSource::read(char* to, std::size_t n, LogBase& log) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(n, remaining_));
  if (wanted == 0) return 0;
  ssize_t got = 0;
  do {
    got = ::read(fd_, to, wanted);
  } while (got < 0 && errno == EINTR);
  if (got < 0) {
    reason_ = std::strerror(errno);
    log.LogError("Failed to read the source file.");
    log.LogData("reason", reason_);
    return -1;
  }
  remaining_ = got == 0 ? 0 : remaining_ - static_cast<std::uint64_t>(got);
  return got;
}

void _tnFileDataSource::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  remaining_ = 0;
}

ClsStream::ClsStream() { charset_.setByCodePage(CharsetNaming::kUtf8); }

ClsStream::~ClsStream() = default;

void ClsStream::put_SourceFile(std::string_view path) {
  CritSecExitor lock(*this);
  forget();
  try {
    path_ = path;
  } catch (const std::bad_alloc&) {
    // Without a source, and the first read says so.
    path_.clear();
  }
}

void ClsStream::put_SourceReader(PieceReader reader) {
  CritSecExitor lock(*this);
  forget();
  path_.clear();
  reader_ = std::move(reader);
}

bool ClsStream::put_StringCharset(std::string_view name) {
  CritSecExitor lock(*this);
  _tnCharset wanted;
  if (!wanted.setByName(name) || wanted.getCodePage() == 0) return false;
  charset_.copy(wanted);
  return true;
}

bool ClsStream::get_EndOfStream() const {
  CritSecExitor lock(*this);
  return sourceAtEnd_ && begin_ == end_ && side_.empty();
}

ClsStream::ReadFailReason ClsStream::readFailReason() const {
  CritSecExitor lock(*this);
  return failReason_;
}

std::string ClsStream::failureText() const {
  CritSecExitor lock(*this);
  if (failReason_ == kNoSource) return "No source for the stream.";
  return failReason_ == kFailed ? failureText_ : std::string();
}

std::uint64_t ClsStream::offsetBytes() const {
  CritSecExitor lock(*this);
  return offset_;
}

void ClsStream::Reset() {
  CritSecExitor lock(*this);
  forget();
}

void ClsStream::forget() {
  source_.close();
  reader_ = nullptr;
  buffer_.reset();
  side_.clear();
  sideBytes_ = 0;
  isTooLong_ = false;
  capacity_ = begin_ = end_ = 0;
  offset_ = 0;
  sourceAtEnd_ = false;
  failReason_ = kNone;
}

/// Room for so many bytes behind the unread ones.
void ClsStream::makeRoom(std::size_t room) {
  if (capacity_ - end_ >= room) return;
  const std::size_t size = end_ - begin_;
  const std::size_t wanted = size + room;
  if (capacity_ < wanted || size > capacity_ / 2) {
    const std::size_t capacity = std::max(2 * wanted, 4 * kChunk);
    std::unique_ptr<char[]> larger(new char[capacity]);
    if (size != 0) std::memcpy(larger.get(), buffer_.get() + begin_, size);
    buffer_ = std::move(larger);
    capacity_ = capacity;
  } else if (size != 0) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, size);
  }
  begin_ = 0;
  end_ = size;
}

bool ClsStream::fail(const std::string& reason) {
  failReason_ = kFailed;
  failureText_ = reason;
  return false;
}

/// The same for a source that gives pieces.
bool ClsStream::readPiece() {
  std::string_view piece;
  const Result<bool> more = reader_(piece);
  if (!more) return fail(more.error());
  failReason_ = kNone;
  sourceAtEnd_ = !*more;
  if (!*more || piece.empty()) return false;
  makeRoom(piece.size());
  std::memcpy(buffer_.get() + end_, piece.data(), piece.size());
  end_ += piece.size();
  return true;
}

/// True when bytes came in. The end is known as soon as the last bytes are in, not at the read
/// behind them.
bool ClsStream::readChunk(LogBase& log) {
  if (sourceAtEnd_) return false;
  if (reader_) return readPiece();
  if (!source_.isOpen()) {
    if (path_.empty()) {
      failReason_ = kNoSource;
      log.LogError("No source for the stream.");
      return false;
    }
    if (!source_.openDataSourceFile(path_, log)) return fail(source_.reason());
  }
  makeRoom(kChunk);
  const long got = source_.read(buffer_.get() + end_, kChunk, log);
  if (got < 0) return fail(source_.reason());
  end_ += static_cast<std::size_t>(got);
  failReason_ = kNone;
  sourceAtEnd_ = source_.remaining() == 0;
  return got != 0;
}

/// The first `size` unread bytes leave the buffer; the last `kept` bytes of a piece are held even
/// if it is too long.
void ClsStream::moveAside(std::size_t size, std::size_t kept) {
  if (isTooLong_ || sideBytes_ + size > limit_) {
    isTooLong_ = true;
    offset_ += sideBytes_ + size - kept;
    side_.clear();
    sideBytes_ = 0;
    size -= kept;
  } else {
    side_.emplace_back(buffer_.get() + begin_, size);
    sideBytes_ += size;
  }
  begin_ += size;
}

/// Moves the piece, which ends `size` bytes into the buffer's unread part, to `out`.
void ClsStream::handOut(std::size_t size, std::string& out) {
  const std::uint64_t total = sideBytes_ + size;
  if (total > limit_) isTooLong_ = true;
  if (!isTooLong_) {
    out.reserve(total);
    for (std::string& block : side_) {
      out.append(block);
      std::string().swap(block);
    }
  }
  side_.clear();
  sideBytes_ = 0;
  out.append(buffer_.get() + begin_, size);
  begin_ += size;
  offset_ += total;
}

/// The blocks back into the buffer: they were not handed out after all.
void ClsStream::putBack() {
  if (side_.empty()) return;
  const std::uint64_t before = offset_;
  std::string all;
  handOut(end_ - begin_, all);
  offset_ = before;
  buffer_.reset(new char[all.size()]);
  std::memcpy(buffer_.get(), all.data(), all.size());
  capacity_ = end_ = all.size();
  begin_ = 0;
}

bool ClsStream::receiveUntilMatch(std::string_view match, std::string& out, LogBase& log) {
  std::size_t searched = 0;  // bytes of `unread` in which no match begins
  while (true) {
    const std::size_t at = findBytes(unread(), match, searched);
    if (at != std::string_view::npos) {
      handOut(at + match.size(), out);
      return true;
    }
    // A match may begin in the last bytes and go on in the next chunk.
    const std::size_t size = end_ - begin_;
    if (size >= match.size()) searched = std::max(searched, size - (match.size() - 1));
    if (searched > kSideBlock) {
      moveAside(searched, kKeptBytes);
      searched = isTooLong_ ? kKeptBytes : 0;
    }
    if (readChunk(log)) continue;
    if (sourceAtEnd_) {
      handOut(end_ - begin_, out);
    } else if (reader_) {
      // It is not asked again, and what it has given may be huge.
      side_.clear();
      sideBytes_ = 0;
    } else {
      putBack();
    }
    return false;
  }
}

bool ClsStream::ReadUntilMatch(std::string_view match, std::string& out) {
  ClsCall call(*this, "ReadUntilMatch");
  out.clear();
  if (!call.ok()) return false;
  LogBase& log = call.log();
  if (match.empty()) {
    log.LogError("Match string is zero length.");
    return call.finish(false);
  }
  const int codePage = charset_.getCodePage();
  const bool isUtf8 = codePage == CharsetNaming::kUtf8;
  EncodingConvert convert;
  DataBuffer converted;
  if (!isUtf8) {
    convert.EncConvert(CharsetNaming::kUtf8, codePage, match, converted, log);
    match = converted.view();
    if (match.empty()) {
      log.LogError("Match string is zero length after converting to charset.");
      return call.finish(false);
    }
  }
  try {
    receiveUntilMatch(match, out, log);
    if (!isUtf8) {
      DataBuffer text;
      convert.EncConvert(codePage, CharsetNaming::kUtf8, out, text, log);
      out.assign(text.view());
    }
  } catch (const std::bad_alloc&) {
    fail("Out of memory.");
    log.LogError("Out of memory.");
    out.clear();
    return call.finish(false);
  }
  if (out.compare(0, kBom.size(), kBom) == 0) out.erase(0, kBom.size());
  while (!out.empty() && out.back() == '\0') out.pop_back();
  if (out.empty() && sourceAtEnd_) failReason_ = kEndOfStream;
  return call.finish(!out.empty());
}

bool ClsStream::ReadBytesUntilMatch(std::string_view match, std::uint64_t limitBytes,
                                    std::string& out, bool& isTooLong) {
  ClsCall call(*this, "ReadBytesUntilMatch");
  out.clear();
  isTooLong = false;
  if (!call.ok()) return false;
  if (match.empty()) {
    call.log().LogError("Match string is zero length.");
    return call.finish(false);
  }
  bool any = false;
  try {
    const std::uint64_t before = offset_;
    limit_ = limitBytes;
    receiveUntilMatch(match, out, call.log());
    any = offset_ != before;
  } catch (const std::bad_alloc&) {
    fail("Out of memory.");
    call.log().LogError("Out of memory.");
    out.clear();
  }
  limit_ = kNoLimit;
  isTooLong = std::exchange(isTooLong_, false);
  if (isTooLong && out.size() > kKeptBytes) out.erase(0, out.size() - kKeptBytes);
  return call.finish(any);
}

std::string_view ClsStream::peek(std::size_t size) {
  ClsCall call(*this, "peek");
  if (!call.ok()) return {};
  try {
    while (end_ - begin_ < size && readChunk(call.log())) {
    }
  } catch (const std::bad_alloc&) {
    fail("Out of memory.");
  }
  return unread();
}

}  // namespace keldane::mime
