#include "archive/tag_row.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/text.h"

namespace keldane {

int priorityOfTitle(std::string_view title) {
  const auto found = std::find(kPriorityTitles.begin(), kPriorityTitles.end(), title);
  return found == kPriorityTitles.end() ? 0 : static_cast<int>(found - kPriorityTitles.begin());
}

std::string_view priorityTitle(int priority) {
  const auto index = static_cast<std::size_t>(priority);
  return priority >= 0 && index < kPriorityTitles.size() ? kPriorityTitles[index]
                                                         : kPriorityTitles[0];
}

std::string sortedKeywords(std::string_view keywords) {
  std::vector<std::string> words = split(keywords, " ");
  std::stable_sort(words.begin(), words.end(), [](const std::string& a, const std::string& b) {
    return compareNoCase(a, b) < 0;
  });
  return join(words, " ");
}

std::string withPlainQuotes(std::string text) {
  replaceAll(text, "\\\"", "\"");
  return text;
}

namespace {

std::string tagSql(std::string_view verb, const TagRow& row) {
  std::string sql =
      fmt::format("{} INTO tags (id,cat_fld,key_fld,priority_fld,notes_fld) VALUES({},{},{},{},{})",
                  verb, row.id, quotedInline(row.category), quotedInline(row.keywords),
                  row.priority, quotedInline(row.notes));
  removeAll(sql, "\n");
  return sql;
}

}  // namespace

std::string insertTagSql(const TagRow& row) { return tagSql("INSERT", row); }

std::string replaceTagSql(const TagRow& row) { return tagSql("REPLACE", row); }

}  // namespace keldane
