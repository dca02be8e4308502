#include "query/search_builder.h"

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"

namespace keldane {
namespace {

bool isOr(const std::string& title) { return title.starts_with("OR"); }
bool isNot(const std::string& title) { return title.ends_with("NOT"); }
std::string_view joiner(bool isOrJoiner) { return isOrJoiner ? " OR " : ") AND ("; }

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
  explicit WhereBuilder(const SearchForm& form) : form_(form) {}

  void startBlock() { clauseCount_ = 0; }

  void doFieldButton(std::string& sql, std::size_t row) {
    const std::string& operation = form_.opsButton[row];
    if (clauseCount_ != 0) sql += joiner(isOr(operation));
    sql += columnForField(form_.fieldButton[row]);
    sql += isNot(operation) ? " NOT LIKE" : " LIKE";
    sql += fmt::format(" \"%{}%\"", doubledQuotes(form_.searchTextField[row]));
    ++clauseCount_;
  }

  void doAttachButton(std::string& sql, std::size_t group) {
    const std::string& operation = form_.opsButton[kSearchRows];
    if (clauseCount_ != 0) sql += joiner(attachClauseCount_ != 0 || isOr(operation));
    // The negated form opens a quote that nothing closes, so the server refuses it.
    sql += isNot(operation) ? "attachNames NOT LIKE \"" : "attachNames LIKE ";
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
      if (form_.typeCheck[group]) doAttachButton(sql, group);
    }
  }

  /// A clause of the tag block: `before` is the operator that joins and negates it.
  void tagClause(std::string& sql, const std::string& before, TagField field,
                 const std::string& value) {
    if (clauseCount_ != 0) sql += joiner(isOr(before));
    const bool isNumber = field == TagField::priority;
    sql += columnOf(field);
    if (isNumber) sql += isNot(before) ? " != " : "=";
    if (!isNumber) sql += isNot(before) ? " NOT LIKE \"" : " LIKE \"";
    sql += value;
    ++clauseCount_;
  }

 private:
  const SearchForm& form_;
  int clauseCount_ = 0;
  int attachClauseCount_ = 0;
};

struct TagBlock {
  std::string category;
  std::string keywords;
  std::string notes;
  std::string priority;

  explicit TagBlock(const SearchForm& form)
      : category(form.searchCatButton == "None" ? "" : form.searchCatButton),
        keywords(form.searchKeywordsTextField),
        notes(form.searchNotesTextField),
        priority(form.priorityCheck ? form.searchPriorityButton : "") {}

  [[nodiscard]] bool empty() const {
    return category.empty() && keywords.empty() && notes.empty() && priority.empty();
  }
};

void spreadEntireMessage(SearchForm& form) {
  form.fieldButton = searchFieldTitles();
  for (std::size_t i = 0; i < kSearchRows; ++i) {
    form.searchTextField[i] = !kSearchFields[i].phrasePlace.empty() ? form.entireMsgTextField : "";
    form.opsButton[i] = i == 0 ? "AND" : "OR";
  }
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

void appendFieldBlock(std::string& whereSql, const SearchForm& form, WhereBuilder& builder,
                      bool dateActive) {
  bool anyText = false;
  for (const std::string& text : form.searchTextField) anyText = anyText || !text.empty();
  if (!anyText && !form.onlyAttachCheck) return;
  whereSql += dateActive ? " AND (" : " WHERE (";
  for (std::size_t row = 0; row < kSearchRows; ++row) {
    if (!form.searchTextField[row].empty()) builder.doFieldButton(whereSql, row);
  }
  if (form.onlyAttachCheck) builder.onlyAttach(whereSql);
  whereSql += ")";
}

void appendTagBlock(std::string& whereSql, const SearchForm& form, WhereBuilder& builder,
                    const TagBlock& tags, const std::string& idExpression) {
  const bool negated = isNot(form.tagsAndButton);
  if (tags.empty() && !negated) return;
  if (whereSql.find("WHERE") != std::string::npos) {
    whereSql += fmt::format(" AND {}=tags.id AND (", idExpression);
  } else {
    whereSql = fmt::format(" WHERE {}=tags.id AND (", idExpression);
  }
  if (!tags.category.empty()) {
    builder.tagClause(whereSql, negated ? "NOT" : "", TagField::category,
                      closedQuotes(tags.category) + "\"");
  } else if (negated) {
    // Not counted as a clause, so that a tag clause behind it is refused by the server.
    whereSql.append(columnOf(TagField::category)).append(" != \"\"");
  }
  if (!tags.keywords.empty()) {
    builder.tagClause(whereSql, form.catAndButton, TagField::keywords, "%" + tags.keywords + "%\"");
  }
  if (!tags.notes.empty()) {
    builder.tagClause(whereSql, form.keywordsAndButton, TagField::notes,
                      "%" + doubledQuotes(tags.notes) + "%\"");
  }
  if (!tags.priority.empty()) {
    builder.tagClause(whereSql, form.priorityAndButton, TagField::priority,
                      fmt::format("{}", priorityOfTitle(tags.priority)));
  }
  whereSql += ")";
}

}  // namespace

