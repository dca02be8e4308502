#include "ingest/tag_rule_editor.h"

#include <algorithm>

#include <fmt/format.h>

#include "app/tag_row.h"
#include "base/text.h"
#include "ingest/tag_rule_plist.h"

namespace keldane {

TagRuleEditor::TagRuleEditor(std::vector<TagRule>& tagRulesList, PreferencesFile& prefs,
                             Settings& settings, UserInterface& ui)
    : tagRulesList_(tagRulesList), prefs_(prefs), settings_(settings), ui_(ui) {
  resetRules();
}

void TagRuleEditor::loadRules() {
  const PlistValue* rules = prefs_.find("tagRules");
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
  if (editingRule_ && hasSelectedRule()) {
    const std::size_t row = selectedRows.back();
    const bool check = tagRuleRows_[row].tagRuleCheck;
    tagRuleRows_[row] = TagRulesRow::initWithID(check, rule.ruleDescription);
    rule.ruleActive = check ? 1 : 0;
    tagRulesList_[row] = std::move(rule);
  } else {
    tagRuleRows_.push_back(TagRulesRow::initWithID(true, rule.ruleDescription));
    rule.ruleActive = 1;
    tagRulesList_.push_back(std::move(rule));
  }
  const bool saved = saveRules();
  cancelTagRulesSheet();
  ui_.changed("tagRulesTableView");
  return saved;
}

bool TagRuleEditor::removeRule() {
  std::vector<std::size_t> rows = selectedRows;
  std::sort(rows.rbegin(), rows.rend());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  for (const std::size_t row : rows) {
    if (row >= tagRulesList_.size()) continue;
    const auto offset = static_cast<std::ptrdiff_t>(row);
    tagRulesList_.erase(tagRulesList_.begin() + offset);
    tagRuleRows_.erase(tagRuleRows_.begin() + offset);
  }
  selectedRows.clear();
  ui_.changed("tagRulesTableView");
  return saveRules();
}

bool TagRuleEditor::didClickRuleCheck(std::size_t row) {
  if (row >= tagRuleRows_.size()) return true;
  tagRuleRows_[row].tagRuleCheck = !tagRuleRows_[row].tagRuleCheck;
  tagRulesList_[row].ruleActive = tagRuleRows_[row].tagRuleCheck ? 1 : 0;
  return saveRules();
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

bool TagRuleEditor::saveRules() {
  prefs_.set("tagRules", {tagRulesToPlist(tagRulesList_)});
  const Result<void> saved = prefs_.save();
  if (!saved) {
    ui_.alert({"Settings",
               "The rules could not be saved: " + saved.error(),
               AlertStyle::critical,
               {"OK"}});
  }
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
