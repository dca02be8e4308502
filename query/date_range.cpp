#include "query/date_range.h"

#include <string_view>

#include <fmt/format.h>

namespace keldane {
namespace {

std::string year(const std::string& day) { return day.substr(0, 4); }
std::string month(const std::string& day) { return day.substr(5, 2); }
std::string dayOfMonth(const std::string& day) { return day.substr(8, 2); }

}  // namespace

DateRange dateRange(const DateMenus& dates) {
  const auto chosen = [](const std::string& title, std::string_view otherwise) {
    return title == "All" ? std::string(otherwise) : title;
  };
  const std::string endMonth = chosen(dates.endMo, "12");
  const bool thirty = endMonth == "04" || endMonth == "06" || endMonth == "09" || endMonth == "11";
  const std::string endDay = chosen(dates.endDa, endMonth == "02" ? "28" : thirty ? "30" : "31");
  return {fmt::format("{}-{}-{}", chosen(dates.beginYr, "1901"), chosen(dates.beginMo, "01"),
                      chosen(dates.beginDa, "01")),
          fmt::format("{}-{}-{}", chosen(dates.endYr, "2050"), endMonth, endDay)};
}

DateMenus weekMenus(const std::string& today, const std::string& sixDaysAgo) {
  return {month(sixDaysAgo), dayOfMonth(sixDaysAgo), year(sixDaysAgo),
          month(today),      dayOfMonth(today),      year(today)};
}

DateMenus monthMenus(const std::string& today) {
  return {month(today), "All", year(today), month(today), "All", year(today)};
}

DateMenus yearMenus(const std::string& today) {
  return {"All", "All", year(today), "All", "All", year(today)};
}

}  // namespace keldane
