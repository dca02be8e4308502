#pragma once

#include <string>

namespace keldane {

/// A range of days as people choose it: six values, each "All" or a number of two or four digits.
struct DateMenus {
  std::string beginMo = "All";
  std::string beginDa = "All";
  std::string beginYr = "All";
  std::string endMo = "All";
  std::string endDa = "All";
  std::string endYr = "All";
  bool operator==(const DateMenus&) const = default;
};

/// A range of days, "YYYY-MM-DD", both ends within it. The default is that of all mail.
struct DateRange {
  std::string firstDay = "1901-01-01";
  std::string lastDay = "2050-12-31";
  [[nodiscard]] bool isAll() const { return *this == DateRange(); }
  bool operator==(const DateRange&) const = default;
};
/// "All" stands for the first or last day, month or year; a last day of "All" is that of its month,
/// and always the 28th in February.
[[nodiscard]] DateRange dateRange(const DateMenus& dates);

/// Today, the last seven days, this month and this year, over local days written "YYYY-MM-DD".
[[nodiscard]] DateMenus weekMenus(const std::string& today, const std::string& sixDaysAgo);
[[nodiscard]] DateMenus monthMenus(const std::string& today);
[[nodiscard]] DateMenus yearMenus(const std::string& today);
inline constexpr int kSixDaysInSeconds = 518400;

}  // namespace keldane
