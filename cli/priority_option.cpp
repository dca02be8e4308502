#include "cli/priority_option.h"

#include <string>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"

namespace keldane {

std::optional<int> priorityOf(std::string_view text) {
  for (std::size_t i = 0; i < kPriorityTitles.size(); ++i) {
    const int value = static_cast<int>(i);
    if (text == std::to_string(value) || compareNoCase(text, kPriorityTitles[i]) == 0) {
      return value;
    }
  }
  return std::nullopt;
}

ValueReader priorityInto(std::optional<int>& priority) {
  return [&priority](const std::string& text) -> std::string {
    priority = priorityOf(text);
    if (priority) return {};
    return fmt::format("there is no priority \"{}\"; it is {}", printable(text), kPriorityWords);
  };
}

}  // namespace keldane
