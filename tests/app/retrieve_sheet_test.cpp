#include "app/panels/retrieve_sheet.h"

#include "tests/app/search_panels_rig.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kAll =
    "SELECT email.id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email  ORDER BY "
    "date_fld ASC";

struct RetrieveSheetTest : testing::Test, SearchPanels {};

TEST_F(RetrieveSheetTest, SearchOfTheArchiveForgetsTheLists) {
  list.listViewCount = 2;
  sheet.listMode = 1;
  sheet.retrieveFromDB();
  EXPECT_EQ(connects, 1);
  EXPECT_EQ(sheet.listMode, 0);
  EXPECT_EQ(list.listViewCount, 0);
  EXPECT_EQ(sheet.panel.title, "Search email in mail");
  EXPECT_TRUE(sheet.panel.visible);
  EXPECT_TRUE(sheet.panel.savedSearchesButtonEnabled);
  sheet.retrieveEmails();
  EXPECT_FALSE(sheet.panel.visible);
  sheet.retrieveFromList();
  EXPECT_EQ(sheet.panel.title, "Search Results List");
  EXPECT_TRUE(sheet.panel.savedSearchesButtonHidden);
}

TEST_F(RetrieveSheetTest, ViewThatCannotBeDroppedLeavesEverything) {
  failOn("DROP VIEW IF EXISTS listView2", "denied");
  list.listViewCount = 3;
  sheet.listMode = 1;
  sheet.retrieveFromDB();
  EXPECT_THAT(ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: denied"));
  EXPECT_EQ(list.listViewCount, 3);
  EXPECT_EQ(sheet.listMode, 1);
  EXPECT_FALSE(sheet.panel.visible);
}

TEST_F(RetrieveSheetTest, FailedConnectStopsTheSearchAndIsForgotten) {
  openFails = true;
  sheet.retrieveEmails();
  EXPECT_THAT(scripted.statements(), IsEmpty());
  EXPECT_EQ(process.cancelFlag, 0);
  editor.editSqlString();
  EXPECT_EQ(sheet.form.beginSqlTextField, "");
  EXPECT_EQ(process.cancelFlag, 0);
}

TEST_F(RetrieveSheetTest, NothingReachesTheSessionDuringARun) {
  archiving = true;
  sheet.retrieveFromDB();
  sheet.retrieveFromList();
  EXPECT_FALSE(sheet.panel.visible);
  sheet.retrieveEmails();
  editor.editSqlString();
  editor.makeSQLString();
  sheet.browseDatabase();
  sheet.browseBySize();
  searches.savedSearches();
  searches.doSavedSearch();
  EXPECT_THAT(scripted.statements(), IsEmpty());
  EXPECT_EQ(connects, 0);
}

TEST_F(RetrieveSheetTest, WhatWasCancelledBeforeIsNotTheNextSearch) {
  process.cancelFlag = 1;
  EXPECT_TRUE(sheet.makeSearchSQL());
  openFails = true;
  EXPECT_FALSE(sheet.makeSearchSQL());
  archiving = true;
  openFails = false;
  EXPECT_FALSE(sheet.makeSearchSQL()) << "the flag of a run is the run's";
}

TEST_F(RetrieveSheetTest, AttachmentTypesTurnTheAttachmentCheckOn) {
  sheet.form.typeCheck[1] = true;
  sheet.doAttchTypes();
  EXPECT_FALSE(sheet.form.typeCheck[1]);
  sheet.setAttchTypes();
  EXPECT_FALSE(sheet.form.onlyAttachCheck);
  sheet.form.typeCheck[3] = true;
  sheet.setAttchTypes();
  EXPECT_TRUE(sheet.form.onlyAttachCheck);
  sheet.cancelAttchTypes();
  EXPECT_FALSE(sheet.form.typeCheck[3]);
}

TEST_F(RetrieveSheetTest, DateShortcutsCountFromToday) {
  const std::string today = localDateTime(environment.seconds).substr(0, 10);
  sheet.doWeek();
  EXPECT_EQ(dateRange(sheet.form.dates).firstDay,
            localDateTime(environment.seconds - 518400).substr(0, 10));
  EXPECT_EQ(dateRange(sheet.form.dates).lastDay, today);
  sheet.doMonth();
  EXPECT_EQ(dateRange(sheet.form.dates).firstDay, today.substr(0, 8) + "01");
  sheet.doYear();
  EXPECT_EQ(dateRange(sheet.form.dates).lastDay, today.substr(0, 4) + "-12-31");
}

TEST_F(RetrieveSheetTest, BrowseRunsItsSavedSearchOrForgetsIt) {
  sheet.form.searchNameTextField = "Meet";
  sheet.form.savedSearchTextField = "saved statement";
  searches.saveSearch();
  searches.setBrowse();
  EXPECT_EQ(settings.archive.browseNameString, "Meet");
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Browse Default] The Meet Saved Search is now the default action "
                          "of the Browse button."));
  sheet.form.searchTextField[0] = "left over";
  scripted.calls.clear();
  sheet.browseDatabase();
  EXPECT_EQ(scripted.statements()[0], "saved statement");

  searches.selectRow(0);
  searches.deleteSearch();
  scripted.calls.clear();
  sheet.browseDatabase();
  EXPECT_EQ(settings.archive.browseNameString, "");
  EXPECT_EQ(scripted.statements()[0], "DROP VIEW IF EXISTS listView1");
  EXPECT_THAT(scripted.statements(), Contains(kAll));
}

