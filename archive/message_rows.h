#pragma once

#include <cstdint>

#include "archive/server_session.h"

namespace keldane {

/// Deletes a message: its rows of the four tables, and what is noted of it beside them. False when
/// one of the four was refused, and the session tells why; the rows before it are gone. A note that
/// stays does no harm: the next message of the id replaces it.
[[nodiscard]] bool deleteMessageRows(ServerSession& session, std::uint32_t id);

/// Deletes what lies beside a message's row of `email`: parts, source and, with `withTags`, tags.
/// False: refused, as above.
[[nodiscard]] bool deleteRowsBeside(ServerSession& session, std::uint32_t id, bool withTags);

}  // namespace keldane
