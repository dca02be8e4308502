#pragma once

#include <cstddef>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class LogBase;

/// Where the header of an entity ends.
struct HeaderEnd {
  /// What was given, or the repaired copy of all of it.
  std::string_view text;
  /// Size of the header in `text`; npos when no end was found.
  std::size_t size = std::string_view::npos;
  std::string_view terminator;
  /// `text` is known to hold no CR CR and no LF LF; told when line ends are to be fixed.
  bool noPairs = false;

  [[nodiscard]] bool found() const { return size != std::string_view::npos; }
};

/// Looks for the blank line behind a header among the line ends that mail really has, and repairs
/// the line ends of the whole text where that is needed to find it; the copy is then in `repaired`,
/// which must outlive the result.
///
/// `fixLineEnds`: also repairs a text that has an end but holds CR CR or LF LF anywhere.
/// `noPairs`: the caller knows that it holds neither. False only when memory runs out.
bool findEndOfHeader2(std::string_view text, bool fixLineEnds, bool noPairs, DataBuffer& repaired,
                      HeaderEnd& end, LogBase& log);

}  // namespace keldane::mime
