#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace keldane::mime {

class LogBase;
class StringBuffer;

/// "?B?", "?b?", "?Q?" or "?q?" occurs: what tells a text with encoded words from any other.
[[nodiscard]] inline bool hasEncodedWordMark(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  // The last place where a mark fits is three bytes before the end.
  while (end - p >= 3) {
    p = static_cast<const char*>(std::memchr(p, '?', static_cast<std::size_t>(end - p - 2)));
    if (!p) return false;
    const char encoding = static_cast<char>(p[1] | 0x20);
    if ((encoding == 'b' || encoding == 'q') && p[2] == '?') return true;
    ++p;
  }
  return false;
}

/// Decodes encoded words in place; does nothing unless the text holds one.
bool qbDecode(StringBuffer& text, LogBase& log);

}  // namespace keldane::mime
