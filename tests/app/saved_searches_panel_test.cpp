#include "app/panels/saved_searches_panel.h"

#include "app/panels/menu_validation.h"
#include "tests/app/search_panels_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;

std::vector<std::string> shown(const SavedSearchesPanel& panel) {
  std::vector<std::string> rows;
  for (const auto& [name, statement] : panel.savedSearchList()) {
    rows.push_back(name + ": " + statement);
  }
  return rows;
}

struct SavedSearchesPanelTest : testing::Test, SearchPanels {
  void save(const std::string& name, const std::string& statement) {
    sheet.form.searchNameTextField = name;
    sheet.form.savedSearchTextField = statement;
    searches.saveSearch();
  }
};

TEST_F(SavedSearchesPanelTest, SameNameReplacesInPlaceAndTheFirstRowIsSelected) {
  save("b", "1");
  save("a", "2");
  save("B", "3");
  save("a", "4");
  EXPECT_THAT(shown(searches), ElementsAre("b: 1", "a: 4", "B: 3"));
  EXPECT_EQ(searches.savedSearchIndex(), 0);
  EXPECT_EQ(sheet.form.searchNameTextField, "b");
  EXPECT_EQ(*findSearch(searches.savedSearchList(), "a"), "4");
  EXPECT_EQ(findSearch(searches.savedSearchList(), "A"), nullptr);
}

TEST_F(SavedSearchesPanelTest, StandInThePreferencesWithWhatOthersPutThere) {
  prefs.set("savedSearches", {PlistArray{{PlistDict{{"searchName", {std::string("x")}},
                                                    {"savedSearch", {std::string("old")}},
                                                    {"colour", {std::string("red")}}}},
                                         {std::string("no dictionary")},
                                         {PlistDict{}}}});
  searches.load();
  EXPECT_EQ(searches.savedSearchIndex(), -1);
  EXPECT_THAT(shown(searches), ElementsAre("x: old", ": "));
  save("x", "new \"quoted\" <&>\nline");

  PreferencesFile again(prefs.path());
  ASSERT_TRUE(again.load());
  const PlistArray& stored = *again.find("savedSearches")->array();
  ASSERT_EQ(stored.size(), 3U);
  EXPECT_EQ(stored[0].dict()->at("savedSearch").text(), "new \"quoted\" <&>\nline");
  EXPECT_EQ(stored[0].dict()->at("colour").text(), "red");
}

TEST_F(SavedSearchesPanelTest, DeletingSelectsTheFirstThatIsLeft) {
  save("a", "1");
  save("b", "2");
  searches.selectRow(1);
  searches.deleteSearch();
  EXPECT_THAT(shown(searches), ElementsAre("a: 1"));
  EXPECT_EQ(searches.savedSearchIndex(), 0);
  EXPECT_EQ(sheet.form.savedSearchTextField, "1");
  searches.deleteSearch();
  EXPECT_EQ(searches.savedSearchIndex(), -1);
  EXPECT_EQ(searches.savedSearchName(), "");
  searches.deleteSearch();
  searches.selectRow(4);
  EXPECT_EQ(searches.savedSearchIndex(), -1);
}

TEST_F(SavedSearchesPanelTest, PanelOpensWithTheStatementAndRunsWhatStandsThere) {
  save("a", "1");
  sheet.form.searchTextField[0] = "x";
  searches.savedSearches();
  EXPECT_EQ(searches.savedSearchIndex(), -1);
  EXPECT_EQ(sheet.form.searchNameTextField, "");
  EXPECT_EQ(sheet.form.savedSearchTextField,
            "SELECT email.id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email  WHERE "
            "(from_fld LIKE \"%x%\") ORDER BY date_fld ASC");
  sheet.form.whereTextField = "edited";
  searches.savedEditedSearches();
  EXPECT_EQ(
      sheet.form.savedSearchTextField,
      "SELECT email.id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email edited");
  sheet.form.savedSearchTextField += " by hand";
  searches.doSavedSearch();
  EXPECT_THAT(scripted.statements()[0], testing::EndsWith("FROM email edited by hand"));
}

TEST_F(SavedSearchesPanelTest, UnwritablePreferencesAreToldOf) {
  PreferencesFile nowhere("/dev/null/prefs.plist");
  SavedSearchesPanel homeless(nowhere, settings, sheet, ui);
  sheet.form.searchNameTextField = "a";
  homeless.saveSearch();
  EXPECT_EQ(ui.alerts.size(), 1U);
  EXPECT_THAT(shown(homeless), ElementsAre("a: "));
}

TEST(MenuValidation, ItemsFollowTheirState) {
  struct Item {
    const char* title;
    MenuState state;
    bool enabled;
  };
  for (const Item& item :
       {Item{"this original email", {0, 0, 1}, false},
        Item{"all original email in list", {1, 0, 1}, true},
        Item{"Saved Searches...", {1, 1, 1}, false}, Item{"Saved Searches...", {1, 0, 1}, true},
        Item{"View Raw Source", {1, 0, 2}, false}, Item{"View Raw Source", {1, 0, 1}, true},
        Item{"Browse", {0, 1, 0}, true}}) {
    EXPECT_EQ(validateMenuItem(item.title, item.state), item.enabled) << item.title;
  }
}

}  // namespace
}  // namespace keldane
