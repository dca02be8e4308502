#include "query/search_builder.h"

#include <cstdlib>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

std::string_view textOf(Joiner joiner) { return joiner.isOr ? " OR " : ") AND ("; }

/// The text with its double quotes doubled, so that it cannot end the string it stands in. Nothing
/// else is escaped: %, _ and backslash keep their meaning in the pattern. A backslash that would
/// take the first of the two quotes is itself escaped for the string; the pattern still reads it.
std::string doubledQuotes(std::string_view text) {
  std::string doubled;
  doubled.reserve(text.size() + 2);
  bool escaping = false;
  for (const char c : text) {
    if (c == '"') doubled += escaping ? "\\\"" : "\"";
    doubled += c;
    escaping = c == '\\' && !escaping;
  }
  return doubled;
}

/// The same for a text that is not a pattern's middle but stands right before the closing quote.
std::string closedQuotes(std::string_view text) {
  std::string closed = doubledQuotes(text);
  const std::size_t last = closed.find_last_not_of('\\');
  const std::size_t backslashes = closed.size() - (last == std::string::npos ? 0 : last + 1);
  if (backslashes % 2 != 0) closed += '\\';
  return closed;
}

/// All alternatives of a group of attachment types after the first LIKE.
std::string attachPattern(std::size_t group) {
  const std::vector<std::string> extensions = split(kAttachTypeGroups[group].extensions, ", ");
  std::string pattern;
  for (std::size_t i = 0; i < extensions.size(); ++i) {
    if (i != 0) {
      // The first group's texts have a second blank, save before the last one.
      const bool twoBlanks = group == 0 && i + 1 < extensions.size();
      pattern += twoBlanks ? " OR attachNames LIKE  " : " OR attachNames LIKE ";
    }
    pattern += fmt::format("'%.{}%'", extensions[i]);
  }
  return pattern;
}

/// Builds the conditions: an AND of groups, each an OR of clauses.
class WhereBuilder {
 public:
  explicit WhereBuilder(const SearchRequest& request) : request_(request) {}

  void startBlock() { clauseCount_ = 0; }

  void doFieldButton(std::string& sql, const SearchRequest::Condition& condition) {
    if (clauseCount_ != 0) sql += textOf(condition.joiner);
    sql += condition.column;
    sql += condition.joiner.isNot ? " NOT LIKE" : " LIKE";
    sql += fmt::format(" \"%{}%\"", doubledQuotes(condition.pattern));
    ++clauseCount_;
  }

  void doAttachButton(std::string& sql, std::size_t group) {
    const Joiner joiner = request_.typesJoiner;
    if (clauseCount_ != 0) sql += textOf({attachClauseCount_ != 0 || joiner.isOr, false});
    // The negated form opens a quote that nothing closes, so the server refuses it.
    sql += joiner.isNot ? "attachNames NOT LIKE \"" : "attachNames LIKE ";
    sql += attachPattern(group);
    ++clauseCount_;
    ++attachClauseCount_;
  }

  void onlyAttach(std::string& sql) {
    if (clauseCount_ != 0) sql += " AND ";
    sql += "numAttach>0";
    ++clauseCount_;
    attachClauseCount_ = 0;
    for (std::size_t group = 0; group < kAttachTypes; ++group) {
      if (request_.types[group]) doAttachButton(sql, group);
    }
  }

  /// A clause of the tag block; `value` closes the string that the clause opens.
  void tagClause(std::string& sql, TagField field, const std::string& value) {
    const Joiner joiner = tagJoiner(field);
    if (clauseCount_ != 0) sql += textOf(joiner);
    sql += columnOf(field);
    if (field == TagField::priority) {
      sql += joiner.isNot ? " != " : "=";
    } else {
      sql += joiner.isNot ? " NOT LIKE \"" : " LIKE \"";
    }
    sql += value;
    ++clauseCount_;
  }
  [[nodiscard]] Joiner tagJoiner(TagField field) const {
    return request_.tagJoiners[static_cast<std::size_t>(field)];
  }

 private:
  const SearchRequest& request_;
  int clauseCount_ = 0;
  int attachClauseCount_ = 0;
};

bool hasTagBlock(const SearchRequest& request) {
  return !request.category.empty() || !request.keywords.empty() || !request.notes.empty() ||
         request.priority.has_value() || request.tagJoiners.front().isNot;
}

std::string orderText(const SearchContext& context) {
  // A column beyond those of its row counts as the last one.
  const SortColumn* chosen = &kSortColumns.front();
  for (const SortColumn& field : kSortColumns) {
    const bool sameRow = (field.row == 0) == (context.sortFieldRow == 0);
    const bool reached = context.sortFieldCol < 0 || context.sortFieldCol >= field.column;
    if (sameRow && reached) chosen = &field;
  }
  return std::string(chosen->order) + (context.sortOrder == 0 ? "ASC" : "DESC");
}

void appendFieldBlock(std::string& whereSql, const SearchRequest& request, WhereBuilder& builder) {
  if (request.conditions.empty() && !request.onlyAttach) return;
  whereSql += request.dates.isAll() ? " WHERE (" : " AND (";
  for (const SearchRequest::Condition& condition : request.conditions) {
    builder.doFieldButton(whereSql, condition);
  }
  if (request.onlyAttach) builder.onlyAttach(whereSql);
  whereSql += ")";
}

