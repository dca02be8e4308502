#pragma once

#include <string_view>

namespace keldane::mime {

class StringBuffer;

/// What the engine wants to know of an HTML text without reading it as HTML.
class _tnHtmlHelp {
 public:
  /// Replaces `out` by the charset that a META tag declares, in either form (`http-equiv` with a
  /// `content`, or a `charset` attribute). False, and `out` empty, when none does. Forgiving: case,
  /// missing quotes and unclosed tags do not matter; comments and everything from the body on do
  /// not count. One pass.
  static bool getCharset(std::string_view html, StringBuffer& out);
};

}  // namespace keldane::mime
