#include "app/panels/result_table.h"

#include <algorithm>
#include <random>

#include "base/text.h"
#include "tests/app/search_panels_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;

constexpr const char* kTagsOfThree = "SELECT id FROM tags WHERE id IN (3,1,2)";

struct ResultTableTest : testing::Test, SearchPanels {
  void retrieveThree() {
    findIds("asked", {3, 1, 2});
    answerOn("SELECT count(id) FROM email", {{"12"}});
    list.currentSql = "asked";
    list.retrieve();
  }
  std::vector<std::uint32_t> ids() const {
    std::vector<std::uint32_t> shown;
    for (const Emailrow& row : list.emailRows) shown.push_back(row.emailID);
    return shown;
  }
};

TEST_F(ResultTableTest, LearnsTheTagsOfAllRowsWithOneStatement) {
  retrieveThree();
  EXPECT_EQ(scripted.statements().size(), 5U) << "the list, its tags, the total, two of the view";
  EXPECT_EQ(list.listCountTextField, "3 emails in this list.");
  EXPECT_THAT(ui.lines("title"), ElementsAre("title storePanel retrieving email from database...",
                                             "title storePanel done retrieving email from mail"));
}

TEST_F(ResultTableTest, AsksRowByRowWhereTheOneStatementIsRefused) {
  failOn(kTagsOfThree, "too long");
  answerOn("SELECT count(id) FROM tags WHERE tags.id=1", {{"2"}});
  failOn("SELECT count(id) FROM tags WHERE tags.id=2", "gone");
  testing::internal::CaptureStderr();
  retrieveThree();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "SQL error: gone, SELECT count(id) FROM tags WHERE tags.id=2\n");
  // The row that could not be asked for ends the list; those before it stay, with their view.
  EXPECT_THAT(ids(), ElementsAre(3U, 1U));
  EXPECT_EQ(list.emailRows[1].emailDate, "2021-03-04 05:06:07*");
  EXPECT_THAT(scripted.statements().back(), testing::EndsWith("WHERE id IN (3,1)"));
}

TEST_F(ResultTableTest, TagFiltersLeaveRowsOut) {
  struct Filter {
    const char* name;
    bool with;
    bool without;
    std::vector<std::uint32_t> left;
  };
  answerOn(kTagsOfThree, {{"1"}});
  for (const Filter& filter :
       {Filter{"with", true, false, {1}}, Filter{"without", false, true, {3, 2}},
        Filter{"both", true, true, {}}}) {
    list.withTagsCheck = filter.with;
    list.withoutTagsCheck = filter.without;
    retrieveThree();
    EXPECT_EQ(ids(), filter.left) << filter.name;
    EXPECT_EQ(list.rowCount, static_cast<int>(filter.left.size())) << filter.name;
  }
  retrieveThree();
  EXPECT_EQ(list.rowCount, 3) << "the next list is not filtered";
}

TEST_F(ResultTableTest, RefusedStatementLeavesAnEmptyListAndTheViews) {
  failOn("asked", "no such column");
  list.listViewCount = 2;
  list.currentSql = "asked";
  list.retrieve();
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert critical [SQL Error] SQL error: no such column\\n"));
  EXPECT_THAT(scripted.statements(), ElementsAre("asked"));
  EXPECT_EQ(list.listViewCount, 2);
  EXPECT_EQ(list.listCountTextField, "");
}

TEST_F(ResultTableTest, TotalThatFailsCountsAsNoughtOnTheRunLog) {
  failOn("SELECT count(id) FROM email", "gone");
  list.currentSql = "asked";
  list.retrieve();
  EXPECT_THAT(log, ElementsAre("SQL error: gone, SELECT count(id) FROM email\n"));
  EXPECT_EQ(list.dbCountTextField, "0 emails in the database.");
}

TEST_F(ResultTableTest, ViewThatFailsTurnsTheSearchInTheListOff) {
  struct Failing {
    const char* statement;
    bool searchable;
    std::string created;
  };
  testing::internal::CaptureStderr();
  for (const Failing& row : {Failing{"CREATE VIEW*", false, "CREATE VIEW listView1 "},
                             Failing{"DROP VIEW*", true, "CREATE VIEW listView0 "}}) {
    SearchPanels rig;
    rig.findIds("asked", {3});
    rig.failOn(row.statement, "denied");
    rig.list.currentSql = "asked";
    rig.list.retrieve();
    EXPECT_EQ(rig.list.listViewCount, 0) << row.statement;
    EXPECT_EQ(rig.list.listSearchButtonEnabled, row.searchable) << row.statement;
    EXPECT_THAT(rig.scripted.statements().back(), testing::StartsWith(row.created));
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "SQL error: denied\nSQL error: denied\n");
}

