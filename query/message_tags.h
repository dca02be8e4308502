#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "archive/server_session.h"
#include "archive/tag_row.h"
#include "base/result.h"

namespace keldane {

/// The tags of those of these messages that have any, by id, with one statement. Fails with the
/// server's words.
[[nodiscard]] Result<std::unordered_map<std::uint32_t, TagRow>> readTags(
    ServerSession& session, const std::vector<std::uint32_t>& ids);

/// Most characters of a category, and of all keywords together.
inline constexpr std::size_t kLongestTag = 127;

[[nodiscard]] bool hasTags(const TagRow& tags);

/// The tags as they are stored: keywords in order, escaped quotes plain. Fails when a text is
/// longer than its column.
[[nodiscard]] Result<TagRow> storableTags(TagRow tags);

/// Makes these, which `storableTags` gave, the tags of their message in place of all it had;
/// without any tag its row goes. Fails with the server's words; after a refused insert the message
/// has lost the tags it had.
[[nodiscard]] Result<void> writeTags(ServerSession& session, const TagRow& tags);

}  // namespace keldane
