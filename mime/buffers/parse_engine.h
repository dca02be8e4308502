#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// A cursor over a text that somebody else keeps, for parsers that take one token after another.
/// The captures stop in front of the character found, and take the rest of the text when it is
/// missing. A copy is a second cursor, to look ahead with.
class ParseEngine {
 public:
  ParseEngine() = default;
  explicit ParseEngine(std::string_view text) : text_(text) {}

  /// Replaces the text; the cursor goes to its beginning.
  void setString(std::string_view text) {
    text_ = text;
    position_ = 0;
  }
  [[nodiscard]] bool atEnd() const { return position_ >= text_.size(); }
  [[nodiscard]] std::size_t position() const { return position_; }
  [[nodiscard]] std::string_view rest() const { return text_.substr(position_); }
  /// 0 at the end.
  [[nodiscard]] char peekChar() const { return atEnd() ? '\0' : text_[position_]; }

  std::string_view captureToNextChar(char ch) { return capture(rest().find(ch)); }
  /// Stops at any of the characters of `set`.
  std::string_view captureToNext4(std::string_view set) {
    return capture(rest().find_first_of(set));
  }
  /// Characters between double quotes do not stop it. With `exceptEscaped` a backslash takes what
  /// follows it, quotes too.
  std::string_view captureToNextUnquotedChar(char ch, bool exceptEscaped = false) {
    const std::string_view left = rest();
    bool quoted = false;
    std::size_t i = 0;
    for (; i < left.size() && (quoted || left[i] != ch); ++i) {
      if (exceptEscaped && left[i] == '\\') {
        ++i;
      } else if (left[i] == '"') {
        quoted = !quoted;
      }
    }
    return capture(i);
  }
  std::string_view captureN(std::size_t n) { return capture(n); }
  void skipChars(std::string_view set) { (void)capture(rest().find_first_not_of(set)); }
  /// The character at the cursor, which moves on; 0 at the end.
  char consumeOneChar() { return atEnd() ? '\0' : text_[position_++]; }
  /// Moves on when it stands at this character.
  bool consumeIf(char ch) {
    if (atEnd() || text_[position_] != ch) return false;
    ++position_;
    return true;
  }
  /// Moves to the next occurrence of `text`; the cursor stays when there is none.
  bool seek(std::string_view text) {
    const std::size_t at = findBytes(text_, text, position_);
    if (at == std::string_view::npos) return false;
    position_ = at;
    return true;
  }
  /// Goes on with the rest of the text without that character. `storage` keeps that text, if there
  /// was anything to remove; it may be what keeps the text already.
  void eliminateChar(char ch, StringBuffer& storage) {
    if (rest().find(ch) == std::string_view::npos) return;
    storage.setString(rest());
    storage.removeCharOccurances(ch);
    setString(storage.view());
  }

 private:
  std::string_view capture(std::size_t n) {
    const std::string_view taken = rest().substr(0, n);
    position_ += taken.size();
    return taken;
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace keldane::mime
