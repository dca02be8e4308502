#include "cli/count_text.h"

#include <fmt/format.h>

#include "query/statistics.h"

namespace keldane {

std::string countText(long long number, std::string_view thing) {
  return fmt::format("{} {}{}", groupedNumber(number), thing, number == 1 ? "" : "s");
}

}  // namespace keldane
