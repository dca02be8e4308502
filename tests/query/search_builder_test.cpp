#include "query/search_builder.h"

#include <functional>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace keldane {
namespace {

struct BuilderCase {
  const char* name;
  std::function<void(SearchRequest&, SearchContext&)> fill;
  const char* id;
  const char* tables;
  const char* whereSql;
};

constexpr Joiner kOr = {true, false};
constexpr Joiner kOrNot = {true, true};

const BuilderCase kCases[] = {
    {"empty_form", [](SearchRequest&, SearchContext&) {}, "email.id", "email",
     " ORDER BY date_fld ASC"},
    {"or_joins_and_splits",
     [](SearchRequest& request, SearchContext&) {
       request.conditions = {
           {"from_fld", "smith", {}}, {"to_fld", "jones", kOr}, {"subj_fld", "budget", {}}};
       request.dates.firstDay = "2019-01-01";
     },
     "email.id", "email",
     "WHERE date_fld >= \"2019-01-01 00:00:00\" AND date_fld <= \"2050-12-31 23:59:59\" AND "
     "(from_fld LIKE \"%smith%\" OR to_fld LIKE \"%jones%\") AND (subj_fld LIKE \"%budget%\") "
     "ORDER BY date_fld ASC"},
    {"first_row_only_negates",
     [](SearchRequest& request, SearchContext&) {
       request.conditions = {{"mailbox", "a\"b", kOrNot}};
     },
     "email.id", "email", " WHERE (mailbox NOT LIKE \"%a\"\"b%\") ORDER BY date_fld ASC"},
    {"limit_with_a_tail_counts_as_its_number",
     [](SearchRequest&, SearchContext& context) {
       context.limitSearchState = 1;
       context.limitSearchSize = "5 INTO OUTFILE 'x'";
     },
     "email.id", "email", " ORDER BY date_fld ASC LIMIT 5"},
    {"empty_list_view_is_asked_for",
     [](SearchRequest&, SearchContext& context) { context.scope = listScope(0); }, "id", "email",
     " ORDER BY date_fld ASC"},
    {"entire_message_over_six_columns",
     [](SearchRequest& request, SearchContext&) { request.conditions = phraseConditions("x"); },
     "email.id", "email",
     " WHERE (from_fld LIKE \"%x%\" OR to_fld LIKE \"%x%\" OR subj_fld LIKE \"%x%\" OR mailbox "
     "LIKE "
     "\"%x%\" OR body_fld LIKE \"%x%\" OR attachNames LIKE \"%x%\") ORDER BY date_fld ASC"},
    {"attachment_types",
     [](SearchRequest& request, SearchContext&) {
       request.onlyAttach = true;
       request.types[4] = true;
     },
     "email.id", "email",
     " WHERE (numAttach>0) AND (attachNames LIKE '%.zip%' OR attachNames LIKE '%.gzip%' OR "
     "attachNames LIKE '%.dmg%' OR attachNames LIKE '%.rar%' OR attachNames LIKE '%.tar%' OR "
     "attachNames LIKE '%.tgz%') ORDER BY date_fld ASC"},
    {"untagged_only",
     [](SearchRequest& request, SearchContext&) { request.tagJoiners[0].isNot = true; }, "email.id",
     "email,tags", " WHERE email.id=tags.id AND (cat_fld != \"\") ORDER BY date_fld ASC"},
    {"tags_inside_a_list",
     [](SearchRequest& request, SearchContext& context) {
       context.scope = listScope(3);
       request.category = "Work";
       request.keywords = "a b";
       request.notes = "say \"hi\"";
       request.priority = 4;
       request.tagJoiners = {Joiner{}, kOr, Joiner{}, kOrNot};
     },
     "listView3.id", "listView3,tags",
     " WHERE listView3.id=tags.id AND (cat_fld LIKE \"Work\" OR key_fld LIKE \"%a b%\") AND "
     "(notes_fld LIKE \"%say \"\"hi\"\"%\" OR priority_fld != 4) ORDER BY date_fld ASC"},
    {"sorted_by_sender_backwards",
     [](SearchRequest&, SearchContext& context) {
       context.sortFieldRow = 0;
       context.sortFieldCol = 1;
       context.sortOrder = 1;
     },
     "email.id", "email", " ORDER BY UPPER(from_fld) DESC"},
};

TEST(SearchBuilder, WritesTheStatement) {
  for (const BuilderCase& row : kCases) {
    SearchRequest request;
    SearchContext context;
    context.limitSearchState = 0;
    row.fill(request, context);
    const SearchSql sql = makeSearchSQL(request, context);
    EXPECT_EQ(sql.beginSql,
              fmt::format("SELECT {},date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM {} ",
                          row.id, row.tables))
        << row.name;
    EXPECT_EQ(sql.whereSql, row.whereSql) << row.name;
  }
}

TEST(SearchBuilderDates, EndDayOfAllIsTheLastOfTheMonth) {
  const std::pair<const char*, const char*> months[] = {
      {"02", "2024-02-28"}, {"04", "2024-04-30"}, {"12", "2024-12-31"}};
  for (const auto& [month, end] : months) {
    DateMenus dates;
    dates.endYr = "2024";
    dates.endMo = month;
    EXPECT_EQ(dateRange(dates).lastDay, end) << month;
  }
  DateMenus defaults;
  defaults.beginYr = "1901";
  EXPECT_TRUE(dateRange(defaults).isAll());
}

TEST(SearchBuilderLimit, SplitsOffTheLimitAtTheEnd) {
  const auto split = splitLimit("SELECT id FROM email  limit 20 ; ");
  ASSERT_TRUE(split);
  EXPECT_EQ(split->limit, 20U);
  EXPECT_EQ(split->unlimited, "SELECT id FROM email ");
  for (const char* none : {"SELECT 1", "LIMIT 20", "SELECT id LIMIT 2,x", ""}) {
    EXPECT_FALSE(splitLimit(none)) << none;
  }
}

}  // namespace
}  // namespace keldane
