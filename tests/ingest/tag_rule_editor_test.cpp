#include "ingest/storing/tag_rule_editor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/archive_database.h"
#include "ingest/storing/tag_rule_plist.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TagRuleEditorTest : public ::testing::Test {
 protected:
  TagRuleEditorTest()
      : database(session, quiet, process),
        prefs(folder / "prefs.plist"),
        settings(session, database, prefs, ui, process),
        editor(rules, prefs, settings, ui) {}

  void add(const std::string& name) {
    editor.addRule();
    editor.sheet.ruleDescTextField = name;
    EXPECT_TRUE(editor.doAddRule());
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const TagRule& rule : rules) {
      found.push_back((rule.ruleActive != 0 ? "+" : "-") + rule.ruleDescription);
    }
    return found;
  }
  /// The rules and rows as the next start of the program finds them.
  std::vector<TagRule> stored() const {
    PreferencesFile again(prefs.path());
    EXPECT_TRUE(again.load());
    std::vector<TagRule> found;
    RecordingUserInterface silent;
    ScriptedSession none;
    ProcessState state;
    Progress noProgress;
    ArchiveDatabase base(none, noProgress, state);
    Settings values(none, base, again, silent, state);
    TagRuleEditor other(found, again, values, silent);
    other.loadRules();
    EXPECT_EQ(other.tagRuleRows().size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(other.tagRuleRows()[i].tagRuleCheck, found[i].ruleActive != 0);
      EXPECT_EQ(other.tagRuleRows()[i].tagRuleDesc, found[i].ruleDescription);
    }
    return found;
  }

  TemporaryFolder folder;
  ScriptedSession session;
  RecordingUserInterface ui;
  ProcessState process;
  Progress quiet;
  ArchiveDatabase database;
  PreferencesFile prefs;
  Settings settings;
  std::vector<TagRule> rules;
  TagRuleEditor editor;
};

TEST_F(TagRuleEditorTest, ProposesANewRule) {
  add("one");
  editor.sheet.ruleCatTextField = "left";
  settings.ruleCatButton.titles = {"None", "Work"};
  settings.ruleCatButton.selected = 1;
  editor.addRule();
  EXPECT_EQ(editor.sheet.ruleDescTextField, "rule2");
  EXPECT_EQ(editor.sheet.ruleCatTextField, "");
  EXPECT_EQ(settings.ruleCatButton.selected, 0U);
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
  EXPECT_TRUE(editor.doAddRule());
  const std::vector<TagRule> found = stored();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found, rules);
  EXPECT_EQ(found[0].ruleDescription, "Räume & <Türen>");
  EXPECT_EQ(found[0].ruleAll, "all");
  EXPECT_EQ(found[0].rulePriority, "5");
  EXPECT_EQ(found[0].tagOrExclude, 1);
  EXPECT_EQ(found[0].ruleActive, 1);
  ASSERT_EQ(found[0].ruleCriteria.size(), 4U);
  EXPECT_EQ(found[0].ruleCriteria[3].value, "\"Junk\"");
  EXPECT_EQ(editor.sheet.ruleDescTextField, "") << "the sheet is emptied";
  EXPECT_EQ(ui.calls[ui.calls.size() - 2], "close tagRulesSheet");
}

TEST_F(TagRuleEditorTest, CopiesAndEditsTheSelectedRule) {
  add("one");
  add("two");
  EXPECT_TRUE(editor.didClickRuleCheck(0));
  editor.selectedRows = {0};
  editor.dupRule();
  EXPECT_FALSE(editor.isEditingRule());
  EXPECT_TRUE(editor.doAddRule());
  EXPECT_THAT(names(), ElementsAre("-one", "+two", "+one")) << "a copy is switched on";
  editor.editRule();
  editor.sheet.ruleDescTextField = "first";
  EXPECT_TRUE(editor.doAddRule());
  EXPECT_THAT(names(), ElementsAre("-first", "+two", "+one")) << "an edit keeps the check";
  EXPECT_EQ(stored(), rules);
  EXPECT_FALSE(editor.isEditingRule());

  editor.editRule();
  editor.cancelTagRulesSheet();
  add("new");
  EXPECT_EQ(rules.size(), 4U) << "a cancelled edit does not turn a new rule into one";
}