std::string limitClause(const SearchContext& context) {
  const std::string& size = context.limitSearchSize;
  const int number = leadingInt(size);
  if (context.limitSearchState == 0 || number == 0) return "";
  const bool digitsOnly = size.find_first_not_of("0123456789") == std::string::npos;
  return " LIMIT " + (digitsOnly ? size : fmt::format("{}", number));
}

DateRange dateRange(const DateMenus& dates) {
  const auto chosen = [](const std::string& title, std::string_view otherwise) {
    return title == "All" ? std::string(otherwise) : title;
  };
  const std::string endMonth = chosen(dates.endMo, "12");
  const bool thirty = endMonth == "04" || endMonth == "06" || endMonth == "09" || endMonth == "11";
  const std::string endDay = chosen(dates.endDa, endMonth == "02" ? "28" : thirty ? "30" : "31");
  DateRange range;
  range.begin = fmt::format("{}-{}-{} 00:00:00", chosen(dates.beginYr, "1901"),
                            chosen(dates.beginMo, "01"), chosen(dates.beginDa, "01"));
  range.end = fmt::format("{}-{}-{} 23:59:59", chosen(dates.endYr, "2050"), endMonth, endDay);
  range.active = range.begin != "1901-01-01 00:00:00" || range.end != "2050-12-31 23:59:59";
  return range;
}

SearchSql makeSearchSQL(SearchForm& form, const SearchContext& context) {
  WhereBuilder builder(form);
  builder.startBlock();
  const DateRange range = dateRange(form.dates);
  if (!form.entireMsgTextField.empty()) spreadEntireMessage(form);
  const TagBlock tags(form);

  SearchSql sql;
  sql.onlyAttach = form.onlyAttachCheck;
  sql.fromTables = tags.empty() && !isNot(form.tagsAndButton) ? "email" : "email,tags";
  std::string idExpression = "email.id";
  if (context.listMode != 0) {
    if (context.listViewCount == 0) {
      idExpression = "id";
    } else {
      const std::string view = fmt::format("listView{}", context.listViewCount);
      replaceAll(sql.fromTables, "email", view);
      idExpression = view + ".id";
    }
  }
  sql.beginSql =
      fmt::format("SELECT {},date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM {} ",
                  idExpression, sql.fromTables);
  if (range.active) {
    sql.whereSql =
        fmt::format("WHERE date_fld >= \"{}\" AND date_fld <= \"{}\"", range.begin, range.end);
  }
  appendFieldBlock(sql.whereSql, form, builder, range.active);
  builder.startBlock();
  appendTagBlock(sql.whereSql, form, builder, tags, idExpression);
  sql.whereSql += " ORDER BY " + orderText(context);
  sql.whereSql += limitClause(context);
  return sql;
}

}  // namespace keldane
