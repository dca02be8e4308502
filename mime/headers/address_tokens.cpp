#include "mime/headers/address_tokens.h"

#include "mime/buffers/byte_search.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool endsWord(char c) {
  switch (c) {
    case '\t':
    case ' ':
    case '"':
    case ',':
    case ';':
    case '<':
    case '>':
    case '\0':
      return true;
    default:
      return false;
  }
}

std::size_t findFrom(std::string_view text, char c, std::size_t from) { return text.find(c, from); }

/// "/C=", "/PN=" and so on at the beginning: an X.400 address in quotes.
bool beginsLikeX400(std::string_view text) {
  constexpr std::size_t kLongestKey = 5;
  if (text.empty() || text[0] != '/') return false;
  std::size_t i = 1;
  while (i < text.size() &&
         ((text[i] >= 'A' && text[i] <= 'Z') || (text[i] >= 'a' && text[i] <= 'z')))
    ++i;
  return i > 1 && i <= 1 + kLongestKey && i < text.size() && text[i] == '=';
}

}  // namespace

bool isAddressWord(std::string_view word) {
  return word.find('@') != kNone || containsBytes(word, "CN=") || containsBytes(word, "PN=");
}

AddressTokens::Kind AddressTokens::parseNextToken() {
  while (position_ < text_.size() && isEngineSpace(text_[position_])) ++position_;
  token_ = {};
  if (position_ >= text_.size() || text_[position_] == '\0') return Kind::kEnd;
  switch (text_[position_]) {
    case '"':
      return takeQuoted();
    case '<':
      ++position_;
      return Kind::kLess;
    case '>':
      ++position_;
      return Kind::kGreater;
    case ',':
    case ';':
      ++position_;
      return Kind::kSeparator;
    case '=':
      if (text_.substr(position_, 2) == "=?") return takeEncodedWord();
      break;
    default:
      break;
  }
  return takeWord(Kind::kWord);
}

AddressTokens::Kind AddressTokens::takeWord(Kind kind) {
  const std::size_t start = position_;
  while (position_ < text_.size() && !endsWord(text_[position_])) ++position_;
  token_ = text_.substr(start, position_ - start);
  return kind;
}

AddressTokens::Kind AddressTokens::takeQuoted() {
  const std::size_t start = ++position_;
  bool escaped = false;
  while (position_ < text_.size() && text_[position_] != '"') {
    if (text_[position_] == '\\' && position_ + 1 < text_.size()) {
      escaped = true;
      ++position_;
    }
    ++position_;
  }
  token_ = text_.substr(start, position_ - start);
  if (position_ < text_.size()) ++position_;
  if (beginsLikeX400(token_) && position_ < text_.size() && text_[position_] == '@') {
    return takeX400();
  }
  if (escaped) {
    unquoted_.weakClear();
    for (std::size_t i = 0; i < token_.size(); ++i) {
      if (token_[i] == '\\' && i + 1 < token_.size()) ++i;
      unquoted_.appendChar(token_[i]);
    }
    token_ = unquoted_.view();
  }
  return Kind::kQuoted;
}

// The quotes belong to the address, so the token is the text as it stands, quotes and all.
AddressTokens::Kind AddressTokens::takeX400() {
  const std::size_t quote = static_cast<std::size_t>(token_.data() - text_.data()) - 1;
  (void)takeWord(Kind::kWord);
  token_ = text_.substr(quote, position_ - quote);
  return Kind::kWord;
}

// A broken word is passed over like a plain one, up to the next blank or mark: the address behind
// it can still be read.
AddressTokens::Kind AddressTokens::takeEncodedWord() {
  const std::size_t start = position_;
  const std::size_t encoding = findFrom(text_, '?', start + 2);
  if (encoding == kNone || encoding + 2 >= text_.size()) return takeWord(Kind::kBrokenEncodedWord);
  const char letter = static_cast<char>(text_[encoding + 1] | 0x20);
  if ((letter != 'b' && letter != 'q') || text_[encoding + 2] != '?') {
    return takeWord(Kind::kBrokenEncodedWord);
  }
  const std::size_t payload = encoding + 3;
  const std::size_t end = payload < noWordEndFrom_ ? findBytes(text_, "?=", payload) : kNone;
  if (end == kNone) {
    if (payload < noWordEndFrom_) noWordEndFrom_ = payload;
    return takeWord(Kind::kBrokenEncodedWord);
  }
  position_ = end + 2;
  token_ = text_.substr(start, position_ - start);
  return Kind::kEncodedWord;
}

bool AddressTokens::captureToGreater(std::string_view& raw) {
  // Remembered, since a text may hold any number of `<` and only one `>`, far away, or none.
  if (!greaterKnown_ || (nextGreater_ != kNone && nextGreater_ < position_)) {
    nextGreater_ = findFrom(text_, '>', position_);
    greaterKnown_ = true;
  }
  if (nextGreater_ == kNone) return false;
  raw = text_.substr(position_, nextGreater_ - position_);
  position_ = nextGreater_;
  return true;
}

}  // namespace keldane::mime
