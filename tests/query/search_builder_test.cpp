#include "query/search_builder.h"

#include <functional>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace keldane {
namespace {

struct BuilderCase {
  const char* name;
  std::function<void(SearchForm&, SearchContext&)> fill;
  const char* id;
  const char* tables;
  const char* whereSql;
};

std::ostream& operator<<(std::ostream& out, const BuilderCase& row) { return out << row.name; }

SearchContext unlimited() {
  SearchContext context;
  context.limitSearchState = 0;
  return context;
}

class SearchBuilder : public testing::TestWithParam<BuilderCase> {};

TEST_P(SearchBuilder, WritesTheStatement) {
  SearchForm form;
  SearchContext context = unlimited();
  GetParam().fill(form, context);
  const SearchSql sql = makeSearchSQL(form, context);
  EXPECT_EQ(sql.beginSql,
            fmt::format("SELECT {},date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM {} ",
                        GetParam().id, GetParam().tables));
  EXPECT_EQ(sql.whereSql, GetParam().whereSql);
}

const BuilderCase kCases[] = {
    {"empty_form", [](SearchForm&, SearchContext&) {}, "email.id", "email",
     " ORDER BY date_fld ASC"},
    {"limit_as_text",
     [](SearchForm&, SearchContext& context) {
       context.limitSearchState = 1;
       context.limitSearchSize = "50";
     },
     "email.id", "email", " ORDER BY date_fld ASC LIMIT 50"},
    {"or_joins_and_splits",
     [](SearchForm& form, SearchContext&) {
       form.searchTextField[0] = "smith";
       form.searchTextField[1] = "jones";
       form.searchTextField[2] = "budget";
       form.dates.beginYr = "2019";
     },
     "email.id", "email",
     "WHERE date_fld >= \"2019-01-01 00:00:00\" AND date_fld <= \"2050-12-31 23:59:59\" AND "
     "(from_fld LIKE \"%smith%\" OR to_fld LIKE \"%jones%\") AND (subj_fld LIKE \"%budget%\") "
     "ORDER BY date_fld ASC"},
    {"first_row_only_negates",
     [](SearchForm& form, SearchContext&) {
       form.opsButton[3] = "OR NOT";
       form.searchTextField[3] = "a\"b";
     },
     "email.id", "email", " WHERE (mailbox NOT LIKE \"%a\"\"b%\") ORDER BY date_fld ASC"},
    {"words_cannot_end_their_string",
     [](SearchForm& form, SearchContext&) {
       form.searchTextField[0] = "\\\" OR 1=1 -- ";
       form.searchTextField[1] = "\\\\\"";
       form.searchTextField[4] = "50%_\\";
       form.searchNotesTextField = "\\\"";
       form.searchCatButton = "c\"\\";
     },
     "email.id", "email,tags",
     " WHERE (from_fld LIKE \"%\\\\\"\" OR 1=1 -- %\" OR to_fld LIKE \"%\\\\\"\"%\") AND (body_fld "
     "LIKE "
     "\"%50%_\\%\") AND email.id=tags.id AND (cat_fld LIKE \"c\"\"\\\\\") AND (notes_fld LIKE "
     "\"%\\\\\"\"%\") ORDER BY date_fld ASC"},
    {"keywords_stand_as_they_are",
     [](SearchForm& form, SearchContext&) {
       form.searchKeywordsTextField = "a\"b";
       form.catAndButton = "OR NOT";
     },
     "email.id", "email,tags",
     " WHERE email.id=tags.id AND (key_fld NOT LIKE \"%a\"b%\") ORDER BY date_fld ASC"},
    {"limit_with_a_tail_counts_as_its_number",
     [](SearchForm&, SearchContext& context) {
       context.limitSearchState = 1;
       context.limitSearchSize = "5 INTO OUTFILE 'x'";
     },
     "email.id", "email", " ORDER BY date_fld ASC LIMIT 5"},
    {"negated_types_are_left_to_the_server",
     [](SearchForm& form, SearchContext&) {
       form.onlyAttachCheck = true;
       form.typeCheck[0] = true;
       form.opsButton[8] = "OR NOT";
     },
     "email.id", "email",
     " WHERE (numAttach>0 OR attachNames NOT LIKE \"'%.jpg%' OR attachNames LIKE  '%.jpeg%' OR "
     "attachNames LIKE  '%.png%' OR attachNames LIKE  '%.gif%' OR attachNames LIKE  '%.tiff%' OR "
     "attachNames LIKE  '%.tif%' OR attachNames LIKE  '%.ai%' OR attachNames LIKE  '%.svg%' OR "
     "attachNames LIKE  '%.webp%' OR attachNames LIKE  '%.icns%' OR attachNames LIKE  '%.ico%' OR "
     "attachNames LIKE  '%.psd%' OR attachNames LIKE  '%.bmp%' OR attachNames LIKE '%.eps%') ORDER "
     "BY date_fld ASC"},
    {"empty_list_view_is_asked_for",
     [](SearchForm&, SearchContext& context) { context.listMode = 1; }, "id", "email",
     " ORDER BY date_fld ASC"},
    {"entire_message_over_six_columns",
     [](SearchForm& form, SearchContext&) { form.entireMsgTextField = "x"; }, "email.id", "email",
     " WHERE (from_fld LIKE \"%x%\" OR to_fld LIKE \"%x%\" OR subj_fld LIKE \"%x%\" OR mailbox "
     "LIKE "
     "\"%x%\" OR body_fld LIKE \"%x%\" OR attachNames LIKE \"%x%\") ORDER BY date_fld ASC"},
    {"attachment_types",
     [](SearchForm& form, SearchContext&) {
       form.onlyAttachCheck = true;
       form.typeCheck[4] = true;
     },
     "email.id", "email",
     " WHERE (numAttach>0) AND (attachNames LIKE '%.zip%' OR attachNames LIKE '%.gzip%' OR "
     "attachNames LIKE '%.dmg%' OR attachNames LIKE '%.rar%' OR attachNames LIKE '%.tar%' OR "
     "attachNames LIKE '%.tgz%') ORDER BY date_fld ASC"},
    {"untagged_only", [](SearchForm& form, SearchContext&) { form.tagsAndButton = "AND NOT"; },
     "email.id", "email,tags",
     " WHERE email.id=tags.id AND (cat_fld != \"\") ORDER BY date_fld ASC"},
    {"tags_inside_a_list",
     [](SearchForm& form, SearchContext& context) {
       context.listMode = 1;
       context.listViewCount = 3;
       form.searchCatButton = "Work";
       form.searchKeywordsTextField = "a b";
       form.catAndButton = "OR";
       form.searchNotesTextField = "say \"hi\"";
       form.priorityCheck = true;
       form.searchPriorityButton = "High";
       form.priorityAndButton = "OR NOT";
     },
     "listView3.id", "listView3,tags",
     " WHERE listView3.id=tags.id AND (cat_fld LIKE \"Work\" OR key_fld LIKE \"%a b%\") AND "
     "(notes_fld LIKE \"%say \"\"hi\"\"%\" OR priority_fld != 4) ORDER BY date_fld ASC"},
    {"sorted_by_sender_backwards",
     [](SearchForm&, SearchContext& context) {
       context.sortFieldRow = 0;
       context.sortFieldCol = 1;
       context.sortOrder = 1;
     },
     "email.id", "email", " ORDER BY UPPER(from_fld) DESC"},
};

INSTANTIATE_TEST_SUITE_P(Forms, SearchBuilder, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SearchBuilderDates, EndDayOfAllIsTheLastOfTheMonth) {
  const std::pair<const char*, const char*> months[] = {
      {"02", "2024-02-28 23:59:59"}, {"04", "2024-04-30 23:59:59"}, {"12", "2024-12-31 23:59:59"}};
  for (const auto& [month, end] : months) {
    DateMenus dates;
    dates.endYr = "2024";
    dates.endMo = month;
    EXPECT_EQ(dateRange(dates).end, end) << month;
  }
  DateMenus defaults;
  defaults.beginYr = "1901";
  EXPECT_FALSE(dateRange(defaults).active);
}

TEST(SearchBuilderForm, ResetKeepsTheFirstOperatorAndTheNotes) {
  SearchForm form;
  form.opsButton[0] = "OR NOT";
  form.opsButton[1] = "AND";
  form.tagsAndButton = "AND NOT";
  form.searchNotesTextField = "kept";
  form.searchKeywordsTextField = "gone";
  form.searchTextField[5] = "gone";
  resetRetrieve(form);
  EXPECT_EQ(form.opsButton[0], "OR NOT");
  EXPECT_EQ(form.opsButton[1], "OR");
  EXPECT_EQ(form.tagsAndButton, "AND NOT");
  EXPECT_EQ(form.searchNotesTextField, "kept");
  EXPECT_EQ(form.searchKeywordsTextField, "");
  EXPECT_EQ(form.searchTextField[5], "");
}

}  // namespace
}  // namespace keldane
