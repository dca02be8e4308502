#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "app/server_session.h"
#include "ingest/current_message.h"
#include "ingest/statement_text.h"

/// The rows of `tags`: at most one for a message.
namespace keldane {

/// The tags of a message, fit for a row and not escaped.
struct TagRow {
  std::uint32_t id = 0;
  std::string category;
  std::string keywords;  ///< between blanks, in case-insensitive order
  std::string notes;
  int priority = 0;
};

/// Keywords split at blanks, sorted without regard to case, joined again.
[[nodiscard]] std::string sortedKeywords(std::string_view keywords);

/// The row of a new message.
[[nodiscard]] TagRow tagRow(std::uint32_t id, const MessageTags& tags);
/// The row of a message that is known already: quotes that come escaped lose their backslash.
[[nodiscard]] TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags);

/// False when the server refused the statement, as it does for a row that exists.
[[nodiscard]] bool insertTagRow(ServerSession& session, const TagRow& row, StatementText& sql);
[[nodiscard]] bool updateTagRow(ServerSession& session, const TagRow& row, StatementText& sql);

}  // namespace keldane
