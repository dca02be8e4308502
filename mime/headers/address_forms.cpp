#include "mime/headers/address_forms.h"

#include <algorithm>

#include "mime/buffers/byte_search.h"

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

}  // namespace

std::string_view AddressForms::prepare(std::string_view text) {
  text_ = trimmed(text);
  maskQuotedName();
  keepBracketedAddress();
  keepQuotedLocalPart();
  requoteName();
  return text_;
}

// "John <x@y>" <j@x.y>
void AddressForms::maskQuotedName() {
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
void AddressForms::keepBracketedAddress() {
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
void AddressForms::keepQuotedLocalPart() {
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
void AddressForms::requoteName() {
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

void AddressForms::restore(XString& piece) const {
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

}  // namespace keldane::mime
