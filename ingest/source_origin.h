#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "mime/mail_source.h"

namespace keldane {

/// How the lines of a source ended in its file. Where they ended in several ways, the way of most.
enum class LineEnds { lf = 0, crlf = 1, cr = 2 };

/// What is known of the bytes that a message's source was made from, as they lay in their file:
/// enough to give them back. `text`, its line ends made `lineEnds` and its characters `encoding`,
/// is those bytes; where it is not (a NUL in it, mixed line ends, a stub that was put together),
/// `exactBytes` are.
struct SourceOrigin {
  std::string sha256;  ///< of the bytes; 32 bytes, not hexadecimal
  std::uint64_t sizeBytes = 0;
  mime::SourceEncoding encoding = mime::SourceEncoding::utf8;
  LineEnds lineEnds = LineEnds::lf;
  std::string path;
  std::optional<std::uint64_t> offsetBytes;  ///< of its separator line in an mbox
  std::optional<std::string> exactBytes;
};

}  // namespace keldane
