#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "ingest/reading/current_message.h"
#include "ingest/storing/statement_text.h"
#include "ingest/storing/store_errors.h"

/// The rows of `attachments`: one for each part of a message, its HTML version included.
namespace keldane {

/// What the list of attachment names gets of a part's name: escaped, on one line.
[[nodiscard]] std::string attachmentRowName(std::string_view fileName);
/// Appends a row's name to the list, unless it is empty or has one of two endings.
void addToAttachNames(std::string& attachNames, const std::string& rowName);
/// A content type goes into the statement as it stands: whether it can, without ending its quotes.
[[nodiscard]] bool canQuoteAsItStands(std::string_view contentType);

/// Names of all parts, as they will stand in `msgAttachNames`.
[[nodiscard]] std::string attachNamesOf(const std::vector<MessagePart>& parts, std::size_t count);
/// How many of the parts get a row.
[[nodiscard]] std::size_t storableParts(const std::vector<MessagePart>& parts, std::size_t count);

/// Stores one part of the message `id` and adds its name to `attachNames`. A failure costs this
/// part only and is in the log.
bool doAttachment(ServerSession& session, std::uint32_t id, const MessagePart& part,
                  std::string& attachNames, StatementText& sql, StoreErrors& errors);

}  // namespace keldane
