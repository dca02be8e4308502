// Foreign text on its way into a statement: it must stay within the string that it was put in.
#include <cstdint>
#include <string>
#include <string_view>

#include "archive/sql_values.h"
#include "fuzz/check.h"
#include "ingest/storing/statement_text.h"
#include "query/search_builder.h"

namespace {

using namespace keldane;

/// Where the string literal that begins at `at` ends, as the server reads it; npos when it does
/// not.
std::size_t endOfString(std::string_view sql, std::size_t at) {
  const char quote = sql[at];
  for (std::size_t i = at + 1; i < sql.size(); ++i) {
    if (sql[i] == '\\') {
      ++i;
    } else if (sql[i] == quote) {
      if (i + 1 == sql.size() || sql[i + 1] != quote) return i;
      ++i;
    }
  }
  return std::string_view::npos;
}

bool isOneString(std::string_view sql) {
  return !sql.empty() && sql.front() == '"' && endOfString(sql, 0) == sql.size() - 1;
}

/// The statement with every string literal as "".
std::string shapeOf(std::string_view sql) {
  std::string shape;
  for (std::size_t i = 0; i < sql.size(); ++i) {
    shape += sql[i];
    if (sql[i] != '"' && sql[i] != '\'') continue;
    const std::size_t end = endOfString(sql, i);
    if (end == std::string_view::npos) return shape + "open";
    i = end;
  }
  return shape;
}

std::string searchShape(const std::string& text) {
  SearchRequest request;
  request.conditions = phraseConditions(text);
  request.category = text;
  request.notes = text;
  SearchContext context;
  context.limitSearchSize = "7 " + text;
  const SearchSql sql = makeSearchSQL(request, context);
  return shapeOf(sql.beginSql + sql.whereSql);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  KELDANE_CHECK(isOneString(quotedInline(text)));
  KELDANE_CHECK(unescapeInline(escapeInline(text)) == text);
  StatementText statement;
  KELDANE_CHECK(statement.start("").addQuoted(text).text() == quotedInline(text));
  for (const char omit : {'\n', '\0'}) {
    KELDANE_CHECK(isOneString(statement.start("").addQuoted(text, omit).text()));
  }
  if (!text.empty() && text != "None") KELDANE_CHECK(searchShape(text) == searchShape("x"));
  return 0;
}
