#include "mime/content_type.h"

#include <algorithm>

#include "mime/byte_search.h"
#include "mime/content_coding.h"
#include "mime/log_base.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kTokenBegin = "<[[";
constexpr std::string_view kTokenEnd = "]]>";
constexpr std::string_view kBetweenParams = "; \t\r\n";

std::string_view skipSeparators(std::string_view text) {
  const std::size_t at = text.find_first_not_of(kBetweenParams);
  return at == kNone ? std::string_view() : text.substr(at);
}

/// Whether a parameter value can stand without quotes.
bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-_.+!#$&^").find(c) != kNone;
  });
}

/// In front of a quote a backslash would take it.
void dropBackslashes(StringBuffer& out) {
  while (out.lastChar() == '\\') out.shorten(1);
}

void appendParam(std::string_view name, std::string_view value, StringBuffer& out) {
  if (value.empty()) return;
  out.append3("; ", name, "=");
  if (isToken(value)) {
    out.append(value);
  } else {
    appendQuotedParam(value, out);
  }
}

void setLower(StringBuffer& member, std::string_view text) {
  member.setString(trimmed(text));
  member.toLowerCase();
}

}  // namespace

void appendQuotedParam(std::string_view value, StringBuffer& out) {
  out.appendChar('"');
  for (const char c : value) {
    if (c == '\r' || c == '\n') continue;
    if (c == '"') {
      dropBackslashes(out);
      out.appendChar('\\');
    }
    out.appendChar(c);
  }
  dropBackslashes(out);
  out.appendChar('"');
}

bool ParamString::setString(std::string_view text, bool takeOutQuoted) {
  quoted_.removeAllSbs();
  if (!takeOutQuoted || text.find('"') == kNone) return text_.setString(text);
  text_.weakClear();
  StringBuffer inner;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t open = std::min(text.find('"', at), text.size());
    if (!text_.append(text.substr(at, open - at))) return false;
    if (open == text.size()) break;
    inner.weakClear();
    for (at = open + 1; at < text.size(); ++at) {
      const char c = text[at];
      if (c == '"' || c == '\r' || c == '\n') break;
      if (c == '\\' && at + 1 < text.size() && text[at + 1] != '\r' && text[at + 1] != '\n') {
        if (text[++at] != '"') inner.appendChar(c);
      }
      inner.appendChar(text[at]);
    }
    if (at < text.size() && text[at] == '"') ++at;
    if (!text_.append(kTokenBegin) || !text_.appendInt(quoted_.getSize()) ||
        !text_.append(kTokenEnd) || !quoted_.appendString(inner.view())) {
      return false;
    }
  }
  return true;
}

std::string_view ParamString::resolve(std::string_view piece) const {
  if (piece.substr(0, kTokenBegin.size()) != kTokenBegin) return piece;
  int number = 0;
  std::size_t at = kTokenBegin.size();
  const std::size_t digits = at;
  for (; at < piece.size() && piece[at] >= '0' && piece[at] <= '9'; ++at) {
    number = std::min(number * 10 + (piece[at] - '0'), 10000000);
  }
  if (at == digits || number >= quoted_.getSize()) return piece;
  return quoted_.viewAt(number);
}

bool _tnParamSet::addParam(std::string_view name, std::string_view value) {
  if (!names_.appendString(name)) return false;
  if (values_.appendString(value)) return true;
  names_.deleteAt(names_.getSize() - 1);
  return false;
}

int _tnParamSet::find(std::string_view name) const {
  for (int i = 0; i < names_.getSize(); ++i) {
    if (equalsNoCase(names_.viewAt(i), name)) return i;
  }
  return -1;
}

bool _tnParamSet::setParam(std::string_view name, std::string_view value) {
  StringBuffer* present = values_.sbAt(find(name));
  return present ? present->setString(value) : addParam(name, value);
}

bool _tnParamSet::getParam(std::string_view name, StringBuffer& value) const {
  const StringBuffer* present = values_.sbAt(find(name));
  return present && value.append(*present);
}

bool _tnParamSet::removeParam(std::string_view name) {
  const int index = find(name);
  if (index < 0) return false;
  names_.deleteAt(index);
  values_.deleteAt(index);
  return true;
}

void _tnParamSet::clear() {
  names_.removeAllSbs();
  values_.removeAllSbs();
}

bool _tnParamSet::copyFrom(const _tnParamSet& other) {
  if (this == &other) return true;
  clear();
  for (int i = 0; i < other.getNumParams(); ++i) {
    if (!addParam(other.nameAt(i), other.valueAt(i))) return false;
  }
  return true;
}

