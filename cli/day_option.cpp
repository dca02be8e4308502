#include "cli/day_option.h"

#include <fmt/format.h>

#include "base/text.h"
#include "cli/day_text.h"
#include "cli/program.h"

namespace keldane {
namespace {

constexpr std::size_t kDayLength = 10;  // "2024-02-28"
constexpr const char* kWords = "today, yesterday, 3d, 2w or last-month";

std::string meant(const std::string& text, const Program& program) {
  return dayOfWords(text, localDateTime(program.environment.now()).substr(0, kDayLength));
}

}  // namespace

ValueReader dayInto(std::string& day, const Program& program) {
  return [&day, &program](const std::string& text) -> std::string {
    day = meant(text, program);
    if (readDay(day)) return {};
    return fmt::format("\"{}\" is not a date; write 2024-02-28, 2024-02, 2024, {}", printable(text),
                       kWords);
  };
}

ValueReader wholeDayInto(std::string& day, const Program& program) {
  return [&day, &program](const std::string& text) -> std::string {
    day = meant(text, program);
    if (text == "last-month") day += "-01";
    if (day.size() == kDayLength && readDay(day)) return {};
    return fmt::format("\"{}\" is not a day; write it as YYYY-MM-DD, {}", printable(text), kWords);
  };
}

}  // namespace keldane
