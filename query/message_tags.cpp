#include "query/message_tags.h"

#include <algorithm>
#include <cstdlib>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

/// More ids than this are not named in a statement; the table of tags is then read whole.
constexpr std::size_t kMostIdsInOneStatement = 10000;
/// Most characters of a category, and of all keywords together: what their columns hold.
constexpr std::size_t kLongestTag = 127;

}  // namespace

Result<std::unordered_map<std::uint32_t, TagRow>> readTags(ServerSession& session,
                                                           const std::vector<std::uint32_t>& ids) {
  std::unordered_map<std::uint32_t, TagRow> found;
  if (ids.empty()) return found;
  std::string sql = "SELECT id,cat_fld,key_fld,priority_fld,notes_fld FROM tags";
  if (ids.size() <= kMostIdsInOneStatement) {
    sql += fmt::format(" WHERE id IN ({})", fmt::join(ids, ","));
  }
  const bool sent = session.query(sql);
  const auto rows = sent ? session.storeResult() : nullptr;
  if (!rows) return Failure{session.error()};
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows->cell(column).value_or(std::string_view()));
  };
  while (rows->next()) {
    TagRow tags;
    tags.id = static_cast<std::uint32_t>(std::strtoul(text(0).c_str(), nullptr, 10));
    tags.category = text(1);
    tags.keywords = text(2);
    tags.priority = leadingInt(text(3));
    tags.notes = text(4);
    found[tags.id] = std::move(tags);
  }
  return found;
}

bool hasTags(const TagRow& tags) {
  return !tags.category.empty() || !tags.keywords.empty() || !tags.notes.empty() ||
         tags.priority != 0;
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  for (std::string& word : split(text, " ")) {
    if (!word.empty()) words.push_back(std::move(word));
  }
  return words;
}

TagRow storedForm(TagRow tags) {
  tags.category = withPlainQuotes(std::move(tags.category));
  tags.keywords = sortedKeywords(withPlainQuotes(std::move(tags.keywords)));
  tags.notes = withPlainQuotes(std::move(tags.notes));
  return tags;
}

Result<void> writeTags(ServerSession& session, const TagRow& tags) {
  // One statement: a server that ends meanwhile leaves the message the tags that it had.
  const std::string sql =
      hasTags(tags) ? replaceTagSql(tags) : fmt::format("DELETE FROM tags WHERE id={}", tags.id);
  if (!session.query(sql)) return Failure{session.error()};
  return {};
}

namespace {

bool isSame(const std::string& a, const std::string& b) { return compareNoCase(a, b) == 0; }

std::string keywordsAfter(const TagChange& change, const std::string& before) {
  std::vector<std::string> words;
  const auto placeOf = [&words](const std::string& word) {
    return std::find_if(words.begin(), words.end(),
                        [&word](const std::string& each) { return isSame(each, word); });
  };
  const auto add = [&](const std::string& text) {
    for (std::string& word : wordsOf(text)) {
      if (placeOf(word) == words.end()) words.push_back(std::move(word));
    }
  };
  add(change.keywords.value_or(before));
  for (const std::string& text : change.addedKeywords) add(text);
  for (const std::string& text : change.removedKeywords) {
    for (const std::string& gone : wordsOf(text)) {
      if (const auto at = placeOf(gone); at != words.end()) words.erase(at);
    }
  }
  return join(words, " ");
}

TagRow tagsAfter(const TagChange& change, const TagRow& before) {
  TagRow tags = change.replaces ? TagRow{} : before;
  tags.id = before.id;
  if (change.category) {
    tags.category =
        isSame(*change.category, std::string(kPriorityTitles[0])) ? "" : *change.category;
  }
  if (change.notes) tags.notes = *change.notes;
  if (change.priority) tags.priority = *change.priority;
  tags.keywords = keywordsAfter(change, tags.keywords);
  return storedForm(std::move(tags));
}

}  // namespace

std::string tooLong(const TagRow& tags) {
  for (const auto& [name, text] :
       {std::pair("category", &tags.category), std::pair("keywords", &tags.keywords)}) {
    const std::size_t units = utf16Length(*text);
    if (units <= kLongestTag) continue;
    return fmt::format("the {} would have {} characters; {} is the most", name, units, kLongestTag);
  }
  return {};
}

namespace {

/// Sees to it that the archive has all of these messages.
bool hasMessages(ServerSession& session, const std::vector<std::uint32_t>& ids, TagResult& result) {
  const bool sent =
      session.query(fmt::format("SELECT id FROM email WHERE id IN ({})", fmt::join(ids, ",")));
  const auto rows = sent ? session.storeResult() : nullptr;
  if (!rows) {
    result.serverError = session.error();
    return false;
  }
  std::unordered_set<std::string> found;
  while (rows->next()) found.insert(std::string(rows->cell(0).value_or("")));
  for (const std::uint32_t id : ids) {
    if (found.count(fmt::format("{}", id)) != 0) continue;
    result.problem = fmt::format("there is no message {}; nothing is changed", id);
    return false;
  }
  return true;
}

}  // namespace

TagResult tagMessages(ServerSession& session, const std::vector<std::uint32_t>& ids,
                      const TagChange& change) {
  TagResult result;
  if (!hasMessages(session, ids, result)) return result;
  const auto found = readTags(session, ids);
  if (!found) {
    result.serverError = found.error();
    return result;
  }
  std::vector<TaggedMessage> messages;
  std::unordered_set<std::uint32_t> seen;
  for (const std::uint32_t id : ids) {
    if (!seen.insert(id).second) continue;
    TagRow before;
    if (const auto at = found->find(id); at != found->end()) before = at->second;
    before.id = id;
    messages.push_back({before, tagsAfter(change, before)});
    if (const std::string reason = tooLong(messages.back().after); !reason.empty()) {
      result.problem = fmt::format("message {}: {}; nothing is changed", id, reason);
      return result;
    }
  }
  for (TaggedMessage& message : messages) {
    const Result<void> written = writeTags(session, message.after);
    if (!written) {
      result.serverError = written.error();
      result.problem = fmt::format("{} of {} tagged; message {} and those behind it are not",
                                   result.tagged.size(), messages.size(), message.after.id);
      return result;
    }
    result.tagged.push_back(std::move(message));
  }
  return result;
}

}  // namespace keldane
