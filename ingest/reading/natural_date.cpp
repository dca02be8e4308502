#include "ingest/reading/natural_date.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <string>

namespace keldane {
namespace {

constexpr std::size_t kLongestDate = 200;
constexpr int kSecondsOfHour = 3600;

struct Zone {
  std::string_view name;
  int hours;
};

constexpr std::array<Zone, 16> kZones = {{{"z", 0},
                                          {"ut", 0},
                                          {"utc", 0},
                                          {"gmt", 0},
                                          {"est", -5},
                                          {"edt", -4},
                                          {"cst", -6},
                                          {"cdt", -5},
                                          {"mst", -7},
                                          {"mdt", -6},
                                          {"pst", -8},
                                          {"pdt", -7},
                                          {"bst", 1},
                                          {"cet", 1},
                                          {"cest", 2},
                                          {"jst", 9}}};

constexpr std::array<std::string_view, 12> kMonths = {"jan", "feb", "mar", "apr", "may", "jun",
                                                      "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<std::string_view, 12> kFullMonths = {
    "january", "february", "march",     "april",   "may",      "june",
    "july",    "august",   "september", "october", "november", "december"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

struct Number {
  int value = 0;
  int digits = 0;
};

/// What has been found so far.
struct Pieces {
  std::optional<int> year;
  std::optional<int> month;
  std::optional<int> day;
  std::optional<int> hour;
  int minute = 0;
  int second = 0;
  std::optional<int> zoneSeconds;
  bool afternoon = false;
  bool forenoon = false;
};

int fullYear(Number number) {
  if (number.digits >= 4) return number.value;
  if (number.digits == 3) return number.value + 1900;
  return number.value + (number.value < 50 ? 2000 : 1900);
}

/// Reads a date from left to right and gathers its pieces, in whatever order they come.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  /// False when something is no part of a date.
  bool read() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      bool understood = true;
      if (isDigit(c)) {
        understood = readNumber();
      } else if (isLetter(c)) {
        understood = readWord();
      } else if (c == '(') {
        skipComment();
      } else if ((c == '+' || c == '-') && pieces.hour && !pieces.zoneSeconds) {
        understood = readOffset();
      } else {
        ++at_;
      }
      if (!understood) return false;
    }
    return true;
  }

  Pieces pieces;

 private:
  Number takeNumber() {
    Number number;
    for (; at_ < text_.size() && isDigit(text_[at_]) && number.digits < 9; ++at_, ++number.digits) {
      number.value = number.value * 10 + (text_[at_] - '0');
    }
    return number;
  }

  /// A number behind the given character, which is passed over with it.
  std::optional<Number> takeNumberBehind(char mark) {
    if (at_ + 1 >= text_.size() || text_[at_] != mark || !isDigit(text_[at_ + 1])) {
      return std::nullopt;
    }
    ++at_;
    return takeNumber();
  }

  [[nodiscard]] bool isNext(char c) const { return at_ < text_.size() && text_[at_] == c; }

  bool readNumber() {
    const Number first = takeNumber();
    if (isNext(':') && !pieces.hour) return readTime(first);
    for (const char mark : {'-', '/', '.'}) {
      if (const auto second = takeNumberBehind(mark)) return readTriple(first, *second, mark);
    }
    if (first.digits >= 8) return first.digits == 8 && readCompact(first.value);
    return readSingle(first);
  }

  bool readTime(Number hour) {
    const auto minute = takeNumberBehind(':');
    if (!minute) return false;
    pieces.hour = hour.value;
    pieces.minute = minute->value;
    if (const auto second = takeNumberBehind(':')) {
      pieces.second = second->value;
      if (!takeNumberBehind('.')) static_cast<void>(takeNumberBehind(','));
    }
    return true;
  }

  /// Three numbers, or two, with the same mark between them.
  bool readTriple(Number first, Number second, char mark) {
    if (pieces.day || pieces.month) return false;
    const auto third = takeNumberBehind(mark);
    if (first.digits >= 4) {
      if (!third) return false;
      return setDate(fullYear(first), second.value, third->value);
    }
    const bool dayFirst = mark == '.' || (first.value > 12 && second.value <= 12);
    const int day = dayFirst ? first.value : second.value;
    const int month = dayFirst ? second.value : first.value;
    std::optional<int> year;
    if (third) year = fullYear(*third);
    return setDate(year, month, day);
  }

  /// "yyyymmdd"
  bool readCompact(int value) {
    if (pieces.day || pieces.month) return false;
    return setDate(value / 10000, value / 100 % 100, value % 100);
  }

  /// A day or a year: the first number of one or two digits is the day.
  bool readSingle(Number number) {
    if (!pieces.day && number.digits <= 2) {
      pieces.day = number.value;
    } else if (!pieces.year) {
      pieces.year = fullYear(number);
    } else {
      return false;
    }
    skipOrdinal();
    return true;
  }

  bool setDate(std::optional<int> year, int month, int day) {
    pieces.year = year;
    pieces.month = month;
    pieces.day = day;
    return true;
  }

