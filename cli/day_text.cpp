#include "cli/day_text.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

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

std::string checkDayText(const std::string& text) {
  if (readDay(text)) return {};
  return fmt::format("\"{}\" is not a date; write 2024-02-28, 2024-02 or 2024", printable(text));
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
