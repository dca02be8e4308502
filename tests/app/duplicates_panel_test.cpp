#include "app/panels/duplicates_panel.h"

#include "tests/app/search_panels_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;

constexpr const char* kScan =
    "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email";

struct DuplicatesPanelTest : testing::Test, SearchPanels {
  DuplicatesPanelTest() {
    list.clearMessageViews = [this] { ++cleared; };
    // Two rows without a source, alike.
    answerOn("SELECT date_fld FROM email GROUP BY*", {{"2023-01-02 03:04:05"}});
    answerOn(kScan, {{"4", "2023-01-02 03:04:05", "a", "b", "s", "IN", "2"}});
    answerOn("SELECT id FROM email*AND NOT id = 4", {{"7"}});
    answerOn("SELECT id FROM email*AND NOT id = 7", {});
    answerOn("SELECT COUNT(*) FROM email AS a*", {{"1"}});
    answerOn("SELECT count(id) FROM email", {{"12"}});
  }
  int cleared = 0;
  DuplicatesPanel panel{{session, database, settings.user, list, progress, ui,
                         [this](const std::string& line) { log.push_back(line); }}};
};

TEST_F(DuplicatesPanelTest, ShowsWhatItFoundInTheResultList) {
  list.emailRows = {Emailrow{}};
  panel.checkDups();
  EXPECT_THAT(list.emailIds, ElementsAre("4", "7"));
  EXPECT_FALSE(list.listSearchButtonEnabled);
  EXPECT_EQ(cleared, 1);
  EXPECT_THAT(ui.alertLines(), testing::IsEmpty());
  EXPECT_THAT(ui.lines("title"), ElementsAre("title storePanel checking for duplicates...",
                                             "title storePanel Duplicate emails found in mail"));
}

TEST_F(DuplicatesPanelTest, TellsHowManyAreDeletedAlsoAfterAFailure) {
  panel.deleteDupsMatrix = 0;
  failOn("SELECT count(id) FROM email", "no");
  panel.checkDups();
  EXPECT_EQ(list.emailRows.size(), 1U);
  EXPECT_EQ(list.dbCountTextField, "0 emails in the database.");
  EXPECT_THAT(log, ElementsAre("SQL error: no\n"));
  failOn("SELECT mailbox*", "gone");
  panel.checkDups();
  const std::string told = "alert [Duplicates were deleted] ";
  EXPECT_THAT(ui.alertLines(),
              ElementsAre(told + "1 duplicate emails have been deleted from the database.",
                          "alert critical [SQL Error] SQL error: gone\\n",
                          told + "0 duplicate emails have been deleted from the database."));
}

TEST_F(DuplicatesPanelTest, LeavesTheListEmptyWhenTheRowsAreRefused) {
  failOn(kScan, "gone");
  panel.checkDups();
  EXPECT_THAT(list.emailRows, testing::IsEmpty());
  EXPECT_THAT(ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: gone"));
  EXPECT_EQ(ui.calls[ui.calls.size() - 2], "progress end");
}

}  // namespace
}  // namespace keldane
