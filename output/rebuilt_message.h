#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// A message that can be read by any mail program, made from the fields and attachments of one
/// whose source is not kept. The body ends before the list of attachments that it may hold. nullopt
/// when there is no such message. Fails with the server's words.
[[nodiscard]] Result<std::optional<std::string>> rebuiltMessage(ServerSession& session,
                                                                std::uint32_t id);

/// Tells the body from the list of attachments behind it.
inline constexpr std::string_view kAttachmentsMark = "ATTACHMENTS:";

}  // namespace keldane
