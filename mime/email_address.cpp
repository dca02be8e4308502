#include "mime/email_address.h"

#include <algorithm>

#include "mime/address_parser.h"
#include "mime/byte_search.h"
#include "mime/log_base.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kAt = "_ATSYM_";
constexpr std::string_view kLess = "_LT9201344_";
constexpr std::string_view kGreater = "_GT9201344_";
constexpr std::string_view kAddress = "_EMAIL_ADDRESS_";
constexpr std::string_view kEscapedQuote = "_ESCAPED_DQUOTE_";
constexpr std::string_view kComma = "_COMMA_IN_ADDR_";
constexpr std::string_view kLocalPart = "_QUOTED_LOCAL_PART_";

std::ptrdiff_t countOf(std::string_view text, char c) {
  return std::count(text.begin(), text.end(), c);
}

bool isEscaped(std::string_view text, std::size_t at) {
  std::size_t backslashes = 0;
  while (backslashes < at && text[at - 1 - backslashes] == '\\') ++backslashes;
  return backslashes % 2 == 1;
}

/// Next quote at or behind `from` that no backslash takes.
std::size_t findQuote(std::string_view text, std::size_t from) {
  for (std::size_t i = from; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i;
    }
  }
  return kNone;
}

/// Replaces `@`, and the angle brackets when `brackets`, by their markers.
void appendMasked(std::string_view text, bool brackets, StringBuffer& out) {
  std::size_t done = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string_view mark;
    if (text[i] == '@') mark = kAt;
    if (brackets && text[i] == '<') mark = kLess;
    if (brackets && text[i] == '>') mark = kGreater;
    if (mark.empty()) continue;
    out.append(text.substr(done, i - done));
    out.append(mark);
    done = i + 1;
  }
  out.append(text.substr(done));
}

/// Brings the odd forms of a single address into the shape that the list grammar reads, with
/// markers in place of what would mislead it, and puts the originals back afterwards.
class OddForms {
 public:
  /// A view of the prepared text, which is `text` itself when nothing had to be done.
  std::string_view prepare(std::string_view text);
  void restore(XString& piece) const;

 private:
  void maskQuotedName();
  void keepBracketedAddress();
  void keepQuotedLocalPart();
  void requoteName();
  void take(StringBuffer& changed) {
    owned_.takeSb(changed);
    text_ = owned_.view();
    changed_ = true;
  }

  StringBuffer owned_;
  std::string_view text_;
  bool changed_ = false;
  StringBuffer address_;
  StringBuffer localPart_;
};

std::string_view OddForms::prepare(std::string_view text) {
  text_ = trimmed(text);
  maskQuotedName();
  keepBracketedAddress();
  keepQuotedLocalPart();
  requoteName();
  return text_;
}

// "John <x@y>" <j@x.y>
void OddForms::maskQuotedName() {
  if (text_.empty() || text_[0] != '"' || countOf(text_, '<') < 2) return;
  const std::size_t close = findQuote(text_, 1);
  if (close == kNone) return;
  StringBuffer changed;
  changed.appendChar('"');
  appendMasked(text_.substr(1, close - 1), true, changed);
  changed.append(text_.substr(close));
  take(changed);
}

// j@x.y <j@x.y>
void OddForms::keepBracketedAddress() {
  if (countOf(text_, '@') < 2) return;
  const std::size_t first = text_.find('<');
  const std::size_t greater = first == kNone ? kNone : text_.find('>', first);
  if (greater == kNone) return;
  const std::size_t less = text_.rfind('<', greater);
  address_.setString(trimmed(text_.substr(less + 1, greater - less - 1)));
  StringBuffer changed;
  appendMasked(text_.substr(0, less), false, changed);
  changed.append3("<", kAddress, ">");
  appendMasked(text_.substr(greater + 1), false, changed);
  take(changed);
}

