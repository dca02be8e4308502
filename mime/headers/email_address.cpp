#include "mime/headers/email_address.h"

#include <memory>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"
#include "mime/headers/address_forms.h"
#include "mime/headers/address_tokens.h"
#include "mime/limits.h"

namespace keldane::mime {

namespace {

/// A value that is one encoded word, or several, is decoded before it is read: it becomes
/// `decoded`. Any other value stays.
std::string_view decodeWhole(std::string_view text, StringBuffer& decoded, LogBase& log) {
  const std::string_view whole = trimmed(text);
  if (whole.size() <= 4 || !whole.starts_with("=?") || !whole.ends_with("?=")) return text;
  decoded.setString(whole);
  ContentCoding().QB_DecodeToUtf8(decoded, log);
  return decoded.view();
}

}  // namespace

/// The state machine over the tokens of one address field.
class AddressListParser {
 public:
  using Kind = AddressTokens::Kind;

  AddressListParser(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                    int enough, LogBase& log)
      : tokens_(text), list_(list), depth_(depth), enough_(enough), log_(log) {}

  bool run();
  /// What is left of the text, if it is more than separators, as one entry.
  bool keepRest();

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
  /// The token that belongs here leads on; any other begins the next entry.
  void skip(Kind wanted, State next) {
    if (kind_ == wanted) {
      state_ = next;
    } else {
      again(State::kStart);
    }
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
        skip(Kind::kSeparator, State::kStart);
        break;
      case State::kName:
        ok = inName();
        break;
      case State::kAfterAddress:
        skip(Kind::kGreater, State::kAddressDone);
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
      // A blank between two quoted or encoded parts of a name is lost.
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

bool AddressListParser::appendEntry() { return list_.appendObject(std::move(entry_)); }

bool AddressListParser::keepRest() {
  const std::size_t begin = tokens_.rest().find_first_not_of(">,; \t\r\n");
  if (list_.getSize() < enough_ || begin == std::string_view::npos) return true;
  log_.LogError("Too many addresses in one field -- the rest is kept as one.");
  return makeEntry() && entry_->address_rw().setFromUtf8(trimmed(tokens_.rest().substr(begin))) &&
         appendEntry();
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

namespace {

/// The list grammar. Names come out as they stand, encoded words and all. Reading ends, true, as
/// soon as `list` holds `enough` entries; at `limits::kMaxAddresses` the rest becomes one more.
bool parseRawAddressList(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                         int enough, LogBase& log) {
  if (depth > _tnEmailAddress::kMaxDepth) return false;
  StringBuffer decoded;
  AddressListParser parser(decodeWhole(text, decoded, log), list, depth, enough, log);
  return parser.run() && (enough == 1 || parser.keepRest());
}

}  // namespace

bool _tnEmailAddress::loadSingleEmailAddr(std::string_view text, int depth, LogBase& log) {
  return readFirstEntry(text, depth, log) == Reading::kDone;
}

_tnEmailAddress::Reading _tnEmailAddress::readFirstEntry(std::string_view text, int depth,
                                                         LogBase& log) {
  const LogContextExitor context(log, "loadSingleEmailAddr");
  StringBuffer decoded;
  // Before anything is masked: a marker inside a word would not come out of its decoding whole.
  text = decodeWhole(text, decoded, log);
  AddressForms forms;
  ExtPtrArray<_tnEmailAddress> entries;
  const bool finished = parseRawAddressList(forms.prepare(text), entries, depth + 1, 1, log);
  _tnEmailAddress* first = entries.elementAt(0);
  if (!first) return finished ? Reading::kNothingThere : Reading::kGaveUp;
  forms.restore(first->name_);
  forms.restore(first->address_);
  first->name_.qbDecode(log);
  if (first->name_.isEmpty() && first->address_.containsSubstringUtf8("<") &&
      first->address_.containsSubstringUtf8(">") && !first->address_.equalsUtf8(trimmed(text))) {
    first->readFirstEntry(StringBuffer(first->address_.utf8View()).view(), depth + 1, log);
  }
  name_.copyFromX(first->name_);
  address_.copyFromX(first->address_);
  return Reading::kDone;
}

bool _tnEmailAddress::parseAndLoadList(std::string_view text, ExtPtrArray<_tnEmailAddress>& list,
                                       int depth, LogBase& log) {
  const LogContextExitor context(log, "parseAndLoadList");
  const int known = list.getSize();
  const bool ok = parseRawAddressList(text, list, depth, limits::kMaxAddresses, log);
  for (int i = known; i < list.getSize(); ++i) list.elementAt(i)->name_.qbDecode(log);
  return ok;
}

namespace {

bool needsQuotes(std::string_view name) {
  return name.find_first_of(" ()<>@,;:\\\".[]") != std::string_view::npos;
}

bool needsNoQuotesToBeKept(std::string_view name) {
  return !isAllAscii(name) || name.find_first_of("\t\r\n") != std::string_view::npos;
}

}  // namespace

void _tnEmailAddress::emitSelfAsMimeField(std::string& out) const {
  const std::string_view name = name_.utf8View();
  const std::string_view address = address_.utf8View();
  if (name.empty()) {
    out.append(address);
    return;
  }
  if (!needsNoQuotesToBeKept(name) && needsQuotes(name)) {
    out.append("\"").append(name).append("\"");
  } else {
    out.append(name);
  }
  out.append(" <").append(address).append(">");
}

}  // namespace keldane::mime
