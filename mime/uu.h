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
};

}  // namespace keldane::mime