TEST_F(RetrieveSheetTest, BrowseBySizeAsksFirst) {
  settings.archive.limitSearchState = 1;
  settings.archive.limitSearchSize = "30; DROP TABLE email";
  ui.alertAnswers = {kSecondButton, kFirstButton};
  sheet.browseBySize();
  EXPECT_THAT(scripted.statements(), IsEmpty());
  sheet.browseBySize();
  EXPECT_EQ(scripted.statements()[0],
            "SELECT email.id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM "
            "email,origemail WHERE origemail.id=email.id ORDER BY length(origemail.orig_fld) DESC "
            "LIMIT 30");
}

TEST_F(RetrieveSheetTest, PickListsFillOnceOrEachTime) {
  const std::string mailboxes =
      "SELECT  mailbox FROM email WHERE mailbox NOT LIKE '%.emlx%' AND mailbox NOT LIKE '%.eml%' "
      "AND mailbox NOT LIKE '%\n' GROUP BY mailbox";
  const std::string keywords = "SELECT DISTINCT key_fld FROM tags ORDER BY key_fld";
  failOn(mailboxes, "gone", 1);
  testing::internal::CaptureStderr();
  pickLists.setMailboxField(sheet.form);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "SQL error: gone, " + mailboxes + "\n");
  EXPECT_THAT(ui.lines("progress end"), IsEmpty());
  EXPECT_THAT(ui.lines("show"), IsEmpty());

  answerOn(mailboxes, {{"In"}, {""}, {std::nullopt}, {"Out"}});
  pickLists.setMailboxField(sheet.form);
  pickLists.setMailboxField(sheet.form);
  EXPECT_THAT(sheet.form.mailboxesButton, ElementsAre("In", "Out"));
  pickLists.setKeywordsField(sheet.form);
  pickLists.chooseKeyword(sheet.form, "nothing to choose");
  EXPECT_EQ(sheet.form.searchKeywordsTextField, "");
  answerOn(keywords, {{"k"}});
  pickLists.setKeywordsField(sheet.form);
  pickLists.chooseKeyword(sheet.form, R"(k" \)");
  EXPECT_EQ(sheet.form.searchKeywordsTextField, R"(k"" \\\\)");
  EXPECT_THAT(scripted.statements(), ElementsAre(mailboxes, mailboxes, keywords, keywords));

  sheet.form.searchTextField[3] = "taken";
  sheet.form.fieldButton[5] = "Mailbox";
  pickLists.chooseMailbox(sheet.form, "In");
  pickLists.chooseMailbox(sheet.form, "Out");
  EXPECT_EQ(sheet.form.searchTextField[3], "taken");
  EXPECT_EQ(sheet.form.searchTextField[5], "In");
}

TEST(SearchForm, ResetKeepsTheFirstOperatorAndTheNotes) {
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

TEST(SearchForm, AsksForWhatItsControlsSay) {
  SearchForm form;
  form.entireMsgTextField = "x";
  form.fieldButton[0] = "To";
  SearchRequest request = requestOf(form);
  EXPECT_EQ(form.fieldButton[0], "From");
  EXPECT_EQ(form.searchTextField[5], "x");
  EXPECT_EQ(form.opsButton[1], "OR");
  EXPECT_EQ(request.conditions.size(), 6U);
  EXPECT_EQ(request.category, "");
  EXPECT_FALSE(request.priority);
  form = {};
  form.searchTextField[3] = "y";
  form.fieldButton[3] = "Raw Headings";
  form.opsButton[3] = "OR NOT";
  form.searchCatButton = "Work";
  form.priorityCheck = true;
  form.tagsAndButton = "AND NOT";
  form.keywordsAndButton = "OR";
  request = requestOf(form);
  ASSERT_EQ(request.conditions.size(), 1U);
  EXPECT_EQ(request.conditions[0].column, "headings");
  EXPECT_TRUE(request.conditions[0].joiner.isOr && request.conditions[0].joiner.isNot);
  EXPECT_EQ(request.category, "Work");
  EXPECT_EQ(request.priority, 0) << "\"None\" asks for no priority";
  EXPECT_TRUE(request.tagJoiners[0].isNot);
  EXPECT_TRUE(request.tagJoiners[2].isOr);
}

}  // namespace
}  // namespace keldane
