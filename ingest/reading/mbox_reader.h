#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/files.h"
#include "base/result.h"
#include "ingest/reading/message_file.h"
#include "mime/tno_stream.h"

namespace keldane {

/// Cuts a file of many messages at its separator lines (see `isSeparator`). Reads piece by piece;
/// memory is of the order of the largest message, whatever the size of the file, and never much
/// above the limit of one.
class MboxReader {
 public:
  /// A piece of more than `limitBytes` is passed over.
  MboxReader(std::string path, std::uint64_t limitBytes)
      : path_(std::move(path)), limitBytes_(limitBytes) {}
  /// The same from a separator line in the middle of the file on; how its lines end shows at its
  /// beginning all the same.
  MboxReader(std::string path, std::uint64_t limitBytes, std::uint64_t beginBytes)
      : path_(std::move(path)), limitBytes_(limitBytes), beginBytes_(beginBytes) {}
  /// The same for what comes out of a packed file.
  MboxReader(PieceReader reader, std::uint64_t limitBytes)
      : reader_(std::move(reader)), limitBytes_(limitBytes) {}

  /// Finds out how the file's lines end. False: there is nothing to cut. Fails, with the reason
  /// alone, when the file cannot be read.
  [[nodiscard]] Result<bool> open();
  /// The next piece, without the line end before the next separator, beginning with what is left of
  /// its own separator line (the first one: with the file's first line). Absent at the end of the
  /// file, and when reading fails, which `failure` then tells.
  [[nodiscard]] std::optional<MessagePiece> next();
  /// Nothing is left behind the piece handed out last.
  [[nodiscard]] bool isAtEnd() const { return isOneLongPiece_ || stream_.EndOfStream(); }
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  [[nodiscard]] bool readPiece(MessagePiece& piece);
  [[nodiscard]] bool endsWithSeparator(std::string_view bytes);

  std::string path_;
  PieceReader reader_;  ///< in place of the path, until it is opened
  std::uint64_t limitBytes_;
  std::uint64_t beginBytes_ = 0;
  std::string separator_;
  std::string failure_;
  mime::TnoStream stream_;
  bool isOneLongPiece_ = false;  ///< longer than the limit, and not yet handed out
  bool isDone_ = false;
};

}  // namespace keldane
