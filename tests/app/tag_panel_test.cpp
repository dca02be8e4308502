#include "app/panels/tag_panel.h"

#include <fmt/format.h>

#include "app/panels/search_form.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The tag window over three listed messages, the second of them tagged.
struct TagRig : PanelsOver {
  explicit TagRig(ServerSession& sessionToUse) : PanelsOver(sessionToUse) {
    list.emailRows = {{11, 0, "2023-01-01 00:00:00", "a", "b", "one", "IN"},
                      {12, 1, "2023-01-02 00:00:00*", "a", "b", "two", "IN"},
                      {13, 2, "2023-01-03 00:00:00", "a", "b", "three", "IN"}};
  }

  void fill(std::string category, std::string keywords, std::string notes, std::size_t priority) {
    panel.form = {std::move(category), std::move(keywords), std::move(notes), priority};
  }
  [[nodiscard]] std::vector<std::string> dates() const {
    std::vector<std::string> found;
    for (const Emailrow& row : list.emailRows) found.push_back(row.emailDate.substr(8));
    return found;
  }

  TagPanel panel{session, list, settings, progress, ui};
};

std::string selectSql(int id) {
  return "SELECT cat_fld,key_fld,priority_fld,notes_fld FROM tags WHERE id=" + std::to_string(id);
}

struct TagPanelTest : ::testing::Test {
  ScriptedSession session;
  TagRig rig{session};
};

TEST_F(TagPanelTest, TakesTheRowsOfAReversedListFromItsEnd) {
  rig.list.reverseList = true;
  rig.panel.selectedRows = {0, 7};
  EXPECT_TRUE(rig.panel.replaceTags());
  EXPECT_THAT(session.statements(), ElementsAre("DELETE FROM tags WHERE id=13"));
  rig.panel.selectedRows = {2};
  rig.panel.setTags();
  EXPECT_EQ(session.statements().back(), selectSql(11));
}

TEST_F(TagPanelTest, ANewCategoryJoinsTheMenusOnce) {
  session.answerOn("query SELECT cat_fld*", {{"Old", "a b", "1", "n"}});
  for (const char* category : {"Work", "Work", "None", "none", ""}) {
    rig.panel.selectedRows = {};
    rig.fill(category, "", "", 0);
    EXPECT_TRUE(rig.panel.addTags());
  }
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("Work"));
  EXPECT_THAT(rig.panel.setCatButton.titles, ElementsAre("None", "Work"));
  for (const std::size_t row : {1U, 0U}) {
    rig.panel.setCatButton.selected = row;
    rig.panel.chooseSetCat();
    EXPECT_EQ(rig.panel.form.catTextField, row == 0 ? "" : "Work");
  }
  EXPECT_THAT(session.statements(), IsEmpty());

  rig.panel.selectedRows = {0};
  EXPECT_TRUE(rig.panel.addTags());
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("Work", "Old"))
      << "adding reads the old category into the list";
}

TEST_F(TagPanelTest, ShowsTheTagsOfTheRowSelectedLast) {
  rig.panel.tagEmail();
  EXPECT_THAT(rig.ui.calls, IsEmpty()) << "no row, no window";
  session.answerOn("query " + selectSql(12), {{"Work", "a b", "4", "n\xE4h"}});
  rig.panel.selectedRows = {2, 1};
  rig.panel.tagEmail();
  EXPECT_EQ(rig.panel.form.catTextField, "Work");
  EXPECT_EQ(rig.panel.form.keywordsTextField, "a b");
  EXPECT_EQ(rig.panel.form.priorityButton, 4U);
  EXPECT_EQ(rig.panel.form.notesTextField, "n\u00E4h");
  EXPECT_EQ(rig.ui.calls.back(), "show tagPanel");

  session.failOn("query SELECT*", "no");
  rig.panel.setTags();
  EXPECT_THAT(rig.ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: no"));
  EXPECT_EQ(rig.panel.form.catTextField, "");
}

TEST(TagPanel, StopsAtTheFirstRefusedStatement) {
  for (const char* refused : {"query SELECT*id=12", "query REPLACE*12,*"}) {
    SCOPED_TRACE(refused);
    ScriptedSession session;
    TagRig rig(session);
    session.failOn(refused, "no", 1);
    rig.fill("", "k", "", 0);
    rig.panel.selectedRows = {0, 1, 2};
    EXPECT_FALSE(rig.panel.addTags());
    EXPECT_THAT(rig.ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: no",
                                                 "alert [Done] Done tagging email"));
    EXPECT_EQ(rig.panel.sqlText, "1 email has been tagged.");
    EXPECT_THAT(rig.dates(), ElementsAre("01 00:00:00*", "02 00:00:00*", "03 00:00:00"));
    EXPECT_TRUE(rig.panel.addTags());
    EXPECT_EQ(rig.panel.sqlText, "3 emails have been tagged.");
  }
}

TEST(TagPanel, TheCheckBoxesOfTheSearchExcludeEachOther) {
  SearchForm form;
  checkWithTags(form, true);
  checkWithoutTags(form, true);
  EXPECT_FALSE(form.withTagsCheck);
  EXPECT_TRUE(form.withoutTagsCheck);
  checkWithTags(form, true);
  EXPECT_FALSE(form.withoutTagsCheck);
  checkWithTags(form, false);
  EXPECT_FALSE(form.withTagsCheck || form.withoutTagsCheck);
}

// What a server makes of it.

class ServerTags : public ::testing::Test {
 protected:
  ServerTags() : rig(*database.session) { rig.panel.selectedRows = {1}; }
  std::string row() const {
    return database.cells("SELECT id,cat_fld,key_fld,priority_fld,notes_fld FROM tags");
  }
  ServerDatabase database;
  TagRig rig;
};

TEST_F(ServerTags, HoldWhatWasWrittenAndNothingOfWhatWas) {
  rig.fill("Work", "a b", "n", 2);
  EXPECT_TRUE(rig.panel.addTags());
  EXPECT_EQ(row(), "12|Work|a b|2|n");
  EXPECT_EQ(rig.panel.form.keywordsTextField, "a b") << "the window shows them afterwards";
  rig.fill("", "c", "", 0);
  EXPECT_TRUE(rig.panel.addTags());
  EXPECT_EQ(row(), "12||c|0|");
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("Work", "Work"));
  rig.fill("None", "", "", 0);
  EXPECT_TRUE(rig.panel.replaceTags());
  EXPECT_EQ(row(), "");
  EXPECT_EQ(rig.list.emailRows[1].emailDate, "2023-01-02 00:00:00");
}

TEST_F(ServerTags, KeepEveryCharacterOfAValue) {
  for (const char* text :
       {R"(a"b)", R"(a\)", R"(","");DELETE-FROM-tags;--)", R"(a\nb)", "\U0001F600"}) {
    for (const bool replaces : {false, true}) {
      SCOPED_TRACE(text);
      rig.fill(text, text, text, 1);
      EXPECT_TRUE(replaces ? rig.panel.replaceTags() : rig.panel.addTags());
      EXPECT_EQ(row(), fmt::format("12|{0}|{0}|1|{0}", text));
    }
  }
}

}  // namespace
}  // namespace keldane
