#pragma once

#include <cstdint>

#include "archive/server_session.h"
#include "archive/tag_row.h"
#include "ingest/reading/current_message.h"
#include "ingest/storing/statement_text.h"

/// The rows of `tags` that a run writes.
namespace keldane {

/// The row of a new message.
[[nodiscard]] TagRow tagRow(std::uint32_t id, const MessageTags& tags);
/// The row of a message that is known already: quotes that come escaped lose their backslash.
[[nodiscard]] TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags);

/// False when the server refused the statement, as it does for a row that exists.
[[nodiscard]] bool insertTagRow(ServerSession& session, const TagRow& row, StatementText& sql);
[[nodiscard]] bool updateTagRow(ServerSession& session, const TagRow& row, StatementText& sql);

}  // namespace keldane
