#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "mime/charsets/tn_charset.h"
#include "mime/cls_base.h"

namespace keldane::mime {

/// A regular file, read from its beginning to the size that it has when it is opened.
class _tnFileDataSource {
 public:
  _tnFileDataSource() = default;
  _tnFileDataSource(const _tnFileDataSource&) = delete;
  _tnFileDataSource& operator=(const _tnFileDataSource&) = delete;
  ~_tnFileDataSource() { close(); }

  /// False, with the system's reason in the log, for anything but a readable regular file.
  bool openDataSourceFile(const std::string& path, LogBase& log);
  [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
  [[nodiscard]] std::uint64_t remaining() const { return remaining_; }
  /// Bytes read, at most `n`; 0 at the end, also when the file has become shorter; -1 on an error.
  long read(char* to, std::size_t n, LogBase& log);
  void close();
  /// The system's reason for the last failure.
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
  int fd_ = -1;
  std::uint64_t remaining_ = 0;
};

/// Cuts a file into pieces that end with a match. The file is opened by the first read. Memory is
/// of the order of the largest piece, and time in proportion to the file, whatever the match and
/// wherever it stands. Every call takes the object's lock.
class ClsStream : public ClsBase {
 public:
  enum ReadFailReason : int {
    kNone = 0,
    kTimedOut = 1,
    kAborted = 2,
    kEndOfStream = 3,
    kFailed = 4,
    kNoSource = 5,
  };

  ClsStream();

  /// Starts over with this file; opens nothing.
  void put_SourceFile(std::string_view path);
  /// Starts over with what the reader gives, which is asked from now to its end, once.
  void put_SourceReader(PieceReader reader);
  /// The charset of the file's text; utf-8 unless set. False for an unknown name.
  bool put_StringCharset(std::string_view name);
  /// Replaces `out` by the text up to and including the next `match`, or by the rest of the file
  /// when there is none. A BOM at its beginning and NUL bytes at its end are left out; nothing else
  /// is changed or checked while the charset is utf-8. False, and `out` empty, when nothing is left
  /// or the file cannot be read; the file's bytes are then still to be handed out.
  bool ReadUntilMatch(std::string_view match, std::string& out);
  /// Replaces `out` by the bytes of the file up to and including the next `match`, or up to its
  /// end; nothing is left out, and the charset does not matter. A piece of more than `limitBytes`
  /// is passed over without being held: `isTooLong` says so, and `out` has its last 4096 bytes.
  /// False, and `out` empty, when nothing is left or the file cannot be read.
  bool ReadBytesUntilMatch(std::string_view match, std::uint64_t limitBytes, std::string& out,
                           bool& isTooLong);
  /// The next bytes, at least `size` of them where the source has so many, without handing them
  /// out. Valid until the next call; empty at the end and when the source cannot be read.
  [[nodiscard]] std::string_view peek(std::size_t size);
  /// The source has been read to its end and every byte of it handed out. Stays false for a file
  /// that cannot be read.
  [[nodiscard]] bool get_EndOfStream() const;
  [[nodiscard]] ReadFailReason readFailReason() const;
  /// Why the file could not be read, in the system's words; empty unless a read has failed.
  [[nodiscard]] std::string failureText() const;
  /// Offset in the file of the next byte to be handed out.
  [[nodiscard]] std::uint64_t offsetBytes() const;
  /// Closes the source and forgets what was read; path and charset stay, a reader goes.
  void Reset();

 private:
  static constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

  ~ClsStream() override;

  [[nodiscard]] std::string_view unread() const { return {buffer_.get() + begin_, end_ - begin_}; }
  bool receiveUntilMatch(std::string_view match, std::string& out, LogBase& log);
  bool readChunk(LogBase& log);
  bool readPiece();
  bool fail(const std::string& reason);
  void makeRoom(std::size_t room);
  void moveAside(std::size_t size, std::size_t kept);
  void handOut(std::size_t size, std::string& out);
  void putBack();
  void forget();

  std::string path_;
  _tnCharset charset_;
  _tnFileDataSource source_;
  PieceReader reader_;  ///< in place of the file
  // Bytes read and not yet handed out stand in `side_` and then in the buffer from `begin_` to
  // `end_`. Between calls `side_` is empty.
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::vector<std::string> side_;
  std::uint64_t sideBytes_ = 0;
  std::uint64_t limit_ = kNoLimit;  ///< of the piece at hand
  bool isTooLong_ = false;          ///< the piece at hand is; its beginning is gone
  std::uint64_t offset_ = 0;
  bool sourceAtEnd_ = false;
  ReadFailReason failReason_ = kNone;
  std::string failureText_;
};

}  // namespace keldane::mime
