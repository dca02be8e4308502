#include "mime/buffers/tarnell_sys_time.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace keldane::mime {
namespace {

constexpr std::int64_t kSecondsInDay = 86400;

struct Date {
  std::int64_t year;
  int month;
  int day;
};

/// The reverse of `daysFromDate`.
Date dateFromDays(std::int64_t days) {
  days += 719468;  // from 0000-03-01, so that the leap day ends a year
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shifted = (5 * dayOfYear + 2) / 153;
  const int month = static_cast<int>(shifted < 10 ? shifted + 3 : shifted - 9);
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
          static_cast<int>(dayOfYear - (153 * shifted + 2) / 5 + 1)};
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

/// Whether a year counts 29 days in February.
bool isLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeap(year) ? 29 : kDays[month - 1];
}

std::uint16_t heldYear(std::int64_t year) {
  return static_cast<std::uint16_t>(std::clamp<std::int64_t>(year, 0, 65535));
}

void fillFrom(const std::tm& from, TarnellSysTime& to) {
  to.year = heldYear(std::int64_t{from.tm_year} + 1900);
  to.month = static_cast<std::uint16_t>(from.tm_mon + 1);
  to.dayOfWeek = static_cast<std::uint16_t>(from.tm_wday);
  to.day = static_cast<std::uint16_t>(from.tm_mday);
  to.hour = static_cast<std::uint16_t>(from.tm_hour);
  to.minute = static_cast<std::uint16_t>(from.tm_min);
  to.second = static_cast<std::uint16_t>(from.tm_sec);
  to.daylightSaving = static_cast<std::int8_t>(from.tm_isdst);
}

}  // namespace

std::int64_t daysFromDate(std::int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

void TarnellSysTime::getCurrentGmt() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  fromUnixTime(floorDivide(ms, 1000));
  millisecond = static_cast<std::uint16_t>(ms - floorDivide(ms, 1000) * 1000);
}

void TarnellSysTime::getCurrentLocal() {
  getCurrentGmt();
  toLocalSysTime();
}

void TarnellSysTime::toGmtSysTime() {
  if (!isLocal) return;
  const std::uint16_t kept = millisecond;
  fromUnixTime(toUnixTime());
  millisecond = kept;
}

void TarnellSysTime::toLocalSysTime() {
  if (isLocal) return;
  const auto time = static_cast<std::time_t>(toUnixTime());
  std::tm local = {};
  if (::localtime_r(&time, &local) == nullptr) return;
  fillFrom(local, *this);
  isLocal = true;
}

std::int64_t TarnellSysTime::toUnixTime() const {
  if (!isLocal) {
    return daysFromDate(year, month, day) * kSecondsInDay + hour * 3600 + minute * 60 + second;
  }
  std::tm local = {};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = daylightSaving;
  return std::mktime(&local);
}

void TarnellSysTime::fromUnixTime(std::int64_t seconds) {
  const std::int64_t days = floorDivide(seconds, kSecondsInDay);
  const auto rest = static_cast<int>(seconds - days * kSecondsInDay);
  const Date date = dateFromDays(days);
  year = heldYear(date.year);
  month = static_cast<std::uint16_t>(date.month);
  day = static_cast<std::uint16_t>(date.day);
  dayOfWeek = static_cast<std::uint16_t>(((days + 4) % 7 + 7) % 7);
  hour = static_cast<std::uint16_t>(rest / 3600);
  minute = static_cast<std::uint16_t>(rest / 60 % 60);
  second = static_cast<std::uint16_t>(rest % 60);
  millisecond = 0;
  isLocal = false;
  daylightSaving = -1;
}

void checkFixSystemTime(TarnellSysTime& time) {
  TarnellSysTime now;
  now.getCurrentGmt();
  if (time.year < 1960 || time.year > 5000) time.year = now.year;
  if (time.month == 0 || time.month > 12) time.month = now.month;
  if (time.dayOfWeek >= 7) time.dayOfWeek = now.dayOfWeek;
  if (time.hour >= 24) time.hour = now.hour;
  if (time.minute >= 60) time.minute = now.minute;
  if (time.second >= 60) time.second = now.second;
  if (time.millisecond >= 10000) time.millisecond = now.millisecond;
  if (time.day == 0 || time.day > daysInMonth(time.year, time.month)) time.day = 1;
}

}  // namespace keldane::mime
