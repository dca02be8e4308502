#include "mime/charsets/html_charset.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr bool isHtmlSpace(char c) { return isEngineSpace(c) || c == '\f'; }

void skipSpace(std::string_view& text) {
  while (!text.empty() && isHtmlSpace(text.front())) text.remove_prefix(1);
}

/// A word of that name, and not the beginning of a longer one.
bool beginsWithTag(std::string_view text, std::string_view name) {
  return beginsWithNoCase(text, name) &&
         (text.size() == name.size() || isHtmlSpace(text[name.size()]) ||
          text[name.size()] == '>' || text[name.size()] == '/');
}

/// Takes one attribute off the front of a tag's text. False at the end of the tag.
bool takeAttribute(std::string_view& tag, std::string_view& name, std::string_view& value) {
  while (!tag.empty() && (isHtmlSpace(tag.front()) || tag.front() == '/')) tag.remove_prefix(1);
  std::size_t n = 0;
  while (n < tag.size() && !isHtmlSpace(tag[n]) && (tag[n] != '=' || n == 0) && tag[n] != '/') ++n;
  if (n == 0) return false;
  name = tag.substr(0, n);
  value = {};
  tag.remove_prefix(n);
  skipSpace(tag);
  if (tag.empty() || tag.front() != '=') return true;
  tag.remove_prefix(1);
  skipSpace(tag);
  if (tag.empty()) return true;
  const char quote = tag.front();
  if (quote == '"' || quote == '\'') {
    tag.remove_prefix(1);
    const std::size_t end = tag.find(quote);
    value = tag.substr(0, end);
    tag.remove_prefix(end == kNone ? tag.size() : end + 1);
  } else {
    n = 0;
    while (n < tag.size() && !isHtmlSpace(tag[n])) ++n;
    value = tag.substr(0, n);
    tag.remove_prefix(n);
  }
  return true;
}

/// The name behind "charset=" in the value of a `content` attribute.
std::string_view charsetOfContent(std::string_view content) {
  constexpr std::string_view kWord = "charset";
  for (std::size_t at = findBytesNoCase(content, kWord); at != kNone;
       at = findBytesNoCase(content, kWord, at + kWord.size())) {
    std::string_view rest = content.substr(at + kWord.size());
    skipSpace(rest);
    if (rest.empty() || rest.front() != '=') continue;
    rest.remove_prefix(1);
    while (!rest.empty() &&
           (isHtmlSpace(rest.front()) || rest.front() == '"' || rest.front() == '\'')) {
      rest.remove_prefix(1);
    }
    return rest.substr(0, rest.find_first_of(" \t\r\n\f;,\"'"));
  }
  return {};
}

/// `tag`: what stands between "<meta" and the end of the tag.
std::string_view charsetOfMeta(std::string_view tag) {
  std::string_view name;
  std::string_view value;
  while (takeAttribute(tag, name, value)) {
    std::string_view charset;
    if (equalsNoCase(name, "charset")) {
      charset = value;
    } else if (equalsNoCase(name, "content")) {
      charset = charsetOfContent(value);
    }
    charset = trimmed(charset);
    if (!charset.empty()) return charset;
  }
  return {};
}

}  // namespace

bool _tnHtmlHelp::getCharset(std::string_view html, StringBuffer& out) {
  out.weakClear();
  bool commentsEnd = true;
  for (std::size_t at = html.find('<'); at != kNone; at = html.find('<', at)) {
    const std::string_view rest = html.substr(++at);
    if (commentsEnd && rest.starts_with("!--")) {
      const std::size_t end = findBytes(html, "-->", at + 3);
      // A comment that does not end hides nothing.
      commentsEnd = end != kNone;
      if (commentsEnd) at = end;
      continue;
    }
    if (beginsWithTag(rest, "body")) return false;
    if (!beginsWithTag(rest, "meta")) continue;
    const std::string_view tag = rest.substr(4);
    const std::string_view charset = charsetOfMeta(tag.substr(0, tag.find_first_of("<>")));
    if (!charset.empty()) return out.setString(charset);
  }
  return false;
}

}  // namespace keldane::mime
