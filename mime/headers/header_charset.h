#pragma once

#include <string_view>

namespace keldane::mime {

class LogBase;
class StringBuffer;

/// What is known about a header when its charset is to be decided.
struct HeaderCharsetInput {
  std::string_view header;
  /// The header, and the body behind it when the caller passed it.
  std::string_view wholeText;
  /// 0: not known.
  int knownCodePage = 0;
  /// Name of the charset of an earlier part; null or empty: none.
  StringBuffer* charsetClue = nullptr;
};

struct HeaderCharset {
  /// 0: no decision.
  int codePage = 0;
  bool is7bit = true;
  /// The header is raw ISO-2022-JP, to be converted from 50222 as a whole.
  bool isRawIso2022Jp = false;
};

/// The charset of a header by a fixed order of evidence: its encoded words, what the caller knows,
/// the shape of UTF-8, labels in the header and behind it, the clue, the process code page.
[[nodiscard]] HeaderCharset decideHeaderCharset(const HeaderCharsetInput& input, LogBase& log);

}  // namespace keldane::mime
