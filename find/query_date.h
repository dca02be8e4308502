#pragma once

#include <string>
#include <string_view>

#include "base/result.h"

namespace keldane {

/// From the first to the last moment, in the form of `date_fld` or a beginning of it, to be
/// compared as texts. Empty: open on that side.
struct DateRange {
  std::string from;
  std::string to;
};

/// Reads "2003", "2003-05", "2003-05-17", "today", "yesterday", "this-week", "last-week" (a week
/// begins on Monday), the same with month and year, "last-30-days", and two of them around "..", of
/// which one may be missing. `today`: "YYYY-MM-DD". Fails with what is wrong.
[[nodiscard]] Result<DateRange> readDateRange(std::string_view text, std::string_view today);

/// Bytes of a size such as "300", "20K", "1.5M" or "2G", in steps of 1024.
[[nodiscard]] Result<double> readSize(std::string_view text);

}  // namespace keldane