TEST_F(TagRuleEditorTest, KeepsTheRulesOfAnotherProgram) {
  for (const char* name : {"a", "b", "c"}) add(name);
  PreferencesFile shared(prefs.path());
  ASSERT_TRUE(shared.load());
  std::vector<TagRule> theirRules;
  TagRuleEditor theirs(theirRules, shared, settings, ui);
  theirs.loadRules();
  theirs.selectedRows = {0};
  EXPECT_TRUE(theirs.removeRule());
  theirs.addRule();
  theirs.sheet.ruleDescTextField = "theirs";
  EXPECT_TRUE(theirs.doAddRule());

  EXPECT_TRUE(editor.didClickRuleCheck(2));
  EXPECT_THAT(names(), ElementsAre("+b", "-c", "+theirs"));
  EXPECT_EQ(stored(), rules);
}

TEST_F(TagRuleEditorTest, NeedsASelectedRuleToCopyOrEdit) {
  add("one");
  ui.calls.clear();
  for (const std::vector<std::size_t>& rows : {std::vector<std::size_t>{}, {5}}) {
    editor.selectedRows = rows;
    editor.dupRule();
    editor.editRule();
  }
  EXPECT_THAT(ui.lines("sheet"), IsEmpty());
}

TEST_F(TagRuleEditorTest, RemovesTheSelectedRulesOnly) {
  for (const char* name : {"a", "b", "c", "d"}) add(name);
  editor.selectedRows = {2, 0, 2, 9};
  EXPECT_TRUE(editor.removeRule());
  EXPECT_THAT(names(), ElementsAre("+b", "+d"));
  EXPECT_EQ(stored(), rules);
  editor.selectedRows = {0, 1};
  EXPECT_TRUE(editor.removeRule());
  EXPECT_THAT(stored(), IsEmpty());
  EXPECT_THAT(editor.tagRuleRows(), IsEmpty());
}

TEST_F(TagRuleEditorTest, TakesACategoryFromTheMenu) {
  settings.ruleCatButton.titles = {"None", "Work"};
  settings.ruleCatButton.selected = 1;
  editor.chooseRuleCat();
  EXPECT_EQ(editor.sheet.ruleCatTextField, "Work");
  settings.ruleCatButton.selected = 0;
  editor.chooseRuleCat();
  EXPECT_EQ(editor.sheet.ruleCatTextField, "");
}

TEST_F(TagRuleEditorTest, TellsOfASaveThatFails) {
  PreferencesFile nowhere("/dev/null/prefs.plist");
  TagRuleEditor stuck(rules, nowhere, settings, ui);
  stuck.addRule();
  EXPECT_FALSE(stuck.doAddRule());
  EXPECT_EQ(ui.alerts.size(), 1U);
  EXPECT_THAT(names(), ElementsAre("+rule1")) << "in force until the program ends";
}

TEST_F(TagRuleEditorTest, ShowsForeignRulesWithoutHarm) {
  TagRule foreign;
  foreign.rulePriority = "99";
  foreign.ruleAll = "some";
  foreign.ruleCriteria.assign(7, {"list-id", "begins with", "x"});
  prefs.set("tagRules", {PlistArray{tagRuleToPlist(foreign)}});
  editor.loadRules();
  editor.selectedRows = {0};
  editor.editRule();
  EXPECT_EQ(editor.sheet.rulePriorityButton, 0U);
  EXPECT_TRUE(editor.doAddRule());
  EXPECT_EQ(rules[0].ruleCriteria.size(), 4U);
  EXPECT_EQ(rules[0].ruleCriteria[0].field, "list-id");
  EXPECT_EQ(rules[0].ruleAll, "some");
}

}  // namespace
}  // namespace keldane
