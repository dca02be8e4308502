#include "archive/source_origin.h"

#include <algorithm>

#include "base/sha256.h"
#include "base/text.h"

namespace keldane {
namespace {

struct LineEndCounts {
  std::size_t lf = 0;
  std::size_t crlf = 0;
  std::size_t cr = 0;

  [[nodiscard]] LineEnds most() const {
    if (crlf > lf && crlf >= cr) return LineEnds::crlf;
    return cr > lf ? LineEnds::cr : LineEnds::lf;
  }
  [[nodiscard]] bool mixed() const { return (lf != 0) + (crlf != 0) + (cr != 0) > 1; }
};

LineEndCounts countLineEnds(std::string_view bytes) {
  LineEndCounts counts;
  for (std::size_t at = bytes.find('\r'); at != std::string_view::npos;
       at = bytes.find('\r', at + 1)) {
    ++(bytes.substr(at + 1).starts_with('\n') ? counts.crlf : counts.cr);
  }
  counts.lf = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) - counts.crlf;
  return counts;
}

/// The inverse of `latin1ToUtf8`. A character that is none of ISO Latin 1 was in no such text; it
/// stays as it is.
std::string utf8ToLatin1(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto first = static_cast<unsigned char>(text[at]);
    if ((first == 0xC2 || first == 0xC3) && at + 1 < text.size()) {
      const auto second = static_cast<unsigned char>(text[++at]);
      bytes += static_cast<char>((first & 0x03U) << 6U | (second & 0x3FU));
    } else {
      bytes += static_cast<char>(first);
    }
  }
  return bytes;
}

}  // namespace

mime::SourceEncoding encodingOf(std::string_view bytes) {
  return isValidUtf8(bytes) ? mime::SourceEncoding::utf8 : mime::SourceEncoding::latin1;
}

SourceOrigin takeText(std::string& bytes, mime::SourceEncoding encoding) {
  SourceOrigin origin;
  origin.sha256 = sha256(bytes);
  origin.sizeBytes = bytes.size();
  origin.encoding = encoding;
  const LineEndCounts counts = countLineEnds(bytes);
  origin.lineEnds = counts.most();
  // A database's text keeps no NUL.
  if (counts.mixed() || bytes.find('\0') != std::string::npos) origin.exactBytes = bytes;
  if (encoding == mime::SourceEncoding::latin1) bytes = latin1ToUtf8(bytes);
  normalizeLineEnds(bytes);
  return origin;
}

std::string restoredBytes(std::string_view text, const SourceOrigin& origin) {
  if (origin.exactBytes) return *origin.exactBytes;
  const bool isLatin1 = origin.encoding == mime::SourceEncoding::latin1;
  std::string bytes = isLatin1 ? utf8ToLatin1(text) : std::string(text);
  if (origin.lineEnds == LineEnds::cr) std::replace(bytes.begin(), bytes.end(), '\n', '\r');
  if (origin.lineEnds == LineEnds::crlf) replaceAll(bytes, "\n", "\r\n");
  return bytes;
}

}  // namespace keldane
