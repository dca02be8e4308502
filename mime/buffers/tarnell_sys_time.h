#pragma once

#include <cstdint>

namespace keldane::mime {

/// A broken-down time, either local or UTC. Conversions between the two go through the time zone of
/// the process; arithmetic on UTC needs none.
struct TarnellSysTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;      ///< 1 to 12
  std::uint16_t dayOfWeek = 0;  ///< 0 is Sunday
  std::uint16_t day = 0;
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t millisecond = 0;
  bool isLocal = false;
  /// With a local time, whether daylight saving holds: 1 yes, 0 no, -1 not known. Tells the two
  /// hours apart that a clock shows twice in autumn.
  std::int8_t daylightSaving = -1;

  void copyFrom(const TarnellSysTime& other) { *this = other; }
  void getCurrentGmt();
  void getCurrentLocal();
  /// No effect when it is UTC already.
  void toGmtSysTime();
  /// No effect when it is local already.
  void toLocalSysTime();
  /// Seconds since 1970, by its own flag; milliseconds are dropped.
  [[nodiscard]] std::int64_t toUnixTime() const;
  /// Sets it to this moment, in UTC. Years that do not fit are held at 0 and 65535.
  void fromUnixTime(std::int64_t seconds);
};

/// Replaces each field that is out of range by that field of the present UTC time; a day that the
/// month does not have becomes 1.
void checkFixSystemTime(TarnellSysTime& time);

/// Days since 1970-01-01 of a date in the Gregorian calendar.
[[nodiscard]] std::int64_t daysFromDate(std::int64_t year, int month, int day);

}  // namespace keldane::mime
