#include "mime/headers/date_parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/tarnell_sys_time.h"

namespace keldane::mime {
namespace {

constexpr std::size_t kMostBytes = 199;

struct MonthName {
  std::string_view name;
  int month;
};
constexpr std::array<MonthName, 18> kMonths = {{
    {"jan", 1},
    {"feb", 2},
    {"mar", 3},
    {"apr", 4},
    {"may", 5},
    {"jun", 6},
    {"jul", 7},
    {"aug", 8},
    {"sep", 9},
    {"oct", 10},
    {"nov", 11},
    {"dec", 12},
    // As mail programs in other languages wrote them.
    {"ian", 1},
    {"fev", 2},
    {"mai", 5},
    {"set", 9},
    {"okt", 10},
    {"dez", 12},
}};

struct Zone {
  std::string_view name;
  std::string_view offset;
};
constexpr std::array<Zone, 15> kZones = {{
    {"ut", "0000"},
    {"gmt", "0000"},
    {"z", "0000"},
    {"est", "-0500"},
    {"edt", "-0400"},
    {"cst", "-0600"},
    {"cdt", "-0500"},
    {"mst", "-0700"},
    {"mdt", "-0600"},
    {"pst", "-0800"},
    {"pdt", "-0700"},
    {"a", "-0100"},
    {"m", "-1200"},
    {"n", "0100"},
    {"y", "1200"},
}};

constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// A cursor with the reading habits of a scanner: numbers may follow white space and carry a sign.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool atEnd() const { return rest_.empty(); }
  [[nodiscard]] char peek() const { return rest_.empty() ? '\0' : rest_.front(); }
  [[nodiscard]] std::string_view rest() const { return rest_; }
  void skip(std::size_t n = 1) { rest_.remove_prefix(std::min(n, rest_.size())); }
  void skipBlanks() {
    while (isBlank(peek())) skip();
  }
  void skipAny(std::string_view set) {
    while (!atEnd() && set.find(peek()) != std::string_view::npos) skip();
  }
  std::string_view takeUntil(std::string_view stops) {
    const std::size_t n = std::min(rest_.find_first_of(stops), rest_.size());
    const std::string_view taken = rest_.substr(0, n);
    skip(n);
    return taken;
  }
  /// Up to `most` digits as they stand.
  std::string_view takeDigits(std::size_t most) {
    std::size_t n = 0;
    while (n < rest_.size() && n < most && isDigit(rest_[n])) ++n;
    const std::string_view taken = rest_.substr(0, n);
    skip(n);
    return taken;
  }
  /// A decimal number after white space, with a sign if it has one, of at most `width` characters
  /// (0: any number), held at a million. nullopt, nothing consumed, when there is none.
  std::optional<int> scanInt(std::size_t width = 0) {
    const std::string_view start = rest_;
    skipAny(" \t\r\n\v\f");
    std::size_t left = width == 0 ? rest_.size() : std::min(width, rest_.size());
    bool negative = false;
    if (left != 0 && (peek() == '-' || peek() == '+')) {
      negative = peek() == '-';
      skip();
      --left;
    }
    const std::string_view digits = takeDigits(left);
    if (digits.empty()) {
      rest_ = start;
      return std::nullopt;
    }
    int value = 0;
    for (const char c : digits) value = std::min(value * 10 + (c - '0'), 1000000);
    return negative ? -value : value;
  }
  bool take(char c) {
    if (peek() != c || atEnd()) return false;
    skip();
    return true;
  }

