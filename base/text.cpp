#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

#include <unicode/uchar.h>

namespace keldane {
namespace {

constexpr char32_t kBadByte = 0x110000;  ///< added to a byte that belongs to no character
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// One character of a text, or one byte that belongs to none.
struct Unit {
  char32_t value = 0;
  std::size_t bytes = 0;
  [[nodiscard]] bool valid() const { return value < kBadByte; }
};

struct LeadByte {
  std::size_t length = 0;
  char32_t bits = 0;
  char32_t lowest = 0;  ///< anything below is an overlong form
};

LeadByte classifyLead(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return {2, lead & 0x1FU, 0x80};
  if (lead >= 0xE0 && lead <= 0xEF) return {3, lead & 0x0FU, 0x800};
  if (lead >= 0xF0 && lead <= 0xF4) return {4, lead & 0x07U, 0x10000};
  return {};
}

/// The unit at `at`, which is inside the text.
Unit unitAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead < 0x80) return {lead, 1};
  const Unit bad{kBadByte + lead, 1};
  const LeadByte form = classifyLead(lead);
  if (form.length == 0 || form.length > text.size() - at) return bad;
  char32_t value = form.bits;
  for (std::size_t i = 1; i < form.length; ++i) {
    const auto next = static_cast<unsigned char>(text[at + i]);
    if ((next & 0xC0U) != 0x80) return bad;
    value = (value << 6U) | (next & 0x3FU);
  }
  if (value < form.lowest || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return bad;
  return {value, form.length};
}

/// The unit that ends at `end`, which is behind the first byte.
Unit unitBefore(std::string_view text, std::size_t end) {
  const std::size_t reach = std::min<std::size_t>(end, 4);
  for (std::size_t back = 1; back <= reach; ++back) {
    const Unit unit = unitAt(text.substr(0, end), end - back);
    if (unit.valid() && unit.bytes == back) return unit;
  }
  return {kBadByte + static_cast<unsigned char>(text[end - 1]), 1};
}

std::size_t utf16Units(const Unit& unit) { return unit.valid() && unit.value >= 0x10000 ? 2 : 1; }

bool isSpace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

char32_t foldedAt(std::string_view text, std::size_t at, std::size_t& bytes) {
  const Unit unit = unitAt(text, at);
  bytes = unit.bytes;
  if (unit.value < 0x80) {
    return unit.value >= 'A' && unit.value <= 'Z' ? unit.value + 0x20 : unit.value;
  }
  if (!unit.valid()) return unit.value;
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(unit.value), U_FOLD_CASE_DEFAULT));
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t skipDigits(std::string_view text, std::size_t at) {
  while (at < text.size() && isDigit(text[at])) ++at;
  return at;
}

std::size_t skipSign(std::string_view text, std::size_t at) {
  return at < text.size() && (text[at] == '+' || text[at] == '-') ? at + 1 : at;
}

/// Length of the decimal number that `text` begins with; 0 when there is none.
std::size_t numberLength(std::string_view text) {
  const std::size_t first = skipSign(text, 0);
  std::size_t end = skipDigits(text, first);
  std::size_t digits = end - first;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fraction = skipDigits(text, end + 1);
    digits += fraction - end - 1;
    end = fraction;
  }
  if (digits == 0) return 0;
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const std::size_t exponent = skipSign(text, end + 1);
    const std::size_t last = skipDigits(text, exponent);
    if (last > exponent) end = last;
  }
  return end;
}

/// Turns the direction of what follows, up to its counterpart.
bool turnsDirection(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  if (from.empty()) return;
  std::size_t found = text.find(from);
  if (found == std::string::npos) return;
  std::string result;
  result.reserve(text.size() + to.size());
  std::size_t start = 0;
  while (found != std::string::npos) {
    result.append(text, start, found - start).append(to);
    start = found + from.size();
    found = text.find(from, start);
  }
  result.append(text, start);
  text = std::move(result);
}

void removeAll(std::string& text, std::string_view what) { replaceAll(text, what, {}); }

