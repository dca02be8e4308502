#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// Cuts the text of an address field into tokens. A view on the text: no copies but for quoted
/// strings. Each token is found in time linear in its own length. It keeps its own place in the
/// text: one test a byte tells where a word ends, and what was searched in vain is not searched
/// again.
class AddressTokens {
 public:
  enum class Kind {
    kWord = 1,
    kQuoted = 2,
    kEncodedWord = 3,
    kLess = 4,
    kGreater = 5,
    kSeparator = 6,
    kEnd = 7,
    kBrokenEncodedWord = 8,
  };

  explicit AddressTokens(std::string_view text) : text_(text) {}

  /// Moves to the next token.
  Kind parseNextToken();
  /// Text of the last word, quoted string (without its quotes and backslashes) or encoded word (as
  /// it stands). Valid until the next token.
  [[nodiscard]] std::string_view token() const { return token_; }
  /// What lies behind the last token.
  [[nodiscard]] std::string_view rest() const {
    return text_.substr(std::min(position_, text_.size()));
  }
  /// Sets `raw` to the text from here to the next `>`, where the cursor then stands. False, and
  /// nothing changed, when there is none.
  bool captureToGreater(std::string_view& raw);

 private:
  Kind takeWord(Kind kind);
  Kind takeQuoted();
  Kind takeEncodedWord();
  Kind takeX400();

  std::string_view text_;
  std::size_t position_ = 0;
  std::string_view token_;
  StringBuffer unquoted_;
  // No word end ("?=") at or behind this place.
  std::size_t noWordEndFrom_ = std::string_view::npos;
  // Place of the first `>` at or behind the place of the last search for one.
  std::size_t nextGreater_ = 0;
  bool greaterKnown_ = false;
};

/// A word that the grammar takes for an address: it holds `@`, "CN=" or "PN=".
[[nodiscard]] bool isAddressWord(std::string_view word);

}  // namespace keldane::mime
