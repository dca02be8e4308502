// The operations of StringBuffer that replace pieces of the text or split it.
#include <algorithm>
#include <memory>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

std::size_t findIn(std::string_view text, std::string_view what, std::size_t from, bool noCase) {
  return noCase ? findBytesNoCase(text, what, from) : findBytes(text, what, from);
}

/// Splits at each byte for which `separates` answers true. A separator at the very end opens no
/// further piece.
template <typename Separates>
bool splitWith(std::string_view text, ExtPtrArraySb& list, bool exceptQuoted, bool exceptEscaped,
               Separates separates) {
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && exceptEscaped) {
      ++i;
    } else if (c == '"' && exceptQuoted) {
      quoted = !quoted;
    } else if (!quoted && separates(c)) {
      if (!list.appendString(text.substr(begin, i - begin))) return false;
      begin = i + 1;
    }
  }
  return begin >= text.size() || list.appendString(text.substr(begin));
}

}  // namespace

int StringBuffer::replaceAllOccurances(std::string_view from, std::string_view to) {
  std::size_t at = findBytes(view(), from);
  if (at == kNone) return 0;
  StringBuffer result;
  if (to.size() <= from.size() && !result.expectNumBytes(length_)) return -1;
  std::size_t done = 0;
  int count = 0;
  for (; at != kNone; at = findBytes(view(), from, done)) {
    if (!result.append(view().substr(done, at - done)) || !result.append(to)) return -1;
    done = at + from.size();
    ++count;
  }
  if (!result.append(view().substr(done))) return -1;
  takeOver(result);
  return count;
}

bool StringBuffer::replaceFirstOccurance(std::string_view from, std::string_view to,
                                         bool caseInsensitive) {
  const std::size_t at = findIn(view(), from, 0, caseInsensitive);
  if (at == kNone) return false;
  StringBuffer result;
  if (!result.expectNumBytes(length_ - from.size() + to.size())) return false;
  if (!result.append3(view().substr(0, at), to, view().substr(at + from.size()))) return false;
  takeOver(result);
  return true;
}

bool StringBuffer::getBetween(std::string_view a, std::string_view b, StringBuffer& dest) const {
  std::size_t begin = findBytes(view(), a);
  if (begin == kNone) return false;
  begin += a.size();
  const std::size_t end = findBytes(view(), b, begin);
  if (end == kNone) return false;
  return dest.append(view().substr(begin, end - begin));
}

bool StringBuffer::replaceAllBetween(std::string_view a, std::string_view b, std::string_view with,
                                     bool caseInsensitive) {
  StringBuffer result;
  std::size_t done = 0;
  bool found = false;
  while (true) {
    std::size_t begin = findIn(view(), a, done, caseInsensitive);
    if (begin == kNone) break;
    begin += a.size();
    const std::size_t end = findIn(view(), b, begin, caseInsensitive);
    if (end == kNone) break;
    if (!result.append2(view().substr(done, begin - done), with)) return false;
    if (!result.append(view().substr(end, b.size()))) return false;
    done = end + b.size();
    found = true;
  }
  if (!found || !result.append(view().substr(done))) return false;
  takeOver(result);
  return true;
}

bool StringBuffer::split(ExtPtrArraySb& list, char separator, bool exceptDoubleQuoted,
                         bool exceptEscaped) const {
  return splitWith(view(), list, exceptDoubleQuoted, exceptEscaped,
                   [separator](char c) { return c == separator; });
}

bool StringBuffer::split2(ExtPtrArraySb& list, std::string_view separators, bool exceptDoubleQuoted,
                          bool exceptEscaped) const {
  return splitWith(view(), list, exceptDoubleQuoted, exceptEscaped,
                   [separators](char c) { return separators.find(c) != kNone; });
}

bool StringBuffer::splitIntoLines(ExtPtrArraySb& list, int /*hint*/) const {
  const char* p = data_;
  const char* const end = data_ + length_;
  while (p < end) {
    const char* stop = std::find_if(p, end, [](char c) { return c == '\r' || c == '\n'; });
    if (!list.appendString({p, static_cast<std::size_t>(stop - p)})) return false;
    // One past the last byte is the terminator, so looking one ahead is safe.
    p = stop + (stop < end && stop[0] == '\r' && stop[1] == '\n' ? 2 : 1);
  }
  return true;
}

bool StringBuffer::splitAttrValue(StringBuffer& attr, StringBuffer& value,
                                  bool removeQuotes) const {
  value.weakClear();
  std::string_view text = view();
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  const std::size_t equals = text.find('=');
  if (!attr.setString(trimmed(text.substr(0, equals)))) return false;
  if (equals == kNone) return true;
  text.remove_prefix(equals + 1);
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  if (removeQuotes && !text.empty() && text.front() == '"') {
    text.remove_prefix(1);
    const std::string_view core = trimmed(text);
    if (!core.empty() && core.back() == '"') {
      text = text.substr(0, static_cast<std::size_t>(&core.back() - text.data()));
    }
  }
  return value.setString(text);
}

}  // namespace keldane::mime
