#include "cli/day_option.h"

#include <fmt/format.h>

#include "base/text.h"
#include "cli/day_text.h"

namespace keldane {

CLI::Option* addDayOption(CLI::App& command, const std::string& name, std::string& day,
                          const std::string& help) {
  const auto check = [](const std::string& text) -> std::string {
    if (readDay(text)) return {};
    return fmt::format("\"{}\" is not a date; write 2024-02-28, 2024-02 or 2024", printable(text));
  };
  return command.add_option(name, day, help)->option_text("DAY")->check(CLI::Validator(check, ""));
}

}  // namespace keldane
