#pragma once

#include <cstdint>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// The ids of all messages of the archive, ascending.
[[nodiscard]] Result<std::vector<std::uint32_t>> storedIds(ServerSession& session);

}  // namespace keldane
