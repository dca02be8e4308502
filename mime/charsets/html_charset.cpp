#include "mime/charsets/html_charset.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/parse_engine.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr std::string_view kSpace = " \t\r\n\f";
constexpr std::string_view kSpaceOrSlash = " \t\r\n\f/";
constexpr std::string_view kNameEnds = " \t\r\n\f/=";

/// A word of that name, and not the beginning of a longer one.
bool beginsWithTag(std::string_view text, std::string_view name) {
  return beginsWithNoCase(text, name) &&
         (text.size() == name.size() ||
          std::string_view(" \t\r\n\f/>").find(text[name.size()]) != kNone);
}

/// Takes one attribute of a tag's text. False at the end of the tag.
bool takeAttribute(ParseEngine& tag, std::string_view& name, std::string_view& value) {
  tag.skipChars(kSpaceOrSlash);
  if (tag.atEnd()) return false;
  // A "=" in front belongs to the name.
  name = tag.captureN(tag.rest().find_first_of(kNameEnds, 1));
  value = {};
  tag.skipChars(kSpace);
  if (!tag.consumeIf('=')) return true;
  tag.skipChars(kSpace);
  const char quote = tag.peekChar();
  if (quote == '"' || quote == '\'') {
    tag.consumeOneChar();
    value = tag.captureToNextChar(quote);
    tag.consumeOneChar();
  } else {
    value = tag.captureToNext4(kSpace);
  }
  return true;
}

/// The name behind "charset=" in the value of a `content` attribute.
std::string_view charsetOfContent(std::string_view content) {
  constexpr std::string_view kWord = "charset";
  for (std::size_t at = findBytesNoCase(content, kWord); at != kNone;
       at = findBytesNoCase(content, kWord, at + kWord.size())) {
    ParseEngine rest(content.substr(at + kWord.size()));
    rest.skipChars(kSpace);
    if (!rest.consumeIf('=')) continue;
    rest.skipChars(" \t\r\n\f\"'");
    return rest.captureToNext4(" \t\r\n\f;,\"'");
  }
  return {};
}

/// `tag`: what stands between "<meta" and the end of the tag.
std::string_view charsetOfMeta(ParseEngine tag) {
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
    const std::string_view charset =
        charsetOfMeta(ParseEngine(tag.substr(0, tag.find_first_of("<>"))));
    if (!charset.empty()) return out.setString(charset);
  }
  return false;
}

}  // namespace keldane::mime
