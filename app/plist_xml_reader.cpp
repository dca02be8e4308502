#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "app/plist_readers.h"
#include "base/text.h"

namespace keldane {
namespace {

using Read = std::optional<PlistValue>;

constexpr std::size_t kMostEntityBytes = 12;

bool appendEntity(std::string& text, std::string_view name) {
  constexpr std::array<std::pair<std::string_view, char>, 5> kNamed = {
      {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};
  for (const auto& [known, character] : kNamed) {
    if (name != known) continue;
    text += character;
    return true;
  }
  if (!name.starts_with('#')) return false;
  name.remove_prefix(1);
  const int base = name.starts_with('x') ? 16 : 10;
  if (base == 16) name.remove_prefix(1);
  unsigned long c = 0;
  const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), c, base);
  if (fault != std::errc() || end != name.data() + name.size()) return false;
  if (c == 0) return false;
  appendUtf8(text, static_cast<char32_t>(std::min(c, 0x110000UL)));
  return true;
}

Read integerFrom(std::string_view text) {
  text = trimWhitespace(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint64_t size = 0;
  const auto [end, fault] =
      std::from_chars(text.data(), text.data() + text.size(), size, hexadecimal ? 16 : 10);
  if (fault != std::errc() || end != text.data() + text.size()) return std::nullopt;
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (size <= kMost) {
    const auto value = static_cast<std::int64_t>(size);
    return PlistValue{negative ? -value : value};
  }
  if (negative && size == kMost + 1) return PlistValue{std::numeric_limits<std::int64_t>::min()};
  if (negative) return std::nullopt;
  return PlistValue{PlistOpaque{PlistOpaque::Kind::number, std::to_string(size)}};
}

Read realFrom(std::string_view text) {
  text = trimWhitespace(text);
  const bool negative = text.starts_with('-');
  const std::string_view name = negative || text.starts_with('+') ? text.substr(1) : text;
  if (compareNoCase(name, "nan") == 0) return PlistValue{std::nan("")};
  if (compareNoCase(name, "inf") == 0 || compareNoCase(name, "infinity") == 0) {
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    return PlistValue{negative ? -kInfinite : kInfinite};
  }
  if (text.empty() || text.find_first_not_of("+-.0123456789eE") != std::string_view::npos) {
    return std::nullopt;
  }
  return PlistValue{leadingDouble(text)};
}

/// Days from 1970-01-01 to a day of the Gregorian calendar, which is carried on to all years.
std::int64_t daysTo(std::int64_t year, int month, int day) {
  // A year that begins in March ends with the day that comes and goes.
  if (month <= 2) --year;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

/// "2023-02-03T04:05:06Z"
Read dateFrom(std::string_view text) {
  text = trimWhitespace(text);
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  constexpr std::string_view kBehind = "--T::Z";
  std::array<std::int64_t, 6> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto [end, fault] = std::from_chars(
        text.data(), text.data() + std::min<std::size_t>(text.size(), 9), numbers[i]);
    const auto used = static_cast<std::size_t>(end - text.data());
    if (fault != std::errc() || used >= text.size() || text[used] != kBehind[i]) {
      return std::nullopt;
    }
    text.remove_prefix(used + 1);
  }
  const auto [year, month, day, hour, minute, second] = numbers;
  constexpr std::array<std::int64_t, 6> kLeast = {0, 1, 1, 0, 0, 0};
  constexpr std::array<std::int64_t, 6> kMost = {99999999, 12, 31, 23, 59, 60};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] < kLeast[i] || numbers[i] > kMost[i]) return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  const std::int64_t days =
      daysTo(negative ? -year : year, static_cast<int>(month), static_cast<int>(day));
  return plistDate(days * 86400 + hour * 3600 + minute * 60 + second - kPlistEpoch, 0);
}

int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

Read dataFrom(std::string_view text) {
  PlistOpaque data{PlistOpaque::Kind::data, {}};
  unsigned bits = 0;
  int held = 0;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (c == '=') break;
    const int digit = base64Digit(c);
    if (digit < 0) return std::nullopt;
    bits = (bits << 6U) | static_cast<unsigned>(digit);
    held += 6;
    if (held < 8) continue;
    held -= 8;
    data.bytes += static_cast<char>((bits >> static_cast<unsigned>(held)) & 0xFFU);
  }
  return PlistValue{std::move(data)};
}

/// Reads the XML form front to back. Knows of XML what property lists hold: no attributes are
/// looked at, and no entities but the five of XML and numbered characters.
class XmlReader {
 public:
  explicit XmlReader(std::string_view text) : text_(text) {}

  [[nodiscard]] Read document() {
    if (text_.starts_with("\xEF\xBB\xBF")) at_ = 3;
    if (!skipToTag() || !openTag() || name_ != "plist" || selfClosing_) return std::nullopt;
    if (!skipToTag()) return std::nullopt;
    Read value = readValue(0);
    if (!value || !skipToTag() || !closeTag("plist")) return std::nullopt;
    return value;
  }

