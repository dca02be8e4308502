#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/result.h"
#include "ingest/message_file.h"
#include "mime/tno_stream.h"

namespace keldane {

/// Cuts a file of many messages at its separator lines, which are all lines that begin with "From
/// ": nothing looks at the rest of the line. Reads piece by piece; memory is of the order of the
/// largest message, whatever the size of the file.
class MboxReader {
 public:
  explicit MboxReader(std::string path) : path_(std::move(path)) {}

  /// Finds out how the file's lines end. False: there is nothing to cut. Fails when the file cannot
  /// be read.
  [[nodiscard]] Result<bool> open();
  /// The next message, line ends "\n", beginning with what is left of its separator line (the first
  /// one: with the file's first line). Absent at the end of the file, and when reading fails, which
  /// `failure` then tells.
  [[nodiscard]] std::optional<MessagePiece> next();
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  std::string path_;
  std::string separator_;
  std::string failure_;
  mime::TnoStream stream_;
};

}  // namespace keldane
