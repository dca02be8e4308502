#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "archive/server_session.h"

namespace keldane {

/// The statement whose row `formatMessageText` takes.
[[nodiscard]] std::string messageRowSql(std::uint32_t id);

/// A stored message as the text that is read, saved and printed: its fields, an empty line, its
/// body. `row` stands on a row of id, date, from, to, subject, mailbox, body. The date shown is
/// `listDate` and not that of the row, so that text and list agree. With `stripQuoted` the body
/// ends where the message replied to begins. `body`, when there is one, stands in place of the
/// row's. Not escaped for anything.
[[nodiscard]] std::string formatMessageText(const ResultRows& row, std::string_view listDate,
                                            bool stripQuoted,
                                            const std::optional<std::string>& body = std::nullopt);

/// "size: " and the length in KB or MB, as shown under the list; empty for an empty length or "0".
[[nodiscard]] std::string formatSizeText(std::string_view lengthBytes);

}  // namespace keldane
