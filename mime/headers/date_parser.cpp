#include "mime/headers/date_parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/parse_engine.h"
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

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

constexpr std::string_view kBlanks = " \t";

int smallNumber(std::string_view digits) {
  int value = 0;
  for (const char c : digits) value = std::min(value * 10 + (c - '0'), 1000000);
  return value;
}

/// Up to `most` digits as they stand.
std::string_view takeDigits(ParseEngine& cursor, std::size_t most) {
  const std::string_view rest = cursor.rest().substr(0, most);
  return cursor.captureN(std::min(rest.find_first_not_of("0123456789"), rest.size()));
}

/// A decimal number after white space, with a sign if it has one, of at most `width` characters,
/// held at a million. nullopt, nothing consumed, when there is none.
std::optional<int> scanInt(ParseEngine& cursor, std::size_t width = kMostBytes) {
  ParseEngine ahead = cursor;
  ahead.skipChars(" \t\r\n\v\f");
  const bool negative = ahead.peekChar() == '-';
  if (width != 0 && (ahead.consumeIf('-') || ahead.consumeIf('+'))) --width;
  const std::string_view digits = takeDigits(ahead, width);
  if (digits.empty()) return std::nullopt;
  cursor = ahead;
  return negative ? -smallNumber(digits) : smallNumber(digits);
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
void skipSeparators(ParseEngine& cursor) { cursor.skipChars("\t -"); }

bool readMonth(ParseEngine& cursor, std::string_view& word, LogBase& log) {
  word = cursor.captureToNext4(std::string_view("\0\t\n -", 5));
  if (word.size() > 5) {
    log.LogError("parseRfc822Date: month string is too long");
    return false;
  }
  return true;
}

bool readDate(ParseEngine& cursor, Fields& fields, LogBase& log) {
  std::string_view monthWord;
  if (isDigit(cursor.peekChar())) {
    fields.day = smallNumber(takeDigits(cursor, 3));
    if (fields.day < 1 || fields.day > 31) {
      log.LogError("parseRfc822Date: day out of range (1-31)");
      return false;
    }
    skipSeparators(cursor);
    if (!readMonth(cursor, monthWord, log)) return false;
  } else {
    if (!readMonth(cursor, monthWord, log)) return false;
    skipSeparators(cursor);
    const std::string_view digits = takeDigits(cursor, 3);
    // No day has three digits: a word that is no month stands in front of a year.
    if (digits.size() > 2) {
      log.LogError("parseRfc822Date: day out of range (1-31)");
      return false;
    }
    fields.day = smallNumber(digits);
  }
  skipSeparators(cursor);
  fields.year = smallNumber(takeDigits(cursor, 6));
  if (fields.year < 1900) fields.year += fields.year > 49 ? 1900 : 2000;
  fields.month = monthNumber(monthWord);
  if (fields.month == 0) {
    log.LogError("parseRfc822Date: invalid month abbreviation");
    return false;
  }
  return true;
}

bool readTime(ParseEngine& cursor, Fields& fields, LogBase& log) {
  const auto hour = scanInt(cursor);
  const bool colon = hour && cursor.consumeIf(':');
  const auto minute = colon ? scanInt(cursor) : std::nullopt;
  if (!minute) {
    log.LogError("parseRfc822Date: HH:MM:SS not found");
    return false;
  }
  fields.hour = *hour;
  fields.minute = *minute;
  ParseEngine ahead = cursor;
  if (ahead.consumeIf(':')) {
    if (const auto second = scanInt(ahead)) {
      fields.second = *second;
      cursor = ahead;
    }
  }
  // The word of the time ends at a blank, whatever is left in it.
  cursor.captureToNext4(kBlanks);
  return true;
}

/// "eastern standard time" and its kind as "est" and so on; any other word as it stands.
std::string_view shortZone(std::string_view word, ParseEngine& cursor) {
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
    cursor.skipChars(kBlanks);
    return cursor.captureToNext4(kBlanks) == "daylight" ? zone.daylight : zone.standard;
  }
  return word;
}

/// The zone's text, as an offset; handles "am" and "pm" in front of it.
std::string_view readZone(ParseEngine& cursor, Fields& fields) {
  const auto nextWord = [&cursor] {
    cursor.skipChars(kBlanks);
    cursor.consumeIf('+');
    const std::string_view word = cursor.captureToNext4(" \t\r\n");
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
  ParseEngine cursor(offset);
  const bool behind = cursor.consumeIf('-');
  int hours = 0;
  int minutes = 0;
  ParseEngine first = cursor;
  const auto whole = scanInt(first, 2);
  if (!whole) return std::nullopt;
  ParseEngine second = first;
  const auto close = scanInt(second, 2);
  if (close) {
    hours = *whole;
    minutes = *close;
  } else if (first.consumeIf(':')) {
    hours = *whole;
    minutes = scanInt(first, 2).value_or(0);
  } else {
    hours = scanInt(cursor).value_or(0);
  }
  const std::int64_t seconds = (std::int64_t{hours} * 60 + minutes) * 60;
  return behind ? seconds : -seconds;
}

bool fail(TarnellSysTime& out) {
  out.getCurrentLocal();
  return false;
}

bool parseFields(ParseEngine& cursor, TarnellSysTime& out, LogBase& log) {
  if (isWeekday(cursor.rest().substr(0, 3))) {
    cursor.captureToNext4(" \t,");
    cursor.skipChars(kBlanks);
    cursor.consumeIf(',');
    cursor.skipChars(kBlanks);
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
  ParseEngine cursor({date.data(), size});
  cursor.skipChars(kBlanks);
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