void _tnContentType::clear() {
  for (StringBuffer* member :
       {&type_, &name_, &protocol_, &micalg_, &boundary_, &smimeType_, &typeParam_, &reportType_}) {
    member->weakClear();
  }
  formatFlowed_ = false;
  params_.clear();
}

bool _tnContentType::copyFrom(const _tnContentType& other) {
  if (this == &other) return true;
  formatFlowed_ = other.formatFlowed_;
  return type_.setString(other.type_) && name_.setString(other.name_) &&
         protocol_.setString(other.protocol_) && micalg_.setString(other.micalg_) &&
         boundary_.setString(other.boundary_) && smimeType_.setString(other.smimeType_) &&
         typeParam_.setString(other.typeParam_) && reportType_.setString(other.reportType_) &&
         params_.copyFrom(other.params_);
}

void _tnContentType::setContentType(std::string_view type) {
  setLower(type_, type);
  type_.removeCharOccurances(' ');
  type_.removeCharOccurances('\t');
}

void _tnContentType::loadFromMimeHeaderValue(std::string_view value, _tnCharset& charset,
                                             LogBase& log) {
  LogContextExitor context(log, "loadFromMimeHeaderValue");
  clear();
  ParamString text;
  if (!text.setString(value, true)) return;
  const std::size_t typeEnd = std::min(text.view().find_first_of("; \t\r"), text.view().size());
  setContentType(text.resolve(text.view().substr(0, typeEnd)));
  text.text().removeFromStart(typeEnd);
  // Safe on the whole rest: what may hold blanks was in quotes and is out of the text.
  text.text().removeCharOccurances(' ');
  text.text().removeCharOccurances('\t');
  StringBuffer starText;
  std::string_view rest = skipSeparators(text.view());
  while (!rest.empty()) {
    const std::size_t equals = rest.find('=');
    if (equals == kNone) break;
    const std::string_view attr = rest.substr(0, equals);
    rest.remove_prefix(equals + 1);
    const std::size_t end = std::min(rest.find(';'), rest.size());
    takeParam(attr, text.resolve(rest.substr(0, end)), charset, starText);
    rest = skipSeparators(rest.substr(end));
  }
  if (starText.isEmpty()) return;
  StringBuffer label;
  name_.weakClear();
  ContentCoding().decodeStarEncoded(starText, {}, name_, label, log);
}

void _tnContentType::takeParam(std::string_view attr, std::string_view value, _tnCharset& charset,
                               StringBuffer& starText) {
  if (equalsNoCase(attr, "charset")) {
    charset.setByName(value);
  } else if (equalsNoCase(attr, "boundary")) {
    boundary_.setString(value);
  } else if (equalsNoCase(attr, "name")) {
    name_.setString(trimmed(value));
  } else if (equalsNoCase(attr, "name*0*")) {
    starText.setString(value);
  } else if (beginsWithNoCase(attr, "name*")) {
    starText.append(value);
  } else if (equalsNoCase(attr, "protocol")) {
    setLower(protocol_, value);
  } else if (equalsNoCase(attr, "micalg")) {
    setLower(micalg_, value);
  } else if (equalsNoCase(attr, "smime-type")) {
    setLower(smimeType_, value);
  } else if (equalsNoCase(attr, "type")) {
    setLower(typeParam_, value);
  } else if (beginsWithNoCase(attr, "format") && beginsWithNoCase(value, "flowed")) {
    formatFlowed_ = true;
  } else {
    // "report-type" comes here too: readers of it have always looked among the parameters.
    params_.addParam(attr, value);
  }
}

void _tnContentType::buildMimeHeaderValue(StringBuffer& out, const _tnCharset& charset,
                                          LogBase& /*log*/) const {
  out.append(type_);
  appendParam("charset", charset.nameView(), out);
  appendParam("name", name_.view(), out);
  appendParam("protocol", protocol_.view(), out);
  appendParam("micalg", micalg_.view(), out);
  appendParam("smime-type", smimeType_.view(), out);
  appendParam("report-type", reportType_.view(), out);
  if (!typeParam_.isEmpty()) appendParam("type", typeParam_.view(), out);
  if (formatFlowed_) out.append("; format=flowed");
  for (int i = 0; i < params_.getNumParams(); ++i) {
    appendParam(params_.nameAt(i), params_.valueAt(i), out);
  }
  appendParam("boundary", boundary_.view(), out);
}

}  // namespace keldane::mime
