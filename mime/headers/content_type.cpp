#include "mime/headers/content_type.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/parse_engine.h"
#include "mime/coding/content_coding.h"
#include "mime/limits.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kTokenBegin = "<[[";
constexpr std::string_view kTokenEnd = "]]>";
constexpr std::string_view kBetweenParams = "; \t\r\n";

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

/// Stands in front of a size that takes four bytes.
constexpr std::uint8_t kLongSize = 0xFF;
constexpr std::size_t kLargestSize = 1 + sizeof(std::uint32_t);

bool appendSize(std::size_t size, DataBuffer& out) {
  if (size < kLongSize) return out.appendChar(static_cast<std::uint8_t>(size));
  const auto bytes = static_cast<std::uint32_t>(size);
  return out.appendChar(kLongSize) && out.append(&bytes, sizeof bytes);
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
  beyondLimits_ = false;
  if (!takeOutQuoted || text.find('"') == kNone) return text_.setString(text);
  text_.weakClear();
  StringBuffer inner;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t open = std::min(text.find('"', at), text.size());
    if (!text_.append(text.substr(at, open - at))) return false;
    if (open == text.size()) break;
    if (quoted_.getSize() == limits::kMaxQuotedStrings) {
      beyondLimits_ = true;
      return text_.append(text.substr(open));
    }
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
  const std::size_t wanted = 2 * kLargestSize + name.size() + value.size();
  // Twice the room each time, in place of the buffer's own steps, which are made for large bodies.
  if (wanted > bytes_.getCapacity() - bytes_.getSize() &&
      !bytes_.ensureBuffer(std::max<std::size_t>(wanted, bytes_.getSize()))) {
    return false;
  }
  return appendSize(name.size(), bytes_) && appendSize(value.size(), bytes_) &&
         bytes_.append(name) && bytes_.append(value);
}

std::size_t _tnParamSet::nextSize(std::size_t& at) const {
  const std::uint8_t first = bytes_.byteAt(at++);
  if (first != kLongSize) return first;
  std::uint32_t size = 0;
  std::memcpy(&size, bytes_.getData2() + at, sizeof size);
  at += sizeof size;
  return size;
}

_tnParamSet::Param _tnParamSet::next(std::size_t& at) const {
  const std::size_t nameSize = nextSize(at);
  const std::size_t valueSize = nextSize(at);
  const std::string_view texts = bytes_.view().substr(at, nameSize + valueSize);
  at += texts.size();
  return {texts.substr(0, nameSize), texts.substr(nameSize)};
}

bool _tnParamSet::copyFrom(const _tnParamSet& other) {
  if (this == &other) return true;
  clear();
  return bytes_.ensureBuffer(other.bytes_.getSize()) && bytes_.append(other.bytes_);
}

void _tnContentType::clear() {
  for (StringBuffer* member :
       {&type_, &name_, &protocol_, &micalg_, &boundary_, &smimeType_, &typeParam_, &reportType_}) {
    member->weakClear();
  }
  formatFlowed_ = false;
  beyondLimits_ = false;
  params_.clear();
}

bool _tnContentType::copyFrom(const _tnContentType& other) {
  return this == &other || (copyMembers(other) && params_.copyFrom(other.params_));
}

bool _tnContentType::takeFrom(_tnContentType& other) {
  return this == &other || (copyMembers(other) && params_.takeFrom(other.params_));
}

bool _tnContentType::copyMembers(const _tnContentType& other) {
  formatFlowed_ = other.formatFlowed_;
  beyondLimits_ = other.beyondLimits_;
  return type_.setString(other.type_) && name_.setString(other.name_) &&
         protocol_.setString(other.protocol_) && micalg_.setString(other.micalg_) &&
         boundary_.setString(other.boundary_) && smimeType_.setString(other.smimeType_) &&
         typeParam_.setString(other.typeParam_) && reportType_.setString(other.reportType_);
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
  ParseEngine cursor(text.view());
  setContentType(text.resolve(cursor.captureToNext4("; \t\r")));
  // Safe on the whole rest: what may hold blanks was in quotes and is out of the text.
  cursor.eliminateChar(' ', text.text());
  cursor.eliminateChar('\t', text.text());
  beyondLimits_ = text.isBeyondLimits();
  StringBuffer starText;
  for (int taken = 0;; ++taken) {
    cursor.skipChars(kBetweenParams);
    const std::string_view attr = cursor.captureToNextChar('=');
    if (!cursor.consumeIf('=')) break;
    if (taken == limits::kMaxParameters) {
      beyondLimits_ = true;
      break;
    }
    takeParam(attr, text.resolve(cursor.captureToNextChar(';')), charset, starText);
  }
  params_.minimizeMemoryUsage();
  if (beyondLimits_) log.LogError("Too many parameters -- the rest stays in the field alone.");
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
  params_.forEach(
      [&out](const _tnParamSet::Param& param) { appendParam(param.name, param.value, out); });
  appendParam("boundary", boundary_.view(), out);
}

}  // namespace keldane::mime
