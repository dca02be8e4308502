#include "ingest/storing/tag_rule_editor.h"

#include <algorithm>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"
#include "ingest/storing/tag_rule_plist.h"

namespace keldane {
namespace {

constexpr const char* kKey = "tagRules";

}  // namespace

TagRuleEditor::TagRuleEditor(std::vector<TagRule>& tagRulesList, PreferencesFile& prefs,
                             Settings& settings, UserInterface& ui)
    : tagRulesList_(tagRulesList), prefs_(prefs), settings_(settings), ui_(ui) {
  resetRules();
}

void TagRuleEditor::loadRules() {
  const PlistValue* rules = prefs_.find(kKey);
  if (rules == nullptr || rules->array() == nullptr) return;
  tagRulesList_ = tagRulesFromPlist(*rules->array());
  tagRuleRows_.clear();
  for (const TagRule& rule : tagRulesList_) {
    tagRuleRows_.push_back(TagRulesRow::initWithID(rule.ruleActive != 0, rule.ruleDescription));
  }
  ui_.changed("tagRulesTableView");
}

void TagRuleEditor::addRule() {
  resetRules();
  sheet.ruleDescTextField = fmt::format("rule{}", tagRulesList_.size() + 1);
  editingRule_ = false;
  ui_.openSheet("tagRulesSheet");
}

void TagRuleEditor::dupRule() {
  if (selectedRows.empty()) return;
  loadRules();
  if (!hasSelectedRule()) return;
  fillSheet(tagRulesList_[selectedRows.back()]);
  ui_.openSheet("tagRulesSheet");
}

void TagRuleEditor::editRule() {
  // Without a rule there is nothing to edit, and the next sheet must not take itself for an edit.
  editingRule_ = !selectedRows.empty();
  dupRule();
}

bool TagRuleEditor::doAddRule() {
  loadRules();
  TagRule rule = ruleFromSheet();
  bool saved = false;
  if (editingRule_ && hasSelectedRule()) {
    const TagRule before = tagRulesList_[selectedRows.back()];
    rule.ruleActive = before.ruleActive;
    saved = editRules([before, rule](PlistArray& list) { replaceTagRule(list, before, rule); });
  } else {
    rule.ruleActive = 1;
    saved = editRules([rule](PlistArray& list) { addTagRule(list, rule); });
  }
  cancelTagRulesSheet();
  ui_.changed("tagRulesTableView");
  return saved;
}

bool TagRuleEditor::removeRule() {
  std::vector<TagRule> gone;
  for (std::size_t row = 0; row < tagRulesList_.size(); ++row) {
    const bool selected =
        std::find(selectedRows.begin(), selectedRows.end(), row) != selectedRows.end();
    if (selected) gone.push_back(tagRulesList_[row]);
  }
  selectedRows.clear();
  return editRules([gone](PlistArray& list) {
    for (const TagRule& rule : gone) removeTagRule(list, rule);
  });
}

bool TagRuleEditor::didClickRuleCheck(std::size_t row) {
  if (row >= tagRulesList_.size()) return true;
  const TagRule before = tagRulesList_[row];
  TagRule after = before;
  after.ruleActive = before.ruleActive != 0 ? 0 : 1;
  return editRules([before, after](PlistArray& list) { replaceTagRule(list, before, after); });
}

void TagRuleEditor::cancelTagRulesSheet() {
  editingRule_ = false;
  resetRules();
  ui_.closePanel("tagRulesSheet");
}

void TagRuleEditor::resetRules() {
  // The word that joins the criteria stays as it was chosen last.
  TagRuleSheet empty;
  empty.ruleAllButton = sheet.ruleAllButton;
  for (std::size_t i = 0; i < empty.ruleCriteriaList.size(); ++i) {
    empty.ruleCriteriaList[i].field = kRuleFieldTitles[i];
    empty.ruleCriteriaList[i].relation = kRuleRelationTitles[0];
  }
  sheet = std::move(empty);
  settings_.ruleCatButton.selected = 0;
}

bool TagRuleEditor::editRules(std::function<void(PlistArray&)> change) {
  const Result<void> saved =
      prefs_.edit([change = std::move(change)](PlistDict& keys) { change(listAt(keys, kKey)); });
  if (!saved) {
    ui_.alert({"Settings",
               "The rules could not be saved: " + saved.error(),
               AlertStyle::critical,
               {"OK"}});
  }
  loadRules();
  return saved.has_value();
}

void TagRuleEditor::chooseRuleCat() {
  const std::string& title = settings_.ruleCatButton.title();
  sheet.ruleCatTextField = title == kNoCategoryTitle ? "" : title;
  ui_.changed("ruleCatTextField");
}

TagRule TagRuleEditor::ruleFromSheet() const {
  TagRule rule;
  rule.ruleDescription = sheet.ruleDescTextField;
  rule.ruleAll = sheet.ruleAllButton;
  rule.ruleCat = sheet.ruleCatTextField;
  rule.ruleKeywords = sheet.ruleKeywordsTextField;
  rule.ruleNotes = sheet.ruleNotesTextField;
  const bool known = sheet.rulePriorityButton < kPriorityTitles.size();
  rule.rulePriority = fmt::format("{}", known ? sheet.rulePriorityButton : 0);
  rule.tagOrExclude = sheet.tagOrExcludeMatrix;
  rule.ruleCriteria.assign(sheet.ruleCriteriaList.begin(), sheet.ruleCriteriaList.end());
  return rule;
}

void TagRuleEditor::fillSheet(const TagRule& rule) {
  sheet.ruleDescTextField = rule.ruleDescription;
  sheet.ruleAllButton = rule.ruleAll;
  sheet.ruleCatTextField = rule.ruleCat;
  sheet.ruleKeywordsTextField = rule.ruleKeywords;
  sheet.ruleNotesTextField = rule.ruleNotes;
  sheet.rulePriorityButton =
      static_cast<std::size_t>(priorityOfTitle(priorityTitle(leadingInt(rule.rulePriority))));
  sheet.tagOrExcludeMatrix = rule.tagOrExclude;
  const std::size_t count = std::min(rule.ruleCriteria.size(), sheet.ruleCriteriaList.size());
  std::copy_n(rule.ruleCriteria.begin(), count, sheet.ruleCriteriaList.begin());
}

bool TagRuleEditor::hasSelectedRule() const {
  return !selectedRows.empty() && selectedRows.back() < tagRulesList_.size();
}

}  // namespace keldane