// "a b"@c.d
void OddForms::keepQuotedLocalPart() {
  const std::size_t close = findBytes(text_, "\"@");
  if (close == kNone || close == 0 || isEscaped(text_, close)) return;
  std::size_t open = text_.rfind('"', close - 1);
  while (open != kNone && open > 0 && isEscaped(text_, open)) open = text_.rfind('"', open - 1);
  if (open == kNone) return;
  localPart_.setString(text_.substr(open, close - open + 1));
  StringBuffer changed(text_.substr(0, open));
  changed.append2(kLocalPart, text_.substr(close + 1));
  take(changed);
}

// Doe, John <j@x.y> and John <j,d@x.y>
void OddForms::requoteName() {
  const std::size_t less = text_.find('<');
  if (less == kNone || text_.find(',') == kNone) return;
  StringBuffer changed;
  StringBuffer name(trimmed(text_.substr(0, less)));
  if (!name.isEmpty()) {
    name.replaceAllOccurances("\\\"", kEscapedQuote);
    name.removeCharOccurances('"');
    changed.append3("\"", name.view(), "\" ");
  }
  const std::size_t greater = std::min(text_.find('>', less), text_.size());
  StringBuffer bracketed(text_.substr(less, greater - less));
  bracketed.replaceAllOccurances(",", kComma);
  std::string_view inside = bracketed.view().substr(1);
  while (!inside.empty() && inside.front() == ' ') inside.remove_prefix(1);
  changed.append3("<", inside, text_.substr(greater));
  take(changed);
}

void OddForms::restore(XString& piece) const {
  if (!changed_) return;
  StringBuffer& text = piece.getUtf8Sb_rw();
  text.replaceAllOccurances(kEscapedQuote, "\"");
  text.replaceAllOccurances(kComma, ",");
  if (!localPart_.isEmpty()) text.replaceAllOccurances(kLocalPart, localPart_.view());
  text.replaceAllOccurances(kAt, "@");
  text.replaceAllOccurances(kLess, "<");
  text.replaceAllOccurances(kGreater, ">");
  // Last, and once: what comes back here is the sender's text, in which nothing stands for
  // anything.
  if (!address_.isEmpty()) text.replaceFirstOccurance(kAddress, address_.view(), false);
}

bool needsQuotes(std::string_view name) { return name.find_first_of(" ()<>@,;:\\\".[]") != kNone; }

bool needsNoQuotesToBeKept(std::string_view name) {
  return !isAllAscii(name) || name.find_first_of("\t\r\n") != kNone;
}

}  // namespace

bool _tnEmailAddress::loadSingleEmailAddr(std::string_view text, int depth, LogBase& log) {
  return readFirstEntry(text, depth, log) == Reading::kDone;
}

_tnEmailAddress::Reading _tnEmailAddress::readFirstEntry(std::string_view text, int depth,
                                                         LogBase& log) {
  const LogContextExitor context(log, "loadSingleEmailAddr");
  StringBuffer decoded;
  const std::string_view whole = trimmed(text);
  if (whole.substr(0, 2) == "=?" && whole.size() > 4 && whole.substr(whole.size() - 2) == "?=") {
    // Before anything is masked: a marker inside a word would not come out of its decoding whole.
    decoded.setString(whole);
    decoded.qbDecode(log);
    text = decoded.view();
  }
  OddForms forms;
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
  const bool ok = parseRawAddressList(text, list, depth, kMaxEntries + 1, log);
  for (int i = known; i < list.getSize(); ++i) list.elementAt(i)->name_.qbDecode(log);
  return ok;
}

void _tnEmailAddress::emitSelfAsMimeField(StringBuffer& out) const {
  const std::string_view name = name_.utf8View();
  const std::string_view address = address_.utf8View();
  if (name.empty()) {
    out.append(address);
    return;
  }
  if (!needsNoQuotesToBeKept(name) && needsQuotes(name)) {
    out.append3("\"", name, "\"");
  } else {
    out.append(name);
  }
  out.append3(" <", address, ">");
}

}  // namespace keldane::mime