TEST_F(ResultTableTest, LatinSendersDecideTheEncodingOfTheNextStatement) {
  answerOn("asked", {{"1", "d", "J\xF6rg", "t", "s", "In", "0"}});
  list.currentSql = "asked";
  list.retrieve();
  EXPECT_EQ(list.emailRows.at(0).emailFrom, "J\xC3\xB6rg");
  list.currentSql = "from J\xC3\xB6rg";
  list.retrieve();
  EXPECT_EQ(scripted.statements()[5], "from J\xF6rg");
  // That list was empty, so the next statement goes out in UTF-8 again.
  list.retrieve();
  EXPECT_EQ(scripted.statements()[7], "from J\xC3\xB6rg");
}

TEST_F(ResultTableTest, ColumnsSortReverseAndKeepTheReversal) {
  retrieveThree();
  list.didClickTableColumn("emailID");
  EXPECT_THAT(ids(), ElementsAre(1U, 2U, 3U));
  EXPECT_EQ(list.objectValueForTableColumn("emailID", 0), "1");
  EXPECT_EQ(list.sortIndicator("emailID"), "NSAscendingSortIndicator");
  list.didClickTableColumn("emailID");
  EXPECT_EQ(list.objectValueForTableColumn("emailID", 0), "3");
  EXPECT_EQ(list.sortIndicator("emailID"), "NSDescendingSortIndicator");
  list.emailRows[2].emailSubject = "A";
  list.didClickTableColumn("emailSubject");
  EXPECT_THAT(ids(), ElementsAre(3U, 1U, 2U));
  EXPECT_EQ(list.objectValueForTableColumn("emailID", 2), "3");
  EXPECT_EQ(list.sortIndicator("emailID"), "");
  EXPECT_EQ(list.sortIndicator("emailSubject"), "NSDescendingSortIndicator");
  EXPECT_EQ(list.objectValueForTableColumn("emailID", 3), std::nullopt);
  EXPECT_THAT(list.emailIds, ElementsAre("3", "1", "2"));
}

TEST_F(ResultTableTest, SortsManyRowsAsTheirComparisonsDoAndKeepsEqualOnesInOrder) {
  const std::string head = "twenty-four bytes a head";
  const std::string texts[] = {"",         "Ann",         "ann",      std::string("Ann\0", 4),
                               head,       head + "\xFF", head + "Z", head + "\u00FC",
                               "\u00DCber"};
  std::minstd_rand random(5);
  for (std::uint32_t id = 1; id <= 20001; ++id) {
    const auto attachments = static_cast<std::int32_t>(random() % 5) - 2;
    list.emailRows.push_back({id, attachments, "", "", "", texts[random() % 9], ""});
  }
  const auto isSortedBy = [this](const char* column, const auto& comparison) {
    std::vector<Emailrow> expected = list.emailRows;
    std::stable_sort(expected.begin(), expected.end(),
                     [&](const auto& a, const auto& b) { return comparison(a, b) < 0; });
    list.didClickTableColumn(column);
    return std::equal(expected.begin(), expected.end(), list.emailRows.begin(),
                      [](const auto& a, const auto& b) { return a.emailID == b.emailID; });
  };
  EXPECT_TRUE(isSortedBy("emailSubject", [](const Emailrow& a, const Emailrow& b) {
    return compareNoCase(a.emailSubject, b.emailSubject);
  }));
  EXPECT_TRUE(isSortedBy("emailAtch", emailAtchComparison));
  EXPECT_TRUE(isSortedBy("emailID", emailIDComparison));
}

TEST_F(ResultTableTest, FirstListIsTheTwoHundredNewest) {
  failOn("DROP VIEW*", "denied", 1);
  list.onlyAttach = true;
  list.messageButtonsEnabled = true;
  list.get500emails();
  EXPECT_EQ(scripted.statements()[0], "DROP VIEW IF EXISTS listView1");
  EXPECT_EQ(scripted.statements()[1],
            "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email ORDER BY "
            "date_fld DESC LIMIT 200");
  EXPECT_EQ(list.listCountTextField, "The 200 most recent emails.");
  EXPECT_FALSE(list.messageButtonsEnabled);
  EXPECT_FALSE(list.onlyAttach);
}

}  // namespace
}  // namespace keldane
