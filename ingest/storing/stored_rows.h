#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "archive/server_session.h"

/// Whether what a run has stored will still be there after a power cut: to be asked before a file
/// is removed that holds the only other copy.
namespace keldane {

/// Has the server write to disk what it has taken in so far. A server may be set to do so once a
/// second only; then a commit is made under the strict setting, which takes all earlier ones along.
/// Where the user may not change the setting, `pause` is called for two seconds.
void flushServerLog(ServerSession& session, const std::function<void(int seconds)>& pause);

/// Those of the ids, in ascending order, that have no row in `email` or no source. Absent when the
/// server did not answer.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> idsWithoutRows(
    ServerSession& session, std::vector<std::uint32_t> ids);

}  // namespace keldane
