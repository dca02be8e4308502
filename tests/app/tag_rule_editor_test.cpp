#include "app/panels/tag_rule_editor.h"

#include <gmock/gmock.h>

#include "tests/support/recording_user_interface.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TagRuleEditorTest : public ::testing::Test {
 protected:
  TagRuleEditorTest() : prefs(folder / "prefs.plist"), rules(prefs), editor(rules, ui) {}

  void add(const std::string& name) {
    editor.addRule();
    editor.sheet.ruleDescTextField = name;
    editor.doAddRule();
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const TagRule& rule : rules.rules()) {
      found.push_back((rule.ruleActive != 0 ? "+" : "-") + rule.ruleDescription);
    }
    return found;
  }
  /// The rules as the next start of the program finds them.
  std::vector<TagRule> stored() const {
    PreferencesFile again(prefs.path());
    EXPECT_TRUE(again.load());
    TagRuleList found(again);
    found.load();
    return found.rules();
  }

  TemporaryFolder folder;
  RecordingUserInterface ui;
  PreferencesFile prefs;
  TagRuleList rules;
  TagRuleEditor editor;
};

TEST_F(TagRuleEditorTest, ProposesANewRule) {
  add("one");
  editor.ruleCatButton.fill({"None", "Work"});
  editor.ruleCatButton.selected = 1;
  editor.chooseRuleCat();
  EXPECT_EQ(editor.sheet.ruleCatTextField, "Work");
  editor.addRule();
  EXPECT_EQ(editor.sheet.ruleDescTextField, "rule2");
  EXPECT_EQ(editor.sheet.ruleCatTextField, "");
  EXPECT_EQ(editor.ruleCatButton.selected, 0U);
  std::vector<std::string> fields;
  for (const RuleCriterion& criterion : editor.sheet.ruleCriteriaList) {
    fields.push_back(criterion.field + ":" + criterion.relation + ":" + criterion.value);
  }
  EXPECT_THAT(fields,
              ElementsAre("from:contains:", "to:contains:", "subject:contains:", "body:contains:"));
  EXPECT_EQ(ui.calls.back(), "sheet tagRulesSheet");
}

TEST_F(TagRuleEditorTest, SavesWhatTheSheetHolds) {
  editor.addRule();
  TagRuleSheet& sheet = editor.sheet;
  sheet.ruleDescTextField = "Räume & <Türen>";
  sheet.ruleAllButton = "all";
  sheet.ruleCatTextField = "Work";
  sheet.ruleKeywordsTextField = "a b";
  sheet.ruleNotesTextField = "n\nm";
  sheet.rulePriorityButton = 5;
  sheet.tagOrExcludeMatrix = 1;
  sheet.ruleCriteriaList[3] = {"mailbox", "does not contain", "\"Junk\""};
  editor.doAddRule();
  const std::vector<TagRule> found = stored();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found, rules.rules());
  EXPECT_EQ(found[0].ruleDescription, "Räume & <Türen>");
  EXPECT_EQ(found[0].ruleCriteria.at(3).value, "\"Junk\"");
  EXPECT_EQ(editor.sheet.ruleDescTextField, "") << "the sheet is emptied";
  editor.selectedRows = {0};
  editor.editRule();
  EXPECT_EQ(sheet.ruleAllButton + sheet.ruleCatTextField + sheet.ruleKeywordsTextField +
                sheet.ruleNotesTextField,
            "allWorka bn\nm");
  EXPECT_EQ(sheet.rulePriorityButton, 5U);
  EXPECT_EQ(sheet.tagOrExcludeMatrix, 1);
}

TEST_F(TagRuleEditorTest, CopiesAndEditsTheSelectedRule) {
  add("one");
  add("two");
  ui.calls.clear();
  for (const std::vector<std::size_t>& rows : {std::vector<std::size_t>{}, {5}}) {
    editor.selectedRows = rows;
    editor.dupRule();
    editor.editRule();
  }
  EXPECT_THAT(ui.lines("sheet"), IsEmpty()) << "none is selected";
  editor.didClickRuleCheck(0);
  editor.selectedRows = {0};
  editor.dupRule();
  EXPECT_FALSE(editor.isEditingRule());
  editor.doAddRule();
  EXPECT_THAT(names(), ElementsAre("-one", "+two", "+one")) << "a copy is switched on";
  editor.editRule();
  editor.sheet.ruleDescTextField = "first";
  editor.doAddRule();
  EXPECT_THAT(names(), ElementsAre("-first", "+two", "+one")) << "an edit keeps the check";
  EXPECT_EQ(stored(), rules.rules());
  EXPECT_FALSE(editor.isEditingRule());

  editor.editRule();
  editor.cancelTagRulesSheet();
  add("new");
  EXPECT_EQ(rules.rules().size(), 4U) << "a cancelled edit does not turn a new rule into one";
}

TEST_F(TagRuleEditorTest, KeepsTheRulesOfAnotherProgram) {
  for (const char* name : {"a", "b", "c"}) add(name);
  PreferencesFile shared(prefs.path());
  ASSERT_TRUE(shared.load());
  TagRuleList theirs(shared);
  theirs.load();
  EXPECT_TRUE(theirs.remove({theirs.rules()[0]}));
  TagRule rule = theirs.newRule();
  EXPECT_EQ(rule.ruleDescription, "rule3");
  rule.ruleDescription = "theirs";
  EXPECT_TRUE(theirs.add(rule));

  editor.didClickRuleCheck(2);
  EXPECT_THAT(names(), ElementsAre("+b", "-c", "+theirs"));
  EXPECT_EQ(stored(), rules.rules());
}

TEST_F(TagRuleEditorTest, RemovesTheSelectedRulesOnly) {
  for (const char* name : {"a", "b", "c", "d"}) add(name);
  editor.selectedRows = {2, 0, 2, 9};
  editor.removeRule();
  EXPECT_THAT(names(), ElementsAre("+b", "+d"));
  EXPECT_EQ(editor.tagRuleRows()[1].tagRuleDesc, "d");
  EXPECT_EQ(stored(), rules.rules());
  editor.selectedRows = {0, 1};
  editor.removeRule();
  EXPECT_THAT(stored(), IsEmpty());
  EXPECT_THAT(editor.tagRuleRows(), IsEmpty());
}

TEST_F(TagRuleEditorTest, TellsOfASaveThatFails) {
  PreferencesFile nowhere("/dev/null/prefs.plist");
  TagRuleList lost(nowhere);
  TagRuleEditor stuck(lost, ui);
  stuck.addRule();
  stuck.doAddRule();
  EXPECT_EQ(ui.alerts.size(), 1U);
  ASSERT_EQ(lost.rules().size(), 1U) << "in force until the program ends";
}

TEST_F(TagRuleEditorTest, ShowsForeignRulesWithoutHarm) {
  TagRule foreign;
  foreign.rulePriority = "99";
  foreign.ruleAll = "some";
  foreign.ruleCriteria.assign(7, {"list-id", "begins with", "x"});
  ASSERT_TRUE(rules.add(foreign));
  editor.loadRules();
  editor.selectedRows = {0};
  editor.editRule();
  EXPECT_EQ(editor.sheet.rulePriorityButton, 0U);
  editor.doAddRule();
  EXPECT_EQ(rules.rules()[0].ruleCriteria.size(), 4U);
  EXPECT_EQ(rules.rules()[0].ruleCriteria[0].field, "list-id");
  EXPECT_EQ(rules.rules()[0].ruleAll, "some");
}

}  // namespace
}  // namespace keldane