 private:
  std::string_view rest_;
};

int smallNumber(std::string_view digits) {
  int value = 0;
  for (const char c : digits) value = std::min(value * 10 + (c - '0'), 1000000);
  return value;
}

int monthNumber(std::string_view word) {
  for (const MonthName& each : kMonths) {
    if (word.substr(0, 3) == each.name) return each.month;
  }
  return 0;
}

bool isWeekday(std::string_view word) {
  static constexpr std::array<std::string_view, 7> kDays = {"sun", "mon", "tue", "wed",
                                                            "thu", "fri", "sat"};
  return std::find(kDays.begin(), kDays.end(), word) != kDays.end();
}

struct Fields {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

/// The separators between day, month and year.
void skipSeparators(Cursor& cursor) { cursor.skipAny("\t -"); }

bool readMonth(Cursor& cursor, std::string_view& word, LogBase& log) {
  word = cursor.takeUntil(std::string_view("\0\t\n -", 5));
  if (word.size() > 5) {
    log.LogError("parseRfc822Date: month string is too long");
    return false;
  }
  return true;
}

bool readDate(Cursor& cursor, Fields& fields, LogBase& log) {
  std::string_view monthWord;
  if (isDigit(cursor.peek())) {
    fields.day = smallNumber(cursor.takeDigits(3));
    if (fields.day < 1 || fields.day > 31) {
      log.LogError("parseRfc822Date: day out of range (1-31)");
      return false;
    }
    skipSeparators(cursor);
    if (!readMonth(cursor, monthWord, log)) return false;
  } else {
    if (!readMonth(cursor, monthWord, log)) return false;
    skipSeparators(cursor);
    const std::string_view digits = cursor.takeDigits(3);
    // No day has three digits: a word that is no month stands in front of a year.
    if (digits.size() > 2) {
      log.LogError("parseRfc822Date: day out of range (1-31)");
      return false;
    }
    fields.day = smallNumber(digits);
  }
  skipSeparators(cursor);
  fields.year = smallNumber(cursor.takeDigits(6));
  if (fields.year < 1900) fields.year += fields.year > 49 ? 1900 : 2000;
  fields.month = monthNumber(monthWord);
  if (fields.month == 0) {
    log.LogError("parseRfc822Date: invalid month abbreviation");
    return false;
  }
  return true;
}

bool readTime(Cursor& cursor, Fields& fields, LogBase& log) {
  const auto hour = cursor.scanInt();
  const bool colon = hour && cursor.take(':');
  const auto minute = colon ? cursor.scanInt() : std::nullopt;
  if (!minute) {
    log.LogError("parseRfc822Date: HH:MM:SS not found");
    return false;
  }
  fields.hour = *hour;
  fields.minute = *minute;
  Cursor ahead = cursor;
  if (ahead.take(':')) {
    if (const auto second = ahead.scanInt()) {
      fields.second = *second;
      cursor = ahead;
    }
  }
  // The word of the time ends at a blank, whatever is left in it.
  cursor.takeUntil(" \t");
  return true;
}

/// "eastern standard time" and its kind as "est" and so on; any other word as it stands.
std::string_view shortZone(std::string_view word, Cursor& cursor) {
  struct LongZone {
    std::string_view name;
    std::string_view standard;
    std::string_view daylight;
  };
  static constexpr std::array<LongZone, 4> kLong = {{{"eastern", "est", "edt"},
                                                     {"central", "cst", "cdt"},
                                                     {"mountain", "mst", "mdt"},
                                                     {"pacific", "pst", "pdt"}}};
  for (const LongZone& zone : kLong) {
    if (word != zone.name) continue;
    cursor.skipBlanks();
    return cursor.takeUntil(" \t") == "daylight" ? zone.daylight : zone.standard;
  }
  return word;
}

/// The zone's text, as an offset; handles "am" and "pm" in front of it.
std::string_view readZone(Cursor& cursor, Fields& fields) {
  const auto nextWord = [&cursor] {
    cursor.skipBlanks();
    cursor.take('+');
    const std::string_view word = cursor.takeUntil(" \t\r\n");
    return word.empty() ? std::string_view("gmt") : word;
  };
  std::string_view word = nextWord();
  if (word == "am" || word == "pm") {
    if (word == "pm" && fields.hour < 12) fields.hour += 12;
    word = nextWord();
  }
  word = shortZone(word, cursor);
  if (word.front() == '-' || isDigit(word.front())) return word;
  for (const Zone& zone : kZones) {
    if (word == zone.name) return zone.offset;
  }
  return "0000";
}

/// Seconds to add to reach UTC.
std::optional<std::int64_t> offsetSeconds(std::string_view offset) {
  Cursor cursor(offset);
  const bool behind = cursor.take('-');
  int hours = 0;
  int minutes = 0;
  Cursor first = cursor;
  const auto whole = first.scanInt(2);
  if (!whole) return std::nullopt;
  Cursor second = first;
  const auto close = second.scanInt(2);
  if (close) {
    hours = *whole;
    minutes = *close;
  } else if (first.take(':')) {
    hours = *whole;
    minutes = first.scanInt(2).value_or(0);
  } else {
    hours = cursor.scanInt().value_or(0);
  }
  const std::int64_t seconds = (std::int64_t{hours} * 60 + minutes) * 60;
  return behind ? seconds : -seconds;
}

bool fail(TarnellSysTime& out) {
  out.getCurrentLocal();
  return false;
}

bool parseFields(Cursor& cursor, TarnellSysTime& out, LogBase& log) {
  if (isWeekday(cursor.rest().substr(0, 3))) {
    cursor.takeUntil(" \t,");
    cursor.skipBlanks();
    cursor.take(',');
    cursor.skipBlanks();
  }
  Fields fields;
  if (!readDate(cursor, fields, log) || !readTime(cursor, fields, log)) return fail(out);
  const auto offset = offsetSeconds(readZone(cursor, fields));
  if (!offset) {
    log.LogError("parseRfc822Date: invalid timezone");
    return fail(out);
  }
  out.fromUnixTime(daysFromDate(fields.year, fields.month, fields.day) * 86400 +
                   std::int64_t{fields.hour} * 3600 + std::int64_t{fields.minute} * 60 +
                   fields.second + *offset);
  return true;
}

/// `count` digits as a number; nullopt when one is missing.
std::optional<int> fixedNumber(std::string_view text, std::size_t at, std::size_t count) {
  if (at + count > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (!isDigit(text[i])) return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

}  // namespace

bool _tnDateParser::parseRFC822Date(const char* text, std::size_t n, TarnellSysTime& out,
                                    LogBase& log) {
  LogContextExitor context(log, "parseRFC822Date");
  if (text == nullptr) {
    log.LogError("parseRfc822Date: empty string");
    log.LogInfo("Returning current date/time");
    return fail(out);
  }
  std::array<char, kMostBytes> date;
  std::size_t size = 0;
  const bool quoted = n != 0 && text[0] == '"';
  for (std::size_t i = 0; i < n && text[i] != '\0' && size < kMostBytes; ++i) {
    if (!quoted || text[i] != '"') date[size++] = text[i];
  }
  if (size > 10 && date[4] == '-' && date[7] == '-' && date[10] == 'T') {
    return AtomDateToSysTime({date.data(), size}, out, log);
  }
  std::transform(date.data(), date.data() + size, date.data(), asciiLower);
  Cursor cursor({date.data(), size});
  cursor.skipBlanks();
  if (cursor.atEnd()) return false;
  return parseFields(cursor, out, log);
}

bool _tnDateParser::AtomDateToSysTime(std::string_view text, TarnellSysTime& out, LogBase& log) {
  LogContextExitor context(log, "AtomDateToSysTime");
  const auto year = fixedNumber(text, 0, 4);
  const auto month = fixedNumber(text, 5, 2);
  const auto day = fixedNumber(text, 8, 2);
  const auto hour = fixedNumber(text, 11, 2);
  const auto minute = fixedNumber(text, 14, 2);
  const bool good = year && month && day && hour && minute && text[4] == '-' && text[7] == '-' &&
                    text[13] == ':' && *month >= 1 && *month <= 12 && *day >= 1 && *day <= 31 &&
                    *hour <= 24 && *minute <= 59;
  if (!good) {
    log.LogError("Not an RFC 3339 date.");
    return false;
  }
  std::size_t at = 16;
  const auto second = at < text.size() && text[at] == ':' ? fixedNumber(text, 17, 2) : std::nullopt;
  if (second) at = 19;
  int millisecond = 0;
  if (at < text.size() && text[at] == '.') {
    int weight = 100;
    for (++at; at < text.size() && isDigit(text[at]); ++at, weight /= 10) {
      millisecond += (text[at] - '0') * weight;
    }
  }
  std::int64_t offset = 0;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    const auto hours = fixedNumber(text, at + 1, 2);
    const bool colon = at + 3 < text.size() && text[at + 3] == ':';
    const auto minutes = fixedNumber(text, at + (colon ? 4U : 3U), 2);
    offset = (hours.value_or(0) * 60 + minutes.value_or(0)) * 60;
    if (text[at] == '+') offset = -offset;
  }
  out.fromUnixTime(daysFromDate(*year, *month, *day) * 86400 + *hour * 3600 + *minute * 60 +
                   second.value_or(0) + offset);
  out.millisecond = static_cast<std::uint16_t>(millisecond);
  return true;
}

}  // namespace keldane::mime
