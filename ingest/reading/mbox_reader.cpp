#include "ingest/reading/mbox_reader.h"

#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "ingest/reading/resting_file.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";
/// Of a longer piece its end alone tells how lines end.
constexpr std::uint64_t kProbedBytes = 1U << 20U;

/// The bytes of a file from `begin` on.
PieceReader readFrom(const std::string& path, std::uint64_t begin) {
  struct File {
    ~File() {
      if (fd >= 0) ::close(fd);
    }
    int fd = -1;
    std::array<char, 65536> bytes{};
  };
  auto file = std::make_shared<File>();
  file->fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  return [file, at = static_cast<off_t>(begin)](std::string_view& piece) mutable -> Result<bool> {
    ssize_t got = 0;
    do {
      got = ::pread(file->fd, file->bytes.data(), file->bytes.size(), at);
    } while (got < 0 && errno == EINTR);
    if (got < 0) return Failure{std::generic_category().message(errno)};
    piece = {file->bytes.data(), static_cast<std::size_t>(got)};
    at += got;
    return got > 0;
  };
}

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

/// What the beginning of a file shows of its line ends.
struct LineEndSigns {
  bool crlfFrom = false;
  bool crFrom = false;
  bool lfFrom = false;
  bool cr = false;
  bool lf = false;

  void look(std::string_view piece) {
    crlfFrom = crlfFrom || holds(piece, "\r\nFrom ");
    crFrom = crFrom || holds(piece, "\rFrom ");
    lfFrom = lfFrom || holds(piece, "\nFrom ");
    cr = cr || holds(piece, "\r");
    lf = lf || holds(piece, "\n");
  }
  [[nodiscard]] std::string separator() const {
    if (crlfFrom) return "\r\nFrom ";
    if (crFrom) return "\rFrom ";
    if (lfFrom) return "\nFrom ";
    // The word may have stood in the middle of a line; then the other line ends tell.
    return cr && !lf ? "\rFrom " : "\nFrom ";
  }
};

}  // namespace

Result<bool> MboxReader::open() {
  if (reader_) {
    LineEndSigns signs;
    stream_.setSourceReader(std::move(reader_));
    signs.look(stream_.peek(kProbedBytes));
    separator_ = signs.separator();
    if (!stream_.peek(1).empty()) return true;
    const std::string failure = stream_.failureText();
    if (!failure.empty()) return Failure{failure};
    return false;
  }
  // Opening a pipe would wait for its writer.
  const Result<FileState> state = stateOf(path_);
  if (!state) return Failure{state.error()};
  if (state->sizeBytes == 0) return false;
  mime::TnoStream probe;
  probe.setSourceFile(path_);
  LineEndSigns signs;
  std::string piece;
  // Up to the first message's line, and then up to the second's.
  for (int i = 0; i < 2 && !probe.EndOfStream(); ++i) {
    bool isTooLong = false;
    if (!probe.ReadBytesUntilMatch(kFrom, kProbedBytes, piece, isTooLong) && !probe.EndOfStream()) {
      return Failure{probe.failureText()};
    }
    // A file that is all one piece need not be gone through again: it may be the image of a disk.
    isOneLongPiece_ = i == 0 && probe.EndOfStream() && probe.offsetBytes() > limitBytes_;
    signs.look(piece);
  }
  separator_ = signs.separator();
  if (beginBytes_ > 0) {
    isOneLongPiece_ = false;
    stream_.setSourceReader(readFrom(path_, beginBytes_));
  } else {
    stream_.setSourceFile(path_);
  }
  return true;
}

/// Of the bytes up to the separator's word, which may be no separator.
bool MboxReader::endsWithSeparator(std::string_view bytes) {
  bytes.remove_suffix(separator_.size());
  // Where the file's line ends are not all of one kind.
  if (separator_.starts_with('\n') && bytes.ends_with('\r')) bytes.remove_suffix(1);
  const bool isBehindBlankLine = bytes.empty() || bytes.ends_with('\n') || bytes.ends_with('\r');
  return isSeparator(stream_.peek(kSeparatorAheadBytes).substr(0, kSeparatorAheadBytes),
                     isBehindBlankLine);
}

/// Up to the next separator or the end of the file. False when reading fails.
bool MboxReader::readPiece(MessagePiece& piece) {
  std::string bytes;
  do {
    bool isTooLong = false;
    const std::uint64_t left = piece.isTooLong ? 0 : limitBytes_ - piece.bytes.size();
    if (!stream_.ReadBytesUntilMatch(separator_, left, bytes, isTooLong)) return false;
    piece.isTooLong = piece.isTooLong || isTooLong;
    if (piece.isTooLong) {
      piece.bytes.clear();
    } else if (piece.bytes.empty()) {
      piece.bytes.swap(bytes);
    } else {
      piece.bytes += bytes;
    }
    const std::string_view end = piece.isTooLong ? bytes : piece.bytes;
    if (end.ends_with(separator_) && endsWithSeparator(end)) {
      if (!piece.isTooLong) piece.bytes.resize(piece.bytes.size() - separator_.size());
      return true;
    }
    // Whether a source in pieces has ended shows only with a look behind what it gave.
  } while (!stream_.peek(1).empty());
  return stream_.failureText().empty();
}

std::optional<MessagePiece> MboxReader::next() {
  if (isDone_ || stream_.EndOfStream()) return std::nullopt;
  MessagePiece piece;
  if (isOneLongPiece_) {
    isDone_ = piece.isTooLong = true;
    return piece;
  }
  const std::uint64_t begin = stream_.offsetBytes();
  if (!readPiece(piece)) {
    failure_ = stream_.failureText();
    return std::nullopt;
  }
  // The separator, all but its line, was handed out with the piece before.
  piece.isLast = isOneLongPiece_ || stream_.peek(1).empty();
  piece.offsetBytes = beginBytes_ + (begin < kFrom.size() ? 0 : begin - kFrom.size());
  return piece;
}

}  // namespace keldane
