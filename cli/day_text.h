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

/// Reads "YYYY", "YYYY-MM" or "YYYY-MM-DD"; absent for anything else. A day that its month does not
/// have, such as 31 February, is not told apart.
[[nodiscard]] std::optional<DayText> readDay(std::string_view text);

}  // namespace keldane
