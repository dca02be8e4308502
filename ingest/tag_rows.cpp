#include "ingest/tag_rows.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace keldane {
namespace {

std::string withPlainQuotes(std::string text) {
  replaceAll(text, "\\\"", "\"");
  return text;
}

}  // namespace

std::string sortedKeywords(std::string_view keywords) {
  std::vector<std::string> words = split(keywords, " ");
  std::stable_sort(words.begin(), words.end(), [](const std::string& a, const std::string& b) {
    return compareNoCase(a, b) < 0;
  });
  return join(words, " ");
}

TagRow tagRow(std::uint32_t id, const MessageTags& tags) {
  return {id, tags.tagCategory, sortedKeywords(tags.tagKeywords), tags.tagNotes,
          leadingInt(tags.tagPriority)};
}

TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags) {
  return {id, withPlainQuotes(tags.tagCategory), sortedKeywords(withPlainQuotes(tags.tagKeywords)),
          withPlainQuotes(tags.tagNotes), leadingInt(tags.tagPriority)};
}

bool insertTagRow(ServerSession& session, const TagRow& row, StatementText& sql) {
  sql.start("INSERT INTO tags (id,cat_fld,key_fld,priority_fld,notes_fld) VALUES(");
  sql.addNumber(row.id).add(",");
  sql.addQuoted(row.category, '\n').add(",");
  sql.addQuoted(row.keywords, '\n').add(",");
  sql.addNumber(row.priority).add(",");
  sql.addQuoted(row.notes, '\n').add(")");
  return session.query(sql.text());
}

bool updateTagRow(ServerSession& session, const TagRow& row, StatementText& sql) {
  sql.start("UPDATE tags SET cat_fld=").addQuoted(row.category);
  sql.add(",key_fld=").addQuoted(row.keywords);
  sql.add(",priority_fld=").addNumber(row.priority);
  sql.add(",notes_fld=").addQuoted(row.notes);
  sql.add(" WHERE id=").addNumber(row.id);
  return session.query(sql.text());
}

}  // namespace keldane
