#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "app/panels/category_menu.h"
#include "app/user_interface.h"
#include "ingest/storing/tag_rule_list.h"

namespace keldane {

/// One row of the table of rules.
struct TagRulesRow {
  bool tagRuleCheck = true;
  std::string tagRuleDesc;
  [[nodiscard]] static TagRulesRow initWithID(bool check, std::string desc) {
    return {check, std::move(desc)};
  }
};

/// The controls of `tagRulesSheet`; a menu is its title.
struct TagRuleSheet {
  std::string ruleDescTextField;
  std::string ruleAllButton = "any";
  std::array<RuleCriterion, kRuleCriteria> ruleCriteriaList;
  std::string ruleCatTextField;
  std::string ruleKeywordsTextField;
  std::string ruleNotesTextField;
  std::size_t rulePriorityButton = 0;  ///< index into kPriorityTitles
  int tagOrExcludeMatrix = 0;          ///< 0 tag, 1 exclude
};

/// The table of tag rules and the sheet in which one is written. A save that fails is told of.
/// Main thread.
class TagRuleEditor {
 public:
  TagRuleEditor(TagRuleList& rules, UserInterface& ui);

  /// Takes rules and rows from the preferences, if they have any.
  void loadRules();
  /// Opens the sheet on a new rule.
  void addRule();
  /// Opens the sheet on the values of the selected rule; saving it adds a copy.
  void dupRule();
  /// The same, and saving it changes the selected rule.
  void editRule();
  /// Saves what the sheet holds. A rule being edited that is no longer there is added.
  void doAddRule();
  void removeRule();
  void didClickRuleCheck(std::size_t row);
  void cancelTagRulesSheet();
  void resetRules();
  /// The action of `ruleCatButton`.
  void chooseRuleCat();

  TagRuleSheet sheet;
  CategoryMenu ruleCatButton;
  /// Rows of the table, in any order. The one selected last is the one that is edited.
  std::vector<std::size_t> selectedRows;

  [[nodiscard]] const std::vector<TagRulesRow>& tagRuleRows() const { return tagRuleRows_; }
  [[nodiscard]] bool isEditingRule() const { return editingRule_; }

 private:
  [[nodiscard]] TagRule ruleFromSheet() const;
  void fillSheet(const TagRule& rule);
  [[nodiscard]] bool hasSelectedRule() const;
  /// Shows the rules as they are after a change, and tells of one that could not be saved.
  void show(const Result<void>& saved);

  TagRuleList& rules_;
  UserInterface& ui_;
  std::vector<TagRulesRow> tagRuleRows_;
  bool editingRule_ = false;
};

}  // namespace keldane
