#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "query/date_range.h"
#include "query/search_fields.h"

namespace keldane {

/// How a condition joins those before it. OR extends the group that is open, AND closes it and
/// opens the next: OR binds tighter.
struct Joiner {
  bool isOr = false;
  bool isNot = false;
};
/// The title or word of a joiner means OR when it begins with "OR", else AND; it negates when it
/// ends with "NOT".
[[nodiscard]] Joiner joinerOf(std::string_view title);

/// What is searched for. Texts are patterns of MySQL's LIKE: %, _ and backslash work in them.
struct SearchRequest {
  struct Condition {
    std::string_view column;
    std::string pattern;
    Joiner joiner;
  };
  std::vector<Condition> conditions;
  DateRange dates;
  bool onlyAttach = false;  ///< only messages with attachments
  std::array<bool, kAttachTypes> types{};
  Joiner typesJoiner;
  std::string category;  ///< empty: not asked for, as the next two
  std::string keywords;  ///< stands in the statement as it is, and may end its string
  std::string notes;
  std::optional<int> priority;
  std::array<Joiner, kTagFields> tagJoiners;  ///< by TagField; that of the category only negates
};

/// The conditions of a phrase for the entire message.
[[nodiscard]] std::vector<SearchRequest::Condition> phraseConditions(const std::string& pattern);

/// Where a search looks.
struct SearchScope {
  std::string table = "email";
  std::string id = "email.id";
};
/// Inside the list of this view's number; 0: the list has no view.
[[nodiscard]] SearchScope listScope(int listViewCount);
/// Inside these messages.
[[nodiscard]] SearchScope idScope(const std::vector<std::string>& ids);

/// What the statement depends on besides the request.
struct SearchContext {
  SearchScope scope;
  int limitSearchState = 1;
  std::string limitSearchSize = "1000";
  int sortOrder = 0;
  int sortFieldRow = 1;
  int sortFieldCol = 0;
  /// Only these messages, beside what the request says; absent: all.
  std::optional<std::vector<std::uint32_t>> ids = {};
};

/// The two halves of a search statement, and the tables that it names.
struct SearchSql {
  std::string beginSql;
  std::string whereSql;
  std::string fromTables;
};

/// The statement for a request. Double quotes of its texts are doubled, everywhere but in the
/// keywords. The server refuses what does not parse.
[[nodiscard]] SearchSql makeSearchSQL(const SearchRequest& request, const SearchContext& context);
/// The statement that lists by length of the raw source, the longest first.
[[nodiscard]] std::string makeSizeSQL(const SearchContext& context);
/// The statement that lists the newest messages; `limit` is empty or " LIMIT n".
[[nodiscard]] std::string makeNewestSQL(const std::string& limit);

/// " LIMIT n" when a limit is on and not 0, else empty. A limit that is not all digits counts as
/// the number it begins with: the text comes out of the archive, and nothing behind it may reach a
/// statement.
[[nodiscard]] std::string limitClause(const SearchContext& context);

/// The start of a list's statement, up to and with FROM: the columns in the order in which
/// `readListRow` takes them.
[[nodiscard]] std::string selectListColumns(std::string_view id);

/// Columns of `email` that a search can look at or list, and its id: what a list view holds.
inline constexpr std::string_view kListViewColumns =
    "id,from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld,numAttach,attachNames,attachText,"
    "headings";

/// A statement without the limit at its end, and the limit.
struct LimitedStatement {
  std::string unlimited;
  std::uint64_t limit = 0;
};
/// Absent for a statement that does not end with a limit.
[[nodiscard]] std::optional<LimitedStatement> splitLimit(std::string_view statement);

}  // namespace keldane