 private:
  [[nodiscard]] bool startsWith(std::string_view what) const {
    return text_.substr(at_).starts_with(what);
  }

  bool skipPast(std::string_view what) {
    const std::size_t found = text_.find(what, at_);
    if (found == std::string_view::npos) return false;
    at_ = found + what.size();
    return true;
  }

  /// Passes over blanks, comments, instructions and the document type; false at the end, or when
  /// text stands there.
  bool skipToTag() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
        ++at_;
      } else if (startsWith("<!--")) {
        if (!skipPast("-->")) return false;
      } else if (startsWith("<?")) {
        if (!skipPast("?>")) return false;
      } else if (startsWith("<!DOCTYPE")) {
        if (!skipPast(">")) return false;
      } else {
        return c == '<';
      }
    }
    return false;
  }

  /// Takes "<name ...>" or "<name ... />".
  bool openTag() {
    const std::size_t end = text_.find('>', at_);
    if (end == std::string_view::npos) return false;
    std::string_view inside = text_.substr(at_ + 1, end - at_ - 1);
    selfClosing_ = inside.ends_with('/');
    if (selfClosing_) inside.remove_suffix(1);
    name_ = inside.substr(0, inside.find_first_of(" \t\r\n"));
    at_ = end + 1;
    return !name_.empty();
  }

  bool closeTag(std::string_view name) {
    if (!startsWith("</") || !text_.substr(at_ + 2).starts_with(name)) return false;
    at_ += 2 + name.size();
    while (at_ < text_.size() && text_[at_] != '>') {
      const char c = text_[at_];
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return false;
      ++at_;
    }
    return at_++ < text_.size();
  }

  bool takeEntity(std::string& content) {
    const std::size_t end = text_.substr(at_, kMostEntityBytes).find(';');
    if (end == std::string_view::npos) return false;
    const std::string_view name = text_.substr(at_ + 1, end - 1);
    at_ += end + 1;
    return appendEntity(content, name);
  }

  /// The text up to the closing tag, which it takes.
  std::optional<std::string> content(std::string_view name) {
    std::string found;
    if (selfClosing_) return found;
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == '&') {
        if (!takeEntity(found)) return std::nullopt;
      } else if (startsWith("<![CDATA[")) {
        const std::size_t start = at_ + 9;
        if (!skipPast("]]>")) return std::nullopt;
        found += text_.substr(start, at_ - 3 - start);
      } else if (startsWith("<!--")) {
        if (!skipPast("-->")) return std::nullopt;
      } else if (c == '<') {
        if (!closeTag(name)) return std::nullopt;
        return toUtf8(found);
      } else if (c == '\r') {
        // A line end is one character to XML, whatever the file has; a real one is written "&#13;".
        if (at_ + 1 >= text_.size() || text_[at_ + 1] != '\n') found += '\n';
        ++at_;
      } else {
        found += c;
        ++at_;
      }
    }
    return std::nullopt;
  }

  Read readValue(int depth) {
    if (depth > kPlistMostDepth || !openTag()) return std::nullopt;
    const std::string_view name = name_;
    if (name == "dict") return readDict(depth);
    if (name == "array") return readArray(depth);
    const std::optional<std::string> inside = content(name);
    if (!inside) return std::nullopt;
    if (name == "string") return PlistValue{*inside};
    if (name == "true") return PlistValue{true};
    if (name == "false") return PlistValue{false};
    if (name == "integer") return integerFrom(*inside);
    if (name == "real") return realFrom(*inside);
    if (name == "date") return dateFrom(*inside);
    if (name == "data") return dataFrom(*inside);
    return std::nullopt;
  }

  Read readArray(int depth) {
    PlistArray array;
    if (selfClosing_) return PlistValue{std::move(array)};
    while (skipToTag()) {
      if (startsWith("</")) {
        if (!closeTag("array")) return std::nullopt;
        return PlistValue{std::move(array)};
      }
      Read value = readValue(depth + 1);
      if (!value) return std::nullopt;
      array.push_back(std::move(*value));
    }
    return std::nullopt;
  }

  Read readDict(int depth) {
    PlistDict dict;
    if (selfClosing_) return PlistValue{std::move(dict)};
    while (skipToTag()) {
      if (startsWith("</")) {
        if (!closeTag("dict")) return std::nullopt;
        return PlistValue{std::move(dict)};
      }
      if (!openTag() || name_ != "key") return std::nullopt;
      std::optional<std::string> key = content("key");
      if (!key || !skipToTag()) return std::nullopt;
      Read value = readValue(depth + 1);
      if (!value) return std::nullopt;
      dict.insert_or_assign(std::move(*key), std::move(*value));
    }
    return std::nullopt;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string_view name_;     ///< of the tag taken last
  bool selfClosing_ = false;  ///< whether that tag was its own end
};

}  // namespace

Result<PlistValue> parseXmlPlist(std::string_view bytes) {
  Read value = XmlReader(bytes).document();
  if (!value) return Failure{"not a whole property list"};
  return std::move(*value);
}

}  // namespace keldane
