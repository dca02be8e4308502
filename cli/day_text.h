#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace keldane {

/// A day of the command line as the date menus hold it; what was not given is "All".
struct DayText {
  std::string year = "All";
  std::string month = "All";
  std::string day = "All";
};

/// Reads "YYYY", "YYYY-MM" or "YYYY-MM-DD"; absent for anything else, and for a day that its month
/// does not have.
[[nodiscard]] std::optional<DayText> readDay(std::string_view text);

/// Such a text for "today", "yesterday", "3d" and "2w" (so long ago) and "last-month"; any other
/// text as it stands. `today` is "YYYY-MM-DD".
[[nodiscard]] std::string dayOfWords(const std::string& text, const std::string& today);

/// The number of the last day of a month, as two digits.
[[nodiscard]] std::string lastDayOfMonth(std::string_view year, std::string_view month);

}  // namespace keldane
