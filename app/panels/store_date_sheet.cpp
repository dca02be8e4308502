#include "app/panels/store_date_sheet.h"

#include <fmt/format.h>

namespace keldane {
namespace {

constexpr std::size_t kDayLength = 10;  // "YYYY-MM-DD"

bool isAll(const std::string& value) { return value == "All"; }

std::string orElse(const std::string& value, std::string_view fallback) {
  return isAll(value) ? std::string(fallback) : value;
}

std::string_view lastDayOf(const std::string& month) {
  if (month == "04" || month == "06" || month == "09" || month == "11") return "30";
  return month == "02" ? "28" : "31";
}

std::string midnight(const std::string& year, const std::string& month, const std::string& day) {
  return fmt::format("{}-{}-{} 00:00:00", year, month, day);
}

}  // namespace

RunRange rangeOf(const StoreDateForm& form) {
  const std::string endMonth = orElse(form.endStoreMo, "12");
  return {midnight(orElse(form.beginStoreYr, "1901"), orElse(form.beginStoreMo, "01"),
                   orElse(form.beginStoreDa, "01")),
          midnight(orElse(form.endStoreYr, "2050"), endMonth,
                   orElse(form.endStoreDa, lastDayOf(endMonth)))};
}

void beginAt(StoreDateForm& form, const std::string& limit) {
  if (limit.size() < kDayLength) return;
  form.beginStoreYr = limit.substr(0, 4);
  form.beginStoreMo = limit.substr(5, 2);
  form.beginStoreDa = limit.substr(8, 2);
}

}  // namespace keldane