std::string_view trimWhitespace(std::string_view text) {
  while (!text.empty()) {
    const Unit unit = unitAt(text, 0);
    if (!isSpace(unit.value)) break;
    text.remove_prefix(unit.bytes);
  }
  while (!text.empty()) {
    const Unit unit = unitBefore(text, text.size());
    if (!isSpace(unit.value)) break;
    text.remove_suffix(unit.bytes);
  }
  return text;
}

void normalizeLineEnds(std::string& text) {
  std::size_t to = text.find('\r');
  if (to == std::string::npos) return;
  for (std::size_t from = to; from < text.size(); ++from) {
    if (text[from] == '\r') {
      if (from + 1 < text.size() && text[from + 1] == '\n') ++from;
      text[to++] = '\n';
    } else {
      text[to++] = text[from];
    }
  }
  text.resize(to);
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Unit unit = unitAt(text, at);
    units += utf16Units(unit);
    at += unit.bytes;
  }
  return units;
}

std::string_view utf16Prefix(std::string_view text, std::size_t units) {
  // No character takes more units than bytes.
  if (text.size() <= units) return text;
  std::size_t at = 0;
  while (at < text.size()) {
    const Unit unit = unitAt(text, at);
    if (utf16Units(unit) > units) break;
    units -= utf16Units(unit);
    at += unit.bytes;
  }
  return text.substr(0, at);
}

void appendUtf8(std::string& text, char32_t character) {
  const auto tail = [&text](char32_t bits) { text += static_cast<char>(0x80U | (bits & 0x3FU)); };
  if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) {
    text += kReplacement;
  } else if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0U | (character >> 6U));
    tail(character);
  } else if (character < 0x10000) {
    text += static_cast<char>(0xE0U | (character >> 12U));
    tail(character >> 6U);
    tail(character);
  } else {
    text += static_cast<char>(0xF0U | (character >> 18U));
    tail(character >> 12U);
    tail(character >> 6U);
    tail(character);
  }
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    // Most mail is ASCII, so eight bytes are looked at in one.
    std::uint64_t eight = 0;
    if (at + sizeof eight <= text.size()) {
      std::memcpy(&eight, text.data() + at, sizeof eight);
      if ((eight & 0x8080808080808080U) == 0) {
        at += sizeof eight;
        continue;
      }
    }
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      ++at;
      continue;
    }
    const Unit unit = unitAt(text, at);
    if (!unit.valid()) return false;
    at += unit.bytes;
  }
  return true;
}

void repairUtf8(std::string& text) {
  if (isValidUtf8(text)) return;
  std::string repaired;
  repaired.reserve(text.size() + text.size() / 8);
  for (std::size_t at = 0; at < text.size();) {
    const Unit unit = unitAt(text, at);
    repaired += unit.valid() ? std::string_view(text).substr(at, unit.bytes) : kReplacement;
    at += unit.valid() ? unit.bytes : 1;
  }
  text = std::move(repaired);
}

std::string latin1ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char byte : bytes) appendUtf8(text, static_cast<unsigned char>(byte));
  return text;
}

std::string toUtf8(std::string_view bytes) {
  return isValidUtf8(bytes) ? std::string(bytes) : latin1ToUtf8(bytes);
}

int compareNoCase(std::string_view a, std::string_view b) {
  std::size_t atA = 0;
  std::size_t atB = 0;
  while (atA < a.size() && atB < b.size()) {
    std::size_t bytesA = 0;
    std::size_t bytesB = 0;
    const char32_t left = foldedAt(a, atA, bytesA);
    const char32_t right = foldedAt(b, atB, bytesB);
    if (left != right) return left < right ? -1 : 1;
    atA += bytesA;
    atB += bytesB;
  }
  if (atA < a.size()) return 1;
  return atB < b.size() ? -1 : 0;
}

std::string foldedKey(std::string_view text) {
  constexpr char kBehindCharacters = '\xF5';
  std::string key;
  key.reserve(text.size());
  for (std::size_t at = 0, bytes = 0; at < text.size(); at += bytes) {
    const char32_t character = foldedAt(text, at, bytes);
    if (character < 0x80) {
      key += static_cast<char>(character);
    } else if (character < kBadByte) {
      appendUtf8(key, character);
    } else {
      key += kBehindCharacters;
      key += static_cast<char>(character - kBadByte);
    }
  }
  return key;
}

