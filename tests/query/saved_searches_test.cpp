#include "query/saved_searches.h"

#include <gmock/gmock.h>

#include "query/menu_validation.h"
#include "tests/query/query_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;

struct SavedSearchesTest : testing::Test, QueryRig {
  void save(const std::string& name, const std::string& statement) {
    sheet.form.searchNameTextField = name;
    sheet.form.savedSearchTextField = statement;
    EXPECT_TRUE(searches.saveSearch());
  }
};

TEST_F(SavedSearchesTest, SameNameReplacesInPlaceAndTheFirstRowIsSelected) {
  save("b", "1");
  save("a", "2");
  save("B", "3");
  save("a", "4");
  EXPECT_THAT(searches.savedSearchNames(), ElementsAre("b", "a", "B"));
  EXPECT_THAT(searches.statements(), ElementsAre("1", "4", "3"));
  EXPECT_EQ(searches.savedSearchIndex(), 0);
  EXPECT_EQ(sheet.form.searchNameTextField, "b");
  EXPECT_EQ(*searches.find("a"), "4");
  EXPECT_EQ(searches.find("A"), nullptr);
}

TEST_F(SavedSearchesTest, StandInThePreferencesWithWhatOthersPutThere) {
  prefs.set("savedSearches", {PlistArray{{PlistDict{{"searchName", {std::string("x")}},
                                                    {"savedSearch", {std::string("old")}},
                                                    {"colour", {std::string("red")}}}},
                                         {std::string("no dictionary")},
                                         {PlistDict{}}}});
  searches.load();
  EXPECT_EQ(searches.savedSearchIndex(), -1);
  EXPECT_THAT(searches.savedSearchNames(), ElementsAre("x", ""));
  save("x", "new \"quoted\" <&>\nline");

  PreferencesFile again(prefs.path());
  ASSERT_TRUE(again.load());
  const PlistArray& stored = *again.find("savedSearches")->array();
  ASSERT_EQ(stored.size(), 3U);
  EXPECT_EQ(stored[0].dict()->at("savedSearch").text(), "new \"quoted\" <&>\nline");
  EXPECT_EQ(stored[0].dict()->at("colour").text(), "red");
}

TEST_F(SavedSearchesTest, DeletingSelectsTheFirstThatIsLeft) {
  save("a", "1");
  save("b", "2");
  searches.selectRow(1);
  EXPECT_TRUE(searches.deleteSearch());
  EXPECT_THAT(searches.savedSearchNames(), ElementsAre("a"));
  EXPECT_EQ(searches.savedSearchIndex(), 0);
  EXPECT_EQ(sheet.form.savedSearchTextField, "1");
  EXPECT_TRUE(searches.deleteSearch());
  EXPECT_EQ(searches.savedSearchIndex(), -1);
  EXPECT_EQ(searches.savedSearchName(), "");
  EXPECT_TRUE(searches.deleteSearch());
  searches.selectRow(4);
  EXPECT_EQ(searches.savedSearchIndex(), -1);
}

TEST_F(SavedSearchesTest, PanelOpensWithTheStatementAndRunsWhatStandsThere) {
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

TEST_F(SavedSearchesTest, UnwritablePreferencesAreToldOf) {
  PreferencesFile nowhere("/dev/null/prefs.plist");
  SavedSearches homeless(nowhere, sheet, ui);
  sheet.form.searchNameTextField = "a";
  EXPECT_FALSE(homeless.saveSearch());
  EXPECT_EQ(ui.alerts.size(), 1U);
  EXPECT_THAT(homeless.savedSearchNames(), ElementsAre("a"));
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
