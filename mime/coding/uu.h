#pragma once

#include <cstddef>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class StringBuffer;

/// The plain decoder: a "begin" line with mode and name, lines that begin with their length, "end".
class Uu {
 public:
  /// Decodes the first file at or after the start of `text` and appends its bytes to `out`; `name`
  /// is replaced by its name. Answers the offset behind its "end" line (or the end of the text), or
  /// npos when there is no "begin" line.
  static std::size_t uu_decode2(std::string_view text, DataBuffer& out, StringBuffer& name);
  /// Offset of the next "begin" line with a mode; npos when there is none.
  static std::size_t findBegin(std::string_view text);
  /// Bytes from the "begin" line at the start of `text` to behind its "end" line; 0 when a line
  /// between them is not encoded, so that the text only speaks of such files.
  static std::size_t sizeOfFile(std::string_view text);
};

}  // namespace keldane::mime
