#include "output/mail_dates.h"

#include <array>
#include <cstdio>

#include <fmt/format.h>

namespace keldane {
namespace {

constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::string_view kShape = "dddd-dd-dd dd:dd:dd";

bool hasShape(std::string_view text) {
  if (text.size() != kShape.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool fits = kShape[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == kShape[i];
    if (!fits) return false;
  }
  return true;
}

}  // namespace

std::optional<std::tm> parseServerDate(std::string_view text) {
  if (!hasShape(text)) return std::nullopt;
  std::tm date{};
  const std::string terminated(text);
  std::sscanf(terminated.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &date.tm_year, &date.tm_mon,
              &date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec);
  date.tm_year -= 1900;
  date.tm_mon -= 1;
  date.tm_isdst = -1;
  std::tm normal = date;
  normal.tm_isdst = 0;
  static_cast<void>(::timegm(&normal));
  // A day that is not in the calendar has become another.
  const bool same = normal.tm_year == date.tm_year && normal.tm_mon == date.tm_mon &&
                    normal.tm_mday == date.tm_mday && normal.tm_hour == date.tm_hour &&
                    normal.tm_min == date.tm_min && normal.tm_sec == date.tm_sec;
  if (!same) return std::nullopt;
  date.tm_wday = normal.tm_wday;
  return date;
}

std::string separatorDate(const std::tm& date) {
  return fmt::format("{} {} {:02} {:02}:{:02}:{:02} {:04}",
                     kDays[static_cast<std::size_t>(date.tm_wday)],
                     kMonths[static_cast<std::size_t>(date.tm_mon)], date.tm_mday, date.tm_hour,
                     date.tm_min, date.tm_sec, date.tm_year + 1900);
}

std::string dateWithoutZone(const std::tm& date) {
  return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02}",
                     kDays[static_cast<std::size_t>(date.tm_wday)], date.tm_mday,
                     kMonths[static_cast<std::size_t>(date.tm_mon)], date.tm_year + 1900,
                     date.tm_hour, date.tm_min, date.tm_sec);
}

std::string headerDate(const std::tm& date) {
  std::tm local = date;
  static_cast<void>(std::mktime(&local));
  const long minutes = local.tm_gmtoff / 60;
  return fmt::format("{} {}{:02}{:02}", dateWithoutZone(date), minutes < 0 ? '-' : '+',
                     std::abs(minutes) / 60, std::abs(minutes) % 60);
}

long long epochSeconds(const std::tm& date) {
  std::tm local = date;
  return static_cast<long long>(std::mktime(&local));
}

}  // namespace keldane