std::optional<std::size_t> findNoCase(std::string_view text, std::string_view needle) {
  std::vector<char32_t> wanted;
  for (std::size_t at = 0, bytes = 0; at < needle.size(); at += bytes) {
    wanted.push_back(foldedAt(needle, at, bytes));
  }
  if (wanted.empty()) return std::nullopt;
  // The text may be a hostile message's: a border table keeps the search linear whatever it holds.
  std::vector<std::size_t> borders(wanted.size(), 0);
  for (std::size_t i = 1, border = 0; i < wanted.size(); ++i) {
    while (border > 0 && wanted[i] != wanted[border]) border = borders[border - 1];
    if (wanted[i] == wanted[border]) ++border;
    borders[i] = border;
  }
  // Folding changes the number of bytes, so the start of each character of the match is kept.
  std::vector<std::size_t> starts(wanted.size(), 0);
  std::size_t matched = 0;
  std::size_t count = 0;
  // A first character that has no other case, such as the "<" of a tag, is found without folding.
  const bool hasOneForm = wanted[0] < 0x80 && !(wanted[0] >= 'a' && wanted[0] <= 'z');
  for (std::size_t at = 0, bytes = 0; at < text.size(); at += bytes, ++count) {
    if (hasOneForm && matched == 0) {
      at = text.find(static_cast<char>(wanted[0]), at);
      if (at == std::string_view::npos) return std::nullopt;
    }
    const char32_t c = foldedAt(text, at, bytes);
    starts[count % starts.size()] = at;
    while (matched > 0 && c != wanted[matched]) matched = borders[matched - 1];
    if (c == wanted[matched]) ++matched;
    if (matched == wanted.size()) return starts[(count + 1) % starts.size()];
  }
  return std::nullopt;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (!separator.empty()) {
    for (std::size_t found = text.find(separator); found != std::string_view::npos;
         found = text.find(separator)) {
      pieces.emplace_back(text.substr(0, found));
      text.remove_prefix(found + separator.size());
    }
  }
  pieces.emplace_back(text);
  return pieces;
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) text += separator;
    text += pieces[i];
  }
  return text;
}

int leadingInt(std::string_view text) {
  text = trimWhitespace(text);
  const bool negative = !text.empty() && text.front() == '-';
  std::int64_t value = 0;
  for (std::size_t at = skipSign(text, 0); at < text.size() && isDigit(text[at]); ++at) {
    value = std::min<std::int64_t>(value * 10 + (text[at] - '0'), std::int64_t{1} << 40);
  }
  if (negative) value = -value;
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                   std::numeric_limits<std::int32_t>::max()));
}

double leadingDouble(std::string_view text) {
  text = trimWhitespace(text);
  text = text.substr(0, numberLength(text));
  if (text.empty()) return 0;
  // A stream of the classic locale: the decimal sign is a point wherever the program runs.
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double value = 0;
  stream >> value;
  return value;
}

bool matchesWildcard(std::string_view text, std::string_view pattern) {
  const std::vector<std::string> pieces = split(pattern, "*");
  if (pieces.size() == 1) return text == pattern;
  if (!text.starts_with(pieces.front())) return false;
  text.remove_prefix(pieces.front().size());
  for (std::size_t i = 1; i + 1 < pieces.size(); ++i) {
    const std::size_t found = text.find(pieces[i]);
    if (found == std::string_view::npos) return false;
    text.remove_prefix(found + pieces[i].size());
  }
  return text.ends_with(pieces.back());
}

std::string_view lastPathComponent(std::string_view path) {
  const std::size_t last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.substr(0, std::min<std::size_t>(path.size(), 1));
  path = path.substr(0, last + 1);
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Unit unit = unitAt(text, at);
    const char32_t c = unit.value;
    if (c == '\t' || c == '\n' || c == '\r' || c == 0x2028 || c == 0x2029) {
      shown += ' ';
    } else if (c < 0x20 || (c >= 0x7F && c < 0xA0) || !unit.valid()) {
      shown += kReplacement;
    } else if (!turnsDirection(c)) {
      shown += text.substr(at, unit.bytes);
    }
    at += unit.bytes;
  }
  return shown;
}

}  // namespace keldane
