#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/files.h"

namespace keldane::mime {

class TnStream;

/// Reads a file, or another source, in pieces, each up to and including the next match of a text.
/// Memory is of the order of the largest piece, whatever the size of the file.
class TnoStream {
 public:
  TnoStream();
  ~TnoStream();
  TnoStream(const TnoStream&) = delete;
  TnoStream& operator=(const TnoStream&) = delete;

  /// Names the file; it is opened by the first read.
  void setSourceFile(std::string_view path);
  /// Takes what the reader gives instead of a file, from now to its end, once. No piece that it
  /// gives with "true" may be empty.
  void setSourceReader(PieceReader reader);
  /// The text up to and including the next `match`; the rest of the file when there is none.
  /// nullopt when nothing is left, the match is empty, or the file cannot be read: with a file that
  /// cannot be read `EndOfStream` stays false, so a loop must look at this result.
  std::optional<std::string> ReadUntilMatch(std::string_view match);
  /// Replaces `bytes` by those of the file up to and including the next `match`, as they stand; by
  /// the rest of the file when there is none. A piece of more than `limitBytes` is passed over
  /// without being held: `isTooLong` says so, and `bytes` are its last ones, at most 4096. False
  /// when nothing is left or the file cannot be read.
  bool ReadBytesUntilMatch(std::string_view match, std::uint64_t limitBytes, std::string& bytes,
                           bool& isTooLong);
  /// The next bytes, at least `size` of them where the source has so many, without handing them
  /// out. Valid until the next call; empty at the end and when the source cannot be read.
  std::string_view peek(std::size_t size);
  /// Why the file could not be read, in the system's words; empty unless a read has failed.
  std::string failureText() const;
  /// True once every byte of the source has been handed out and its end is known: that of a reader
  /// shows with the read behind it.
  bool EndOfStream() const;
  /// Closes the file and starts over; the path stays.
  void Reset();
  /// Offset in the file of the next byte that will be handed out.
  std::uint64_t offsetBytes() const;

  bool LastMethodSuccess() const;
  std::string LastErrorText() const;

 private:
  std::unique_ptr<TnStream> impl_;
};

}  // namespace keldane::mime