void appendTagBlock(std::string& whereSql, const SearchRequest& request, WhereBuilder& builder,
                    const std::string& id) {
  if (!hasTagBlock(request)) return;
  if (whereSql.find("WHERE") != std::string::npos) {
    whereSql += fmt::format(" AND {}=tags.id AND (", id);
  } else {
    whereSql = fmt::format(" WHERE {}=tags.id AND (", id);
  }
  if (!request.category.empty()) {
    builder.tagClause(whereSql, TagField::category, closedQuotes(request.category) + "\"");
  } else if (builder.tagJoiner(TagField::category).isNot) {
    // Not counted as a clause, so that a tag clause behind it is refused by the server.
    whereSql.append(columnOf(TagField::category)).append(" != \"\"");
  }
  if (!request.keywords.empty()) {
    builder.tagClause(whereSql, TagField::keywords, "%" + request.keywords + "%\"");
  }
  if (!request.notes.empty()) {
    builder.tagClause(whereSql, TagField::notes, "%" + doubledQuotes(request.notes) + "%\"");
  }
  if (request.priority) {
    builder.tagClause(whereSql, TagField::priority, fmt::format("{}", *request.priority));
  }
  whereSql += ")";
}

void appendIds(std::string& whereSql, const SearchContext& context) {
  if (!context.ids) return;
  whereSql += (whereSql.empty() ? " WHERE " : " AND ") + context.scope.id + " IN (";
  // No message has the id 0.
  if (context.ids->empty()) whereSql += "0,";
  for (const std::uint32_t id : *context.ids)
    fmt::format_to(std::back_inserter(whereSql), "{},", id);
  whereSql.back() = ')';
}

}  // namespace

Joiner joinerOf(std::string_view title) {
  return {title.starts_with("OR"), title.ends_with("NOT")};
}

std::vector<SearchRequest::Condition> phraseConditions(const std::string& pattern) {
  std::vector<SearchRequest::Condition> conditions;
  for (const SearchField& field : kSearchFields) {
    if (field.phrasePlace.empty()) continue;
    conditions.push_back({field.column, pattern, {!conditions.empty(), false}});
  }
  return conditions;
}

SearchScope listScope(int listViewCount) {
  if (listViewCount == 0) return {"email", "id"};
  const std::string view = fmt::format("listView{}", listViewCount);
  return {view, view + ".id"};
}

SearchScope idScope(const std::vector<std::string>& ids) {
  return {fmt::format("(SELECT {} FROM email WHERE id IN ({})) AS listView1", kListViewColumns,
                      join(ids, ",")),
          "listView1.id"};
}

std::string limitClause(const SearchContext& context) {
  const std::string& size = context.limitSearchSize;
  const int number = leadingInt(size);
  if (context.limitSearchState == 0 || number == 0) return "";
  const bool digitsOnly = size.find_first_not_of("0123456789") == std::string::npos;
  return " LIMIT " + (digitsOnly ? size : fmt::format("{}", number));
}

std::string selectListColumns(std::string_view id) {
  return fmt::format("SELECT {},date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM ", id);
}

SearchSql makeSearchSQL(const SearchRequest& request, const SearchContext& context) {
  const SearchScope& scope = context.scope;
  SearchSql sql;
  sql.fromTables = scope.table + (hasTagBlock(request) ? ",tags" : "");
  sql.beginSql = selectListColumns(scope.id) + sql.fromTables + " ";
  if (!request.dates.isAll()) {
    sql.whereSql = fmt::format("WHERE date_fld >= \"{} 00:00:00\" AND date_fld <= \"{} 23:59:59\"",
                               request.dates.firstDay, request.dates.lastDay);
  }
  WhereBuilder builder(request);
  appendFieldBlock(sql.whereSql, request, builder);
  appendIds(sql.whereSql, context);
  builder.startBlock();
  appendTagBlock(sql.whereSql, request, builder, scope.id);
  sql.whereSql += " ORDER BY " + orderText(context) + limitClause(context);
  return sql;
}

std::string makeSizeSQL(const SearchContext& context) {
  return selectListColumns("email.id") +
         "email,origemail WHERE origemail.id=email.id ORDER BY length(origemail.orig_fld) DESC" +
         limitClause(context);
}

std::string makeNewestSQL(const std::string& limit) {
  return selectListColumns("id") + "email ORDER BY date_fld DESC" + limit;
}

std::optional<LimitedStatement> splitLimit(std::string_view statement) {
  const std::size_t end = statement.find_last_not_of("; \t\r\n");
  statement = statement.substr(0, end == std::string_view::npos ? 0 : end + 1);
  const std::size_t digits = statement.find_last_not_of("0123456789");
  if (digits == std::string_view::npos || digits + 1 == statement.size()) return std::nullopt;
  const std::string number(statement.substr(digits + 1));
  const std::string_view before = trimWhitespace(statement.substr(0, digits + 1));
  constexpr std::string_view kLimit = " LIMIT";
  if (before.size() < kLimit.size()) return std::nullopt;
  const std::size_t at = before.size() - kLimit.size();
  if (compareNoCase(before.substr(at), kLimit) != 0) return std::nullopt;
  return LimitedStatement{std::string(before.substr(0, at)),
                          std::strtoull(number.c_str(), nullptr, 10)};
}

}  // namespace keldane
