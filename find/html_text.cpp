#include "find/html_text.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/text.h"
#include "find/html_entities.h"

namespace keldane {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kMaxEntityBytes = 12;
constexpr std::size_t kMaxNameBytes = 24;

/// Elements within a line; all others begin a line of their own.
constexpr std::array<std::string_view, 34> kInline = {
    "a",      "abbr", "acronym", "b",    "bdi", "bdo",  "big",   "cite", "code",
    "del",    "dfn",  "em",      "font", "i",   "ins",  "kbd",   "mark", "nobr",
    "q",      "rb",   "rt",      "ruby", "s",   "samp", "small", "span", "strike",
    "strong", "sub",  "sup",     "tt",   "u",   "var",  "wbr"};
/// Elements whose text no person reads; what stands in them is no markup up to their own end.
constexpr std::array<std::string_view, 4> kHidden = {"script", "style", "title", "xml"};
/// Local names that part words in the XML of office files.
constexpr std::array<std::string_view, 16> kParting = {
    "br",  "c", "cr", "f",  "h",   "is",         "line-break", "p",
    "row", "s", "si", "sp", "tab", "table-cell", "tc",         "v"};

template <std::size_t n>
bool isOneOf(const std::array<std::string_view, n>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexLetter(char c) { return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

struct Tag {
  std::string name;  ///< lower case, without a prefix
  bool isEnd = false;
  bool isEmpty = false;
  std::string_view attributes;
};

/// Reads a page from left to right, never twice over the same bytes but for a bounded look ahead.
class Reader {
 public:
  Reader(std::string_view page, Markup markup, std::size_t maxBytes)
      : page_(page), isHtml_(markup == Markup::html), maxBytes_(maxBytes) {}

  std::string read() {
    while (at_ < page_.size() && text_.size() < maxBytes_) {
      const char c = page_[at_];
      if (c == '<') {
        readMarkup();
      } else if (c == '&') {
        readEntity();
      } else {
        readText();
      }
    }
    return std::move(text_);
  }

 private:
  void readText() {
    std::size_t end = page_.find_first_of("<&", at_);
    if (end == kNone) end = page_.size();
    if (!hidden_) text_.append(page_.substr(at_, std::min(end - at_, maxBytes_ - text_.size())));
    at_ = end;
  }

  void readMarkup() {
    const std::string_view rest = page_.substr(at_);
    if (rest.starts_with("<!--")) return skipComment();
    if (!isHtml_ && rest.starts_with("<![CDATA[")) return readCdata();
    const bool isTag = rest.size() > 1 && (isLetter(rest[1]) || rest[1] == '/');
    if (!isTag && (rest.size() < 2 || (rest[1] != '!' && rest[1] != '?'))) {
      put("<");
      ++at_;
      return;
    }
    readTag();
  }

  /// A comment that nothing ends is closed by the first ">", so that it does not hide the rest.
  void skipComment() {
    const std::size_t end = commentsEnd_ ? page_.find("-->", at_ + 4) : kNone;
    commentsEnd_ = end != kNone;  // later ones have no end either, and need no search
    const std::size_t close = commentsEnd_ ? end + 2 : page_.find('>', at_);
    at_ = close == kNone ? page_.size() : close + 1;
  }

  void readCdata() {
    const std::size_t begin = at_ + 9;
    const std::size_t end = std::min(page_.find("]]>", begin), page_.size());
    put(page_.substr(begin, end - begin));
    at_ = std::min(end + 3, page_.size());
  }

  /// The end of a tag, quotes heeded. A quote that nothing closes does not hold the rest.
  std::size_t tagEnd() {
    char quote = 0;
    for (std::size_t i = at_ + 1; i < page_.size(); ++i) {
      const char c = page_[i];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if ((c == '"' || c == '\'') && page_[i - 1] == '=') {
        quote = c;
        if (page_.find(c, i + 1) == kNone) return page_.find('>', i);
      } else if (c == '>') {
        return i;
      } else if (c == '<' && isHtml_) {
        return i - 1;
      }
    }
    return kNone;
  }

  void readTag() {
    const std::size_t end = std::min(tagEnd(), page_.size() - 1);
    Tag tag;
    std::string_view inside = page_.substr(at_ + 1, end - at_);
    if (inside.ends_with('>')) inside.remove_suffix(1);
    at_ = end + 1;
    tag.isEnd = inside.starts_with('/');
    if (tag.isEnd) inside.remove_prefix(1);
    tag.isEmpty = inside.ends_with('/');
    std::size_t size = 0;
    while (size < inside.size() && !isBlank(inside[size]) && inside[size] != '/') ++size;
    tag.attributes = inside.substr(size);
    std::string_view name = inside.substr(0, size);
    if (!isHtml_) name.remove_prefix(std::min(name.rfind(':') + 1, name.size()));
    for (const char c : name.substr(0, kMaxNameBytes)) tag.name += lower(c);
    isHtml_ ? takeHtml(tag) : takeDocument(tag);
  }

  void takeHtml(const Tag& tag) {
    if (!tag.isEnd && !tag.isEmpty && isOneOf(kHidden, tag.name)) skipHidden(tag.name);
    if (!isOneOf(kInline, tag.name)) put("\n");
    if (tag.name == "img" || tag.name == "area") putAlt(tag.attributes);
  }

  void skipHidden(const std::string& name) {
    const std::string ending = "</" + name;
    for (; (at_ = page_.find("</", at_)) != kNone; at_ += 2) {
      const std::string_view there = page_.substr(at_, ending.size());
      if (std::equal(there.begin(), there.end(), ending.begin(), ending.end(),
                     [](char a, char b) { return lower(a) == b; })) {
        return;
      }
    }
    at_ = page_.size();
  }

  void putAlt(std::string_view attributes) {
    for (const std::string_view key : {" alt=\"", " ALT=\""}) {
      const std::size_t begin = attributes.find(key);
      if (begin == kNone) continue;
      const std::string_view value = attributes.substr(begin + key.size());
      put(" ");
      put(value.substr(0, value.find('"')));
      put(" ");
    }
  }

  void takeDocument(const Tag& tag) {
    // Cells that point into the table of strings hold a number that nobody sees.
    if (tag.name == "c" && !tag.isEmpty) {
      const bool isPointer = tag.attributes.find(" t=\"s\"") != kNone;
      hidden_ = !tag.isEnd && isPointer;
    }
    if (isOneOf(kParting, tag.name)) put(" ");
    if (tag.isEnd && (tag.name == "p" || tag.name == "row" || tag.name == "h")) put("\n");
  }

  void readEntity() {
    const std::string_view ahead = page_.substr(at_ + 1, kMaxEntityBytes);
    const bool isNumber = ahead.starts_with('#');
    const bool isHex = isNumber && ahead.size() > 1 && (ahead[1] == 'x' || ahead[1] == 'X');
    std::size_t size = isNumber ? (isHex ? 2 : 1) : 0;
    // A number ends where its digits do: "En&#116er".
    while (size < ahead.size() && (isDigit(ahead[size]) || (isHex && isHexLetter(ahead[size])) ||
                                   (!isNumber && isLetter(ahead[size])))) {
      ++size;
    }
    const char32_t character = characterOf(ahead.substr(0, size));
    if (character == 0) {
      put("&");
      ++at_;
      return;
    }
    std::string utf8;
    appendUtf8(utf8, character == 0xA0 ? U' ' : character);
    put(utf8);
    at_ += 1 + size;
    if (at_ < page_.size() && page_[at_] == ';') ++at_;
  }

  static char32_t characterOf(std::string_view entity) {
    if (!entity.starts_with('#')) return entityCharacter(entity);
    entity.remove_prefix(1);
    const bool isHex = entity.starts_with('x') || entity.starts_with('X');
    if (isHex) entity.remove_prefix(1);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(entity.data(), entity.data() + entity.size(), number, isHex ? 16 : 10);
    const bool isWhole = error == std::errc() && end == entity.data() + entity.size();
    if (!isWhole || number < 0x20 || number > 0x10FFFF) return isWhole && number != 0 ? U' ' : 0;
    // Writers on Windows mean their own charset by these numbers.
    return number >= 0x80 && number < 0xA0 ? kWindows[number - 0x80]
                                           : static_cast<char32_t>(number);
  }

  void put(std::string_view text) {
    if (!hidden_ && text_.size() + text.size() <= maxBytes_) text_.append(text);
    if (text_.size() + text.size() > maxBytes_) maxBytes_ = text_.size();
  }

  static constexpr std::array<char32_t, 32> kWindows = {
      0x20AC, 0x20,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x20,   0x017D, 0x20,   0x20,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x20,   0x017E, 0x0178};

  std::string_view page_;
  const bool isHtml_;
  std::size_t maxBytes_;
  std::size_t at_ = 0;
  std::string text_;
  bool hidden_ = false;  ///< what stands here is not shown
  bool commentsEnd_ = true;
};

}  // namespace

std::string markupText(std::string_view page, Markup markup, std::size_t maxBytes) {
  return Reader(page, markup, maxBytes).read();
}

}  // namespace keldane