  /// "st" in "1st" and its like.
  void skipOrdinal() {
    for (const std::string_view ending : {"st", "nd", "rd", "th"}) {
      if (text_.substr(at_, 2) != ending) continue;
      if (at_ + 2 < text_.size() && isLetter(text_[at_ + 2])) continue;
      at_ += 2;
      return;
    }
  }

  bool readWord() {
    std::string word;
    for (; at_ < text_.size() && isLetter(text_[at_]); ++at_) {
      word += static_cast<char>(std::tolower(static_cast<unsigned char>(text_[at_])));
    }
    return readMonth(word) || readDayHalf(word) || readZone(word) || isFiller(word);
  }

  bool readMonth(const std::string& word) {
    for (std::size_t i = 0; i < kMonths.size(); ++i) {
      if (word != kMonths[i] && word != kFullMonths[i] && !(i == 8 && word == "sept")) continue;
      if (pieces.month) return false;
      pieces.month = static_cast<int>(i) + 1;
      return true;
    }
    return false;
  }

  bool readDayHalf(const std::string& word) {
    if (word != "am" && word != "pm") return false;
    pieces.afternoon = word == "pm";
    pieces.forenoon = word == "am";
    return true;
  }

  bool readZone(const std::string& word) {
    if (!pieces.hour) return false;
    for (const Zone& zone : kZones) {
      if (word != zone.name) continue;
      // A number may follow, as in "GMT+0200": it says more than the name.
      if (!isNext('+') && !isNext('-') && !pieces.zoneSeconds) {
        pieces.zoneSeconds = zone.hours * kSecondsOfHour;
      }
      return true;
    }
    return false;
  }

  /// Week days, and the words that stand between the pieces.
  static bool isFiller(const std::string& word) {
    constexpr std::string_view kFillers[] = {"at", "of", "t", "on", "the"};
    constexpr std::string_view kDays[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
    if (std::find(std::begin(kFillers), std::end(kFillers), word) != std::end(kFillers))
      return true;
    return std::any_of(std::begin(kDays), std::end(kDays),
                       [&word](std::string_view day) { return word.starts_with(day); });
  }

  /// "+hhmm", "+hh:mm", "+hh"
  bool readOffset() {
    const int sign = text_[at_] == '-' ? -1 : 1;
    ++at_;
    const Number number = takeNumber();
    if (number.digits == 0) return true;  // a dash between words
    int hours = number.value;
    int minutes = 0;
    if (number.digits > 2) {
      hours = number.value / 100;
      minutes = number.value % 100;
    } else if (const auto behind = takeNumberBehind(':')) {
      minutes = behind->value;
    }
    if (number.digits > 4 || hours > 23 || minutes > 59) return false;
    pieces.zoneSeconds = sign * (hours * kSecondsOfHour + minutes * 60);
    return true;
  }

  /// Comments may hold comments.
  void skipComment() {
    int depth = 0;
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == '(') ++depth;
      if (text_[at_] == ')' && --depth == 0) {
        ++at_;
        return;
      }
    }
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

int daysOf(int year, int month) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return kDays[static_cast<std::size_t>(month - 1)] + (month == 2 && leap ? 1 : 0);
}

int yearOf(std::int64_t now) {
  const std::time_t moment = now;
  std::tm local{};
  if (::localtime_r(&moment, &local) == nullptr) return 1970;
  return local.tm_year + 1900;
}

/// The hour of the day, or -1 when there is no such hour.
int hourOf(const Pieces& pieces) {
  if (!pieces.hour) return 12;
  int hour = *pieces.hour;
  if (pieces.afternoon || pieces.forenoon) {
    if (hour < 1 || hour > 12) return -1;
    hour = hour % 12 + (pieces.afternoon ? 12 : 0);
  }
  return hour <= 23 ? hour : -1;
}

std::optional<std::int64_t> momentOf(const Pieces& pieces, std::int64_t now) {
  if (!pieces.day || !pieces.month) return std::nullopt;
  const int year = pieces.year.value_or(yearOf(now));
  const int hour = hourOf(pieces);
  if (year < 1 || year > 9999 || *pieces.month < 1 || *pieces.month > 12) return std::nullopt;
  if (*pieces.day < 1 || *pieces.day > daysOf(year, *pieces.month)) return std::nullopt;
  if (hour < 0 || pieces.minute > 59 || pieces.second > 60) return std::nullopt;
  std::tm parts{};
  parts.tm_year = year - 1900;
  parts.tm_mon = *pieces.month - 1;
  parts.tm_mday = *pieces.day;
  parts.tm_hour = hour;
  parts.tm_min = pieces.minute;
  parts.tm_sec = pieces.second;
  parts.tm_isdst = -1;
  if (!pieces.zoneSeconds) return std::int64_t{std::mktime(&parts)};
  return std::int64_t{::timegm(&parts)} - *pieces.zoneSeconds;
}

}  // namespace

std::optional<std::int64_t> parseNaturalDate(std::string_view text, std::int64_t now) {
  DateReader reader(text.substr(0, kLongestDate));
  if (!reader.read()) return std::nullopt;
  return momentOf(reader.pieces, now);
}

}  // namespace keldane
