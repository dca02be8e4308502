#include "mime/headers/mime_field.h"

#include <algorithm>
#include <array>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// One numbered parameter, `attr`*N="...", in a value.
struct StarPart {
  std::size_t begin = kNone;
  std::size_t textBegin = kNone;
  /// The closing quote; npos when it is missing.
  std::size_t textEnd = kNone;
};

StarPart findStarPart(std::string_view value, std::string_view attr, int number) {
  StringBuffer key;
  key.append2(attr, "*");
  key.appendInt(number);
  key.append("=\"");
  StarPart part;
  for (std::size_t at = findBytes(value, key.view()); at != kNone;
       at = findBytes(value, key.view(), at + 1)) {
    // "name*0" must not be found in "filename*0".
    if (at != 0 && value[at - 1] != ';' && !isEngineSpace(value[at - 1])) continue;
    part.begin = at;
    part.textBegin = at + key.getSize();
    part.textEnd = value.find('"', part.textBegin);
    break;
  }
  return part;
}

/// The beginning of the part together with the separator in front of it.
std::size_t withSeparator(std::string_view value, std::size_t begin) {
  while (begin > 0 && isEngineSpace(value[begin - 1])) --begin;
  return begin > 0 && value[begin - 1] == ';' ? begin - 1 : begin;
}

/// NUL bytes fall off the end of a stored text, and more blanks may come to light each time.
void trimStored(StringBuffer& text) {
  while (isEngineSpace(text.lastChar()) || isEngineSpace(text.charAt(0))) text.trim2();
}

void makeNameSafe(StringBuffer& name) {
  char* p = name.getString_rw();
  for (char* const end = p + name.getSize(); p < end; ++p) {
    if (*p == ' ' || *p == '<' || *p == '>' || *p == '"' || *p == '\'') *p = '-';
  }
}

}  // namespace

MimeField::~MimeField() { *static_cast<volatile std::uint32_t*>(&stamp_) = 0; }

bool MimeField::isAddressField(std::string_view name) {
  switch (name.size()) {
    case 2:
      return equalsNoCase(name, "to") || equalsNoCase(name, "cc");
    case 3:
      return equalsNoCase(name, "bcc");
    case 4:
      return equalsNoCase(name, "from");
    case 6:
      return equalsNoCase(name, "sender");
    case 8:
      return equalsNoCase(name, "reply-to");
    case 9:
      return equalsNoCase(name, "resent-to") || equalsNoCase(name, "resent-cc");
    case 10:
      return equalsNoCase(name, "resent-bcc");
    case 11:
      return equalsNoCase(name, "return-path") || equalsNoCase(name, "resent-from");
    case 18:
      return equalsNoCase(name, "TNX-Bounce-Address");
    default:
      return false;
  }
}

bool MimeField::setMfContentsLine(std::string_view line, const MimeControl& control, LogBase& log) {
  const std::size_t colon = line.find(':');
  if (colon == kNone) return false;
  std::string_view value = line.substr(colon + 1);
  if (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  return setMfContents(line.substr(0, colon), value, control, log);
}

bool MimeField::setMfContents(std::string_view name, std::string_view value,
                              const MimeControl& control, LogBase& log) {
  if (!name_.setString(trimmed(name))) return false;
  trimStored(name_);
  name_.minimizeMemoryUsage();
  return setMfValue(value, control, log);
}

bool MimeField::setMfValue(std::string_view value, const MimeControl& control, LogBase& log) {
  // Outer blanks go first: they never matter, and most values then fit inside the object.
  if (!value_.setString(trimmed(value))) return false;
  setMfPostProcess(control, log);
  value_.minimizeMemoryUsage();
  return true;
}

void MimeField::setMfPostProcess(const MimeControl& control, LogBase& log) {
  const bool isAddress = isAddressField(name_.view());
  if (control.rawMode) {
    kind_ = isAddress ? kAddresses : kPlain;
    return;
  }
  hadEncodedWords_ = hasEncodedWordMark(value_.view());
  if (hadEncodedWords_) {
    if (containsBytes(value_.view(), "name*0=") &&
        (containsBytes(value_.view(), "?B?") || containsBytes(value_.view(), "?Q?"))) {
      combineStarQB(containsBytes(value_.view(), "filename*0=") ? "filename" : "name");
    }
    if (!isAddress) ContentCoding().QB_DecodeToUtf8(value_, log);
  }
  if (!isAddress) {
    value_.removeCharOccurances('\r');
    value_.removeCharOccurances('\n');
  }
  makeNameSafe(name_);
  decideKind(isAddress);
  if (control.extraTrim) value_.trimInsideSpaces();
  trimStored(value_);
}

void MimeField::decideKind(bool isAddress) {
  const std::string_view name = name_.view();
  allowEncoding_ = true;
  kind_ = isAddress ? kAddresses : kPlain;
  switch (name.size()) {
    case 8:
      if (hadEncodedWords_ && equalsNoCase(name, "received")) allowEncoding_ = false;
      break;
    case 10:
      if (equalsNoCase(name, "user-agent")) allowEncoding_ = false;
      return;
    case 12:
      if (equalsNoCase(name, "content-type")) kind_ = kAttributes;
      break;
    case 16:
      if (equalsNoCase(name, "content-location")) kind_ = kAttributes;
      break;
    case 19:
      if (equalsNoCase(name, "content-disposition")) kind_ = kAttributes;
      break;
    case 25:
      if (hadEncodedWords_ && equalsNoCase(name, "content-transfer-encoding")) {
        allowEncoding_ = false;
      }
      break;
    default:
      return;
  }
  if (kind_ == kAttributes || !allowEncoding_) value_.replaceCharAnsi('\t', ' ');
}

void MimeField::combineStarQB(std::string_view attr) {
  constexpr int kMaxParts = 100;
  struct Span {
    std::size_t begin;
    std::size_t end;
  };
  std::array<Span, kMaxParts> spans;
  int count = 0;
  const std::string_view value = value_.view();
  StringBuffer combined;
  combined.append2(attr, "=\"");
  std::size_t first = kNone;
  for (; count < kMaxParts; ++count) {
    const StarPart part = findStarPart(value, attr, count);
    if (part.begin == kNone || part.textEnd == kNone) break;
    combined.append(value.substr(part.textBegin, part.textEnd - part.textBegin));
    if (count == 0) first = part.begin;
    const std::size_t begin = count == 0 ? part.begin : withSeparator(value, part.begin);
    spans[static_cast<std::size_t>(count)] = {begin, part.textEnd + 1};
  }
  if (count == 0) return;
  combined.append("\"");
  std::sort(spans.begin(), spans.begin() + count,
            [](const Span& a, const Span& b) { return a.begin < b.begin; });
  StringBuffer result;
  std::size_t done = 0;
  bool placed = false;
  for (int i = 0; i < count; ++i) {
    const Span span = spans[static_cast<std::size_t>(i)];
    // A part whose name stood inside the text of another one went with that.
    if (span.begin < done) continue;
    result.append(value.substr(done, span.begin - done));
    if (span.begin == first) placed = result.append(combined);
    done = span.end;
  }
  result.append(value.substr(done));
  if (!placed) result.append2("; ", combined.view());
  value_.takeSb(result);
}

}  // namespace keldane::mime
