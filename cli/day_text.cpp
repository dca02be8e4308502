#include "cli/day_text.h"

#include <algorithm>
#include <cctype>
#include <chrono>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kMostCountDigits = 5;

bool allDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

bool isLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

/// The two digits behind a "-" at `at`, when they are from "01" to `last`.
std::optional<std::string> readPair(std::string_view text, std::size_t at, std::string_view last) {
  const std::string_view pair = text.substr(at + 1, 2);
  if (text[at] != '-' || !allDigits(pair) || pair < "01" || pair > last) return std::nullopt;
  return std::string(pair);
}

}  // namespace

std::string dayOfWords(const std::string& text, const std::string& today) {
  using namespace std::chrono;
  const auto now =
      year(leadingInt(today)) / leadingInt(today.substr(5)) / leadingInt(today.substr(8));
  if (text == "last-month") {
    const year_month before = now.year() / now.month() - months(1);
    return fmt::format("{:04}-{:02}", int(before.year()), unsigned(before.month()));
  }
  int back = text == "today" ? 0 : text == "yesterday" ? 1 : -1;
  const bool counts = text.size() > 1 && text.size() <= kMostCountDigits + 1 &&
                      allDigits(std::string_view(text).substr(0, text.size() - 1));
  if (counts && text.back() == 'd') back = leadingInt(text);
  if (counts && text.back() == 'w') back = leadingInt(text) * 7;
  if (back < 0) return text;
  const year_month_day day = sys_days(now) - days(back);
  return fmt::format("{:04}-{:02}-{:02}", int(day.year()), unsigned(day.month()),
                     unsigned(day.day()));
}

std::string lastDayOfMonth(std::string_view year, std::string_view month) {
  if (month == "02") return isLeapYear(leadingInt(year)) ? "29" : "28";
  return month == "04" || month == "06" || month == "09" || month == "11" ? "30" : "31";
}

std::optional<DayText> readDay(std::string_view text) {
  if (text.size() != 4 && text.size() != 7 && text.size() != 10) return std::nullopt;
  if (!allDigits(text.substr(0, 4))) return std::nullopt;
  DayText read;
  read.year = text.substr(0, 4);
  if (text.size() >= 7) {
    const std::optional<std::string> month = readPair(text, 4, "12");
    if (!month) return std::nullopt;
    read.month = *month;
  }
  if (text.size() == 10) {
    const std::optional<std::string> day = readPair(text, 7, lastDayOfMonth(read.year, read.month));
    if (!day) return std::nullopt;
    read.day = *day;
  }
  return read;
}

}  // namespace keldane
