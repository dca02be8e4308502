#include "cli/message_id.h"

#include <cstdlib>
#include <limits>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {

ValueReader messageIdInto(std::uint32_t& id) {
  return [&id](const std::string& text) -> std::string {
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long long number = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
    if (number == 0 || number > std::numeric_limits<std::uint32_t>::max()) {
      return fmt::format("\"{}\" is not the id of a message", printable(text));
    }
    id = static_cast<std::uint32_t>(number);
    return {};
  };
}

}  // namespace keldane
