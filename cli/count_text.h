#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// A number and what it counts, with a comma between the thousands: "1 message", "6,032 messages".
[[nodiscard]] std::string countText(long long number, std::string_view thing);

}  // namespace keldane
