#include "query/message_tags.h"

#include <cstdlib>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

/// More ids than this are not named in a statement; the table of tags is then read whole.
constexpr std::size_t kMostIdsInOneStatement = 10000;

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

Result<TagRow> storableTags(TagRow tags) {
  tags.category = withPlainQuotes(std::move(tags.category));
  tags.keywords = sortedKeywords(withPlainQuotes(std::move(tags.keywords)));
  tags.notes = withPlainQuotes(std::move(tags.notes));
  for (const auto& [name, text] :
       {std::pair("category", &tags.category), std::pair("keywords", &tags.keywords)}) {
    const std::size_t units = utf16Length(*text);
    if (units <= kLongestTag) continue;
    return Failure{
        fmt::format("the {} would have {} characters; {} is the most", name, units, kLongestTag)};
  }
  return tags;
}

Result<void> writeTags(ServerSession& session, const TagRow& tags) {
  if (!session.query(fmt::format("DELETE FROM tags WHERE id={}", tags.id))) {
    return Failure{session.error()};
  }
  if (hasTags(tags) && !session.query(insertTagSql(tags))) return Failure{session.error()};
  return {};
}

}  // namespace keldane
