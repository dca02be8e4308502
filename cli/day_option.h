#pragma once

#include <string>

#include "cli/command_line.h"

namespace keldane {

class Program;

/// Keeps a day, a month or a year as "2024-02-28", "2024-02" or "2024". It may also be given as
/// today, yesterday, 3d, 2w or last-month.
[[nodiscard]] ValueReader dayInto(std::string& day, const Program& program);
/// The same where a whole day is wanted: of last-month it is the first.
[[nodiscard]] ValueReader wholeDayInto(std::string& day, const Program& program);

}  // namespace keldane
