#include "app/panels/tag_rule_editor.h"

#include <algorithm>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"

namespace keldane {

TagRuleEditor::TagRuleEditor(TagRuleList& rules, UserInterface& ui) : rules_(rules), ui_(ui) {
  resetRules();
}

void TagRuleEditor::loadRules() {
  rules_.load();
  tagRuleRows_.clear();
  for (const TagRule& rule : rules_.rules()) {
    tagRuleRows_.push_back(TagRulesRow::initWithID(rule.ruleActive != 0, rule.ruleDescription));
  }
  ui_.changed("tagRulesTableView");
}

void TagRuleEditor::addRule() {
  resetRules();
  sheet.ruleDescTextField = rules_.newRule().ruleDescription;
  editingRule_ = false;
  ui_.openSheet("tagRulesSheet");
}

void TagRuleEditor::dupRule() {
  if (!selectedRows.empty()) loadRules();
  if (!hasSelectedRule()) {
    editingRule_ = false;  // or the next sheet would take itself for an edit
    return;
  }
  fillSheet(rules_.rules()[selectedRows.back()]);
  ui_.openSheet("tagRulesSheet");
}

void TagRuleEditor::editRule() {
  editingRule_ = true;
  dupRule();
}

void TagRuleEditor::doAddRule() {
  rules_.load();
  TagRule rule = ruleFromSheet();
  if (editingRule_ && hasSelectedRule()) {
    const TagRule before = rules_.rules()[selectedRows.back()];
    rule.ruleActive = before.ruleActive;
    show(rules_.replace(before, rule));
  } else {
    show(rules_.add(rule));
  }
  cancelTagRulesSheet();
}

void TagRuleEditor::removeRule() {
  std::vector<TagRule> gone;
  for (std::size_t row = 0; row < rules_.rules().size(); ++row) {
    const bool selected =
        std::find(selectedRows.begin(), selectedRows.end(), row) != selectedRows.end();
    if (selected) gone.push_back(rules_.rules()[row]);
  }
  selectedRows.clear();
  show(rules_.remove(gone));
}

void TagRuleEditor::didClickRuleCheck(std::size_t row) {
  if (row >= rules_.rules().size()) return;
  const TagRule before = rules_.rules()[row];
  TagRule after = before;
  after.ruleActive = before.ruleActive != 0 ? 0 : 1;
  show(rules_.replace(before, after));
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
  std::ranges::copy(emptyRuleCriteria(), empty.ruleCriteriaList.begin());
  sheet = std::move(empty);
  ruleCatButton.selected = 0;
}

void TagRuleEditor::show(const Result<void>& saved) {
  if (!saved) {
    ui_.alert({"Settings",
               "The rules could not be saved: " + saved.error(),
               AlertStyle::critical,
               {"OK"}});
  }
  loadRules();
}

void TagRuleEditor::chooseRuleCat() {
  sheet.ruleCatTextField = ruleCatButton.category();
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

void TagRuleEditor::fillSheet(const TagRule& stored) {
  const TagRule rule = asWrittenHere(stored);
  sheet.ruleDescTextField = rule.ruleDescription;
  sheet.ruleAllButton = rule.ruleAll;
  sheet.ruleCatTextField = rule.ruleCat;
  sheet.ruleKeywordsTextField = rule.ruleKeywords;
  sheet.ruleNotesTextField = rule.ruleNotes;
  sheet.rulePriorityButton = static_cast<std::size_t>(leadingInt(rule.rulePriority));
  sheet.tagOrExcludeMatrix = rule.tagOrExclude;
  std::ranges::copy(rule.ruleCriteria, sheet.ruleCriteriaList.begin());
}

bool TagRuleEditor::hasSelectedRule() const {
  return !selectedRows.empty() && selectedRows.back() < rules_.rules().size();
}

}  // namespace keldane
