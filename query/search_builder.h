#pragma once

#include <string>
#include <string_view>

#include "query/search_form.h"

namespace keldane {

/// What the search statement depends on besides the form.
struct SearchContext {
  int listMode = 0;       ///< 1: search inside the list shown
  int listViewCount = 0;  ///< number of the newest list view
  int limitSearchState = 1;
  std::string limitSearchSize = "1000";
  int sortOrder = 0;
  int sortFieldRow = 1;
  int sortFieldCol = 0;
};

/// The two halves of a search statement, and the tables that it names.
struct SearchSql {
  std::string beginSql;
  std::string whereSql;
  std::string fromTables;
  bool onlyAttach = false;
};

/// The statement that the form asks for. A phrase for the entire message is first spread over the
/// rows of the form, which changes it. The user's words stand in the statement as he wrote them, so
/// that %, _ and backslash work in the pattern; double quotes are doubled, everywhere but in the
/// keywords, which may end their string. The server refuses what does not parse.
[[nodiscard]] SearchSql makeSearchSQL(SearchForm& form, const SearchContext& context);

/// " LIMIT n" when a limit is on and not 0, else empty. A limit that is not all digits counts as
/// the number it begins with: the text comes out of the archive, and nothing behind it may reach a
/// statement.
[[nodiscard]] std::string limitClause(const SearchContext& context);

/// Begin and end of a date range, "YYYY-MM-DD HH:MM:SS". The end day of "All" is the last of the
/// month, and always 28 in February.
struct DateRange {
  std::string begin;
  std::string end;
  bool active = false;
};
[[nodiscard]] DateRange dateRange(const DateMenus& dates);

}  // namespace keldane
