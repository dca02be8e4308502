#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace keldane {

/// A statement under construction, in a buffer that is used again for the next one. Values of a
/// message go in through `addQuoted` only, which gives what `quotedInline` gives, in one pass and
/// without a copy of its own.
class StatementText {
 public:
  /// Begins a new statement. A buffer that a huge message has left behind is given back first.
  StatementText& start(std::string_view sql);
  StatementText& add(std::string_view sql);
  StatementText& addNumber(std::int64_t number);
  /// The value escaped and between double quotes, less every byte `omit` (a line end or NUL).
  StatementText& addQuoted(std::string_view value, char omit);
  StatementText& addQuoted(std::string_view value);

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// A text as a C string of it would be taken: up to its first NUL character.
[[nodiscard]] inline std::string_view upToNul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace keldane
