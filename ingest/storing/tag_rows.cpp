#include "ingest/storing/tag_rows.h"

#include "base/text.h"

namespace keldane {

TagRow tagRow(std::uint32_t id, const MessageTags& tags) {
  return {id, tags.tagCategory, sortedKeywords(tags.tagKeywords), tags.tagNotes,
          leadingInt(tags.tagPriority)};
}

TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags) {
  return {id, withPlainQuotes(tags.tagCategory), sortedKeywords(withPlainQuotes(tags.tagKeywords)),
          withPlainQuotes(tags.tagNotes), leadingInt(tags.tagPriority)};
}

bool insertTagRow(ServerSession& session, const TagRow& row, StatementText& sql) {
  sql.start(insertTagSql(row));
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
