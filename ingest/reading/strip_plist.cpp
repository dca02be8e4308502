#include "ingest/reading/strip_plist.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";  ///< of UTF-8, put there by some programs
constexpr std::string_view kQuotedFrom = "\n>>From";
constexpr std::string_view kReturnPath = "\nReturn-path:";
constexpr std::size_t kUnitsBeforeMarker = 100;  ///< how far before its DTD a list may begin

/// Lines of a text, one after the other.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest_(text) {}
  [[nodiscard]] std::optional<std::string_view> next() {
    if (atEnd_) return std::nullopt;
    const std::size_t end = rest_.find('\n');
    const std::string_view line = rest_.substr(0, end);
    atEnd_ = end == std::string_view::npos;
    if (!atEnd_) rest_.remove_prefix(end + 1);
    return line;
  }

 private:
  std::string_view rest_;
  bool atEnd_ = false;
};

bool holds(std::string_view line, std::string_view what) {
  return line.find(what) != std::string_view::npos;
}

/// What stands between the two marks of a line; absent when either is missing.
std::optional<std::string_view> between(std::string_view line, std::string_view open,
                                        std::string_view close) {
  const std::size_t begin = line.find(open);
  if (begin == std::string_view::npos) return std::nullopt;
  line.remove_prefix(begin + open.size());
  const std::size_t end = line.find(close);
  if (end == std::string_view::npos) return std::nullopt;
  return line.substr(0, end);
}

std::optional<std::string_view> stringOf(std::string_view line) {
  return between(line, "<string>", "</string>");
}

/// A string that may run over several lines, beginning on the next one.
std::optional<std::string> longString(Lines& lines) {
  constexpr std::string_view kOpen = "<string>";
  std::optional<std::string_view> line = lines.next();
  if (!line) return std::nullopt;
  const std::size_t begin = line->find(kOpen);
  if (begin == std::string_view::npos) return std::nullopt;
  line->remove_prefix(begin + kOpen.size());
  std::string value;
  while (true) {
    const std::size_t end = line->find("</string>");
    value.append(line->substr(0, end));
    if (end != std::string_view::npos) return value;
    line = lines.next();
    if (!line) return value;
    value += '\n';
  }
}

/// Appends the strings of an array, each behind a blank, up to its end.
void appendArray(Lines& lines, std::string& value) {
  while (const auto line = lines.next()) {
    if (holds(*line, "</array>")) return;
    if (const auto item = stringOf(*line)) value.append(" ").append(*item);
  }
}

/// A single string on the next line, or an array that begins there.
void readList(Lines& lines, std::string& value) {
  const auto line = lines.next();
  if (!line) return;
  if (holds(*line, "<array>")) {
    appendArray(lines, value);
  } else if (const auto single = stringOf(*line)) {
    value = *single;
  }
}

/// White space within a line.
bool isBlank(std::string_view character) {
  constexpr std::string_view kLineEnds[] = {"\n",       "\r",           "\v",          "\f",
                                            "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
  return !character.empty() && trimWhitespace(character).empty() &&
         std::find(std::begin(kLineEnds), std::end(kLineEnds), character) == std::end(kLineEnds);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// `at` moved back by as many characters; a start of the text that is nearer ends it.
std::size_t unitsBefore(std::string_view text, std::size_t at, std::size_t units) {
  while (at > 0 && units > 0) {
    --at;
    const auto byte = static_cast<unsigned char>(text[at]);
    if ((byte & 0xC0U) == 0x80) continue;  // inside a character
    units -= byte >= 0xF0 && units > 1 ? 2 : 1;
  }
  return at;
}

/// Where the property list begins; npos when there is none.
std::size_t findPlist(std::string_view text) {
  std::size_t marker = text.find("Apple//DTD PLIST");
  if (marker == std::string_view::npos) marker = text.find("Apple Computer//DTD PLIST");
  if (marker == std::string_view::npos) return marker;
  const std::size_t begin = text.find("<?xml", unitsBefore(text, marker, kUnitsBeforeMarker));
  return begin == 0 ? std::string_view::npos : begin;
}

}  // namespace

std::string_view strippedMessage(std::string_view text, std::string& scratch, MessageTags& tags) {
  if (holds(text, "\r") || holds(text, kQuotedFrom)) {
    scratch.assign(text);
    normalizeLineEnds(scratch);
    // Some mail servers quote the line of the sender twice and put it among the headers.
    replaceAll(scratch, kQuotedFrom, kReturnPath);
    text = scratch;
  }
  if (text.starts_with(kBom)) text.remove_prefix(kBom.size());
  if (!text.empty() && isDigit(text.front())) {
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  }
  const std::string_view first = utf16Prefix(text.substr(0, 4), 1);
  if (isBlank(first)) text.remove_prefix(first.size());
  const std::size_t plist = findPlist(text);
  if (plist != std::string_view::npos) {
    tags = {};
    findTags(text.substr(plist), tags);
    text = text.substr(0, plist);
  }
  return text;
}

void stripPlist(std::string& text, MessageTags& tags) {
  std::string scratch;
  text = std::string(strippedMessage(text, scratch, tags));
}

void findTags(std::string_view plist, MessageTags& tags) {
  Lines lines(plist);
  while (const auto line = lines.next()) {
    if (holds(*line, "<key>mailTagsAnnotation</key>")) {
      if (auto notes = longString(lines)) tags.tagNotes = std::move(*notes);
    } else if (holds(*line, "<key>mailTagsKeyWords</key>")) {
      readList(lines, tags.tagKeywords);
      tags.tagKeywordsFromFile = tags.tagKeywords;
    } else if (holds(*line, "<key>mailTagsProject</key>")) {
      readList(lines, tags.tagCategory);
    } else if (holds(*line, "<key>mailTagsPriority</key>")) {
      const auto value = lines.next();
      if (!value) break;
      if (const auto priority = between(*value, "<integer>", "</integer>")) {
        tags.tagPriority = *priority;
      }
    }
  }
}

}  // namespace keldane
