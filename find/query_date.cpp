#include "find/query_date.h"

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <optional>

#include <fmt/format.h>

namespace keldane {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr int kMaxDaysBack = 100000;
/// Behind any time of the last day, month or year.
constexpr char kEndOfDay = '~';

std::optional<int> number(std::string_view digits) {
  int value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  const bool isWhole = error == std::errc() && end == digits.data() + digits.size();
  return isWhole && value >= 0 && digits[0] != '+' ? std::optional(value) : std::nullopt;
}

std::string dayText(sys_days day) {
  const year_month_day date(day);
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

DateRange whole(std::string beginning) { return {beginning, beginning + kEndOfDay}; }
DateRange between(sys_days first, sys_days last) {
  return {dayText(first), dayText(last) + kEndOfDay};
}

std::optional<DateRange> plainDate(std::string_view text) {
  const bool hasMonth = text.size() >= 7 && text[4] == '-';
  const bool hasDay = text.size() == 10 && text[7] == '-';
  if (text.size() != 4 && !(hasMonth && (text.size() == 7 || hasDay))) return std::nullopt;
  const std::optional<int> year = number(text.substr(0, 4));
  const std::optional<int> month = hasMonth ? number(text.substr(5, 2)) : 1;
  const std::optional<int> day = hasDay ? number(text.substr(8, 2)) : 1;
  if (!year || !month || !day) return std::nullopt;
  const year_month_day date(std::chrono::year(*year),
                            std::chrono::month(static_cast<unsigned>(*month)),
                            std::chrono::day(static_cast<unsigned>(*day)));
  if (!date.ok()) return std::nullopt;
  return whole(std::string(text));
}

std::optional<DateRange> namedDate(std::string_view text, std::string_view today) {
  const std::optional<int> y = number(today.substr(0, 4));
  const std::optional<int> m = number(today.substr(5, 2));
  const std::optional<int> d = number(today.substr(8, 2));
  if (!y || !m || !d) return std::nullopt;
  const year_month_day date(std::chrono::year(*y), std::chrono::month(static_cast<unsigned>(*m)),
                            std::chrono::day(static_cast<unsigned>(*d)));
  const sys_days now(date);
  if (text == "today") return between(now, now);
  if (text == "yesterday") return between(now - days(1), now - days(1));
  const sys_days monday = now - (std::chrono::weekday(now) - std::chrono::Monday);
  if (text == "this-week") return between(monday, monday + days(6));
  if (text == "last-week") return between(monday - days(7), monday - days(1));
  const year_month_day first(date.year(), date.month(), std::chrono::day(1));
  if (text == "this-month") return whole(dayText(first).substr(0, 7));
  if (text == "last-month") return whole(dayText(sys_days(first) - days(1)).substr(0, 7));
  if (text == "this-year") return whole(fmt::format("{:04}", *y));
  if (text == "last-year") return whole(fmt::format("{:04}", *y - 1));
  if (text.starts_with("last-") && text.ends_with("-days") && text.size() > 10) {
    const std::optional<int> back = number(text.substr(5, text.size() - 10));
    if (back && *back > 0 && *back <= kMaxDaysBack) return between(now - days(*back - 1), now);
  }
  return std::nullopt;
}

Result<DateRange> oneDate(std::string_view text, std::string_view today) {
  std::optional<DateRange> range = plainDate(text);
  if (!range && today.size() == 10) range = namedDate(text, today);
  if (range) return *range;
  return Failure{
      fmt::format("\"{}\" is no date: write 2003, 2003-05, 2003-05-17, today, yesterday, "
                  "last-week, this-month, last-year or last-30-days",
                  text)};
}

}  // namespace

Result<DateRange> readDateRange(std::string_view text, std::string_view today) {
  const std::size_t dots = text.find("..");
  if (dots == std::string_view::npos) return oneDate(text, today);
  const std::string_view first = text.substr(0, dots);
  const std::string_view last = text.substr(dots + 2);
  if (first.empty() && last.empty()) return Failure{"a date is missing before or behind \"..\""};
  DateRange range;
  if (!first.empty()) {
    const Result<DateRange> from = oneDate(first, today);
    if (!from) return from;
    range.from = from->from;
  }
  if (!last.empty()) {
    const Result<DateRange> to = oneDate(last, today);
    if (!to) return to;
    range.to = to->to;
  }
  return range;
}

Result<double> readSize(std::string_view text) {
  double factor = 1;
  std::string_view digits = text;
  if (digits.ends_with('B') || digits.ends_with('b')) digits.remove_suffix(1);
  if (!digits.empty()) {
    const std::size_t unit = std::string_view("kKmMgG").find(digits.back());
    for (std::size_t i = 0; unit != std::string_view::npos && i <= unit / 2; ++i) factor *= 1024;
    if (factor > 1) digits.remove_suffix(1);
  }
  const bool isNumber = !digits.empty() && digits.size() <= 15 && digits[0] != '.' &&
                        digits.find_first_not_of("0123456789.") == std::string_view::npos &&
                        digits.find('.') == digits.rfind('.');
  if (!isNumber) return Failure{fmt::format("\"{}\" is no size: write 300, 20K, 1.5M or 2G", text)};
  return std::strtod(std::string(digits).c_str(), nullptr) * factor;
}

}  // namespace keldane
