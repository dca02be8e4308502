#include "mime/address_parser.h"

#include <memory>
#include <new>

#include "mime/byte_search.h"
#include "mime/content_coding.h"
#include "mime/encoded_word.h"
#include "mime/log_base.h"

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

// ---- Tokens

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

// ---- The list

/// The state machine over the tokens of one address field.
class AddressListParser {
 public:
  using Kind = AddressTokens::Kind;

  AddressListParser(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                    int enough, LogBase& log)
      : tokens_(text), list_(list), depth_(depth), enough_(enough), log_(log) {}

  bool run();

 private:
  enum class State { kStart, kAfterLess, kAddressDone, kName, kAfterAddress };

  bool atStart();
  bool afterLess();
  bool inName();
  bool takeAddress(std::string_view address, std::string_view more, State next);
  bool appendEntry();
  bool finishNameOnly();
  bool makeEntry();
  void again(State state) {
    state_ = state;
    repeat_ = true;
  }
  [[nodiscard]] bool hasName() const { return entry_ && !entry_->name().isEmpty(); }

  AddressTokens tokens_;
  ExtPtrArray<_tnEmailAddress>& list_;
  int depth_;
  int enough_;
  LogBase& log_;
  std::unique_ptr<_tnEmailAddress> entry_;
  State state_ = State::kStart;
  Kind kind_ = Kind::kEnd;
  bool repeat_ = false;
  bool lastWasWord_ = false;
};

bool AddressListParser::run() {
  while (list_.getSize() < enough_) {
    if (!repeat_) {
      lastWasWord_ = kind_ == Kind::kWord;
      kind_ = tokens_.parseNextToken();
    }
    repeat_ = false;
    if (kind_ == Kind::kEnd) return finishNameOnly();
    bool ok = true;
    switch (state_) {
      case State::kStart:
        ok = atStart();
        break;
      case State::kAfterLess:
        ok = afterLess();
        break;
      case State::kAddressDone:
        if (kind_ == Kind::kSeparator) {
          state_ = State::kStart;
        } else {
          again(State::kStart);
        }
        break;
      case State::kName:
        ok = inName();
        break;
      case State::kAfterAddress:
        if (kind_ == Kind::kGreater) {
          state_ = State::kAddressDone;
        } else {
          again(State::kStart);
        }
        break;
    }
    if (!ok) return false;
  }
  return true;
}

bool AddressListParser::makeEntry() {
  if (!entry_) entry_.reset(new (std::nothrow) _tnEmailAddress);
  return entry_ != nullptr;
}

bool AddressListParser::atStart() {
  switch (kind_) {
    case Kind::kWord:
      if (isAddressWord(tokens_.token())) {
        return takeAddress(tokens_.token(), {}, State::kAddressDone);
      }
      [[fallthrough]];
    case Kind::kQuoted:
    case Kind::kEncodedWord:
      state_ = State::kName;
      return makeEntry() && entry_->name_rw().setFromUtf8(tokens_.token());
    case Kind::kLess:
      state_ = State::kAfterLess;
      return true;
    default:
      return true;
  }
}

bool AddressListParser::afterLess() {
  const std::string_view word = tokens_.token();
  if (kind_ == Kind::kWord) {
    if (isAddressWord(word)) return takeAddress(word, {}, State::kAfterAddress);
    std::string_view raw;
    if (tokens_.captureToGreater(raw)) return takeAddress(word, raw, State::kAfterAddress);
  }
  again(State::kStart);
  return true;
}

bool AddressListParser::inName() {
  switch (kind_) {
    case Kind::kWord:
      if (isAddressWord(tokens_.token())) {
        return takeAddress(tokens_.token(), {}, State::kAddressDone);
      }
      [[fallthrough]];
    case Kind::kQuoted:
    case Kind::kEncodedWord:
      // Kept: a blank between two quoted or encoded parts of a name is lost.
      if (lastWasWord_) entry_->name_rw().appendUtf8(" ");
      return entry_->name_rw().appendUtf8(tokens_.token());
    case Kind::kLess:
      state_ = State::kAfterLess;
      return true;
    case Kind::kSeparator:
      state_ = State::kStart;
      return finishNameOnly();
    default:
      return true;
  }
}

bool AddressListParser::takeAddress(std::string_view address, std::string_view more, State next) {
  if (!makeEntry()) return false;
  entry_->address_rw().setFromUtf8(address);
  if (!more.empty()) entry_->address_rw().appendUtf8(more);
  state_ = next;
  return appendEntry();
}

bool AddressListParser::appendEntry() {
  if (list_.getSize() >= _tnEmailAddress::kMaxEntries) {
    log_.LogError("Too many addresses in one field.");
    return false;
  }
  return list_.appendObject(std::move(entry_));
}

// What looked like a name was an address without its brackets, or a whole entry in encoded words.
bool AddressListParser::finishNameOnly() {
  if (!hasName()) {
    entry_.reset();
    return true;
  }
  StringBuffer text;
  text.takeSb(entry_->name_rw().getUtf8Sb_rw());
  entry_->name_rw().clear();
  if (hasEncodedWordMark(text.view())) {
    ContentCoding coding;
    coding.QB_DecodeToUtf8(text, log_);
    const auto reading = entry_->readFirstEntry(text.view(), depth_ + 1, log_);
    if (reading != _tnEmailAddress::Reading::kDone) {
      entry_.reset();
      return reading == _tnEmailAddress::Reading::kNothingThere;
    }
  } else {
    entry_->address_rw().takeFromUtf8Sb(text);
  }
  return appendEntry();
}

bool parseRawAddressList(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                         int enough, LogBase& log) {
  if (depth > _tnEmailAddress::kMaxDepth) return false;
  const std::string_view whole = trimmed(text);
  if (whole.substr(0, 2) == "=?" && whole.size() > 4 && whole.substr(whole.size() - 2) == "?=") {
    StringBuffer decoded(whole);
    ContentCoding coding;
    coding.QB_DecodeToUtf8(decoded, log);
    return AddressListParser(decoded.view(), list, depth, enough, log).run();
  }
  return AddressListParser(text, list, depth, enough, log).run();
}

}  // namespace keldane::mime
