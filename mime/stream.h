#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mime/cls_base.h"
#include "mime/tn_charset.h"

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

 private:
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
  /// The charset of the file's text; utf-8 unless set. False for an unknown name.
  bool put_StringCharset(std::string_view name);
  /// Replaces `out` by the text up to and including the next `match`, or by the rest of the file
  /// when there is none. A BOM at its beginning and NUL bytes at its end are left out; nothing else
  /// is changed or checked while the charset is utf-8. False, and `out` empty, when nothing is left
  /// or the file cannot be read; the file's bytes are then still to be handed out.
  bool ReadUntilMatch(std::string_view match, std::string& out);
  /// The source has been read to its end and every byte of it handed out. Stays false for a file
  /// that cannot be read.
  [[nodiscard]] bool get_EndOfStream() const;
  [[nodiscard]] ReadFailReason readFailReason() const;
  /// Offset in the file of the next byte to be handed out.
  [[nodiscard]] std::uint64_t offsetBytes() const;
  /// Closes the source and forgets what was read; path and charset stay.
  void Reset();

 private:
  ~ClsStream() override;

  [[nodiscard]] std::string_view unread() const { return {buffer_.get() + begin_, end_ - begin_}; }
  bool receiveUntilMatch(std::string_view match, std::string& out, LogBase& log);
  bool readChunk(LogBase& log);
  void makeRoom();
  void handOut(std::size_t size, std::string& out);
  void putBack();
  void forget();

  std::string path_;
  _tnCharset charset_;
  _tnFileDataSource source_;
  // Bytes read and not yet handed out stand in `side_` and then in the buffer from `begin_` to
  // `end_`. Between calls `side_` is empty.
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::vector<std::string> side_;
  std::uint64_t offset_ = 0;
  bool sourceAtEnd_ = false;
  ReadFailReason failReason_ = kNone;
};

}  // namespace keldane::mime
