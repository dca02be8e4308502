#pragma once

#include <cstdint>
#include <string_view>

#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// A cursor over a text of its own, for parsers that take one token after another. The captures
/// append to their destination, stop in front of the character found, and take the rest of the text
/// when it is missing.
class ParseEngine {
 public:
  ParseEngine() = default;
  explicit ParseEngine(std::string_view text) { setString(text); }

  /// Replaces the text; the cursor goes to its beginning.
  bool setString(std::string_view text);
  [[nodiscard]] bool atEnd() const { return position_ >= text_.getSize(); }
  /// True when the character was found.
  bool captureToNextChar(char ch, StringBuffer& dest);
  /// Stops at any of the characters of `set`; true when one was found.
  bool captureToNext4(std::string_view set, StringBuffer& dest);
  /// Characters between double quotes do not stop it.
  bool captureToNextUnquotedChar(char ch, StringBuffer& dest);
  void skipChars(std::string_view set);
  /// The character at the cursor, which moves on; 0 at the end.
  char consumeOneChar();
  [[nodiscard]] char peekChar() const { return text_.charAt(position_); }
  /// Moves to the next occurrence of `text`; the cursor stays when there is none.
  bool seek(std::string_view text);
  /// Removes the character from the rest of the text.
  void eliminateChar(char ch);
  /// What is left of the text. Valid until the text changes.
  [[nodiscard]] std::string_view rest() const { return text_.view().substr(position_); }
  [[nodiscard]] std::uint32_t position() const { return position_; }
  void setPosition(std::uint32_t position) {
    position_ = position < text_.getSize() ? position : text_.getSize();
  }

 private:
  StringBuffer text_;
  std::uint32_t position_ = 0;
};

}  // namespace keldane::mime
