#pragma once

#include <cstdint>

#include "cli/command_line.h"

namespace keldane {

/// Keeps the id of a message, as lists show it.
[[nodiscard]] ValueReader messageIdInto(std::uint32_t& id);

}  // namespace keldane
