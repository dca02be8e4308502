#pragma once

#include <cstdint>
#include <optional>
#include <string>
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

[[nodiscard]] bool hasTags(const TagRow& tags);

/// Words of a text between blanks.
[[nodiscard]] std::vector<std::string> wordsOf(const std::string& text);

/// The tags as they are stored: keywords in order, escaped quotes plain.
[[nodiscard]] TagRow storedForm(TagRow tags);
/// Why a text does not fit its column; empty when all do.
[[nodiscard]] std::string tooLong(const TagRow& tags);

/// Makes these, in the form in which they are stored, the tags of their message in place of all it
/// had; without any tag its row goes. Fails with the server's words, and the tags as they were.
[[nodiscard]] Result<void> writeTags(ServerSession& session, const TagRow& tags);

/// How the tags of messages are to change. What is absent stays.
struct TagChange {
  std::optional<std::string> category = std::nullopt;  ///< "none" is none
  std::optional<std::string> keywords = std::nullopt;  ///< all of them, between blanks
  std::optional<std::string> notes = std::nullopt;
  std::optional<int> priority = std::nullopt;
  std::vector<std::string> addedKeywords = {};
  std::vector<std::string> removedKeywords = {};
  bool replaces = false;  ///< what is absent goes
};

struct TaggedMessage {
  TagRow before;
  TagRow after;
};

/// What a change of tags came to.
struct TagResult {
  std::vector<TaggedMessage> tagged;  ///< those that have been changed
  std::string serverError;            ///< the server's words for a refused statement
  std::string problem;                ///< what could not be done, as a sentence
  [[nodiscard]] bool complete() const { return serverError.empty() && problem.empty(); }
};

/// Changes the tags of these messages, one after the other, or of none when the archive has not all
/// of them or a text is longer than its column. Of a message that is refused the old tags come
/// back, as far as the server still takes anything; those before it keep the new ones.
[[nodiscard]] TagResult tagMessages(ServerSession& session, const std::vector<std::uint32_t>& ids,
                                    const TagChange& change);

}  // namespace keldane
