#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

/// UTF-8 when the bytes are that, otherwise ISO Latin 1, which all bytes are.
[[nodiscard]] mime::SourceEncoding encodingOf(std::string_view bytes);

/// Makes `bytes` the text of a source: UTF-8 with "\n" line ends. Answers how the bytes are had
/// back from it; path and place are the caller's to fill in. A copy of the bytes is made only where
/// the text does not give them back. Throws when memory runs out.
[[nodiscard]] SourceOrigin takeText(std::string& bytes, mime::SourceEncoding encoding);

/// The bytes that `text` was made from. Those of a text that is no longer the one that was made
/// then differ from `sha256` and `sizeBytes`; comparing is up to the caller.
[[nodiscard]] std::string restoredBytes(std::string_view text, const SourceOrigin& origin);

}  // namespace keldane
