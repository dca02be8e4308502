#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ingest/storing/tag_rules.h"
#include "platform/user_interface.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"

namespace keldane {

/// One row of the table of rules.
struct TagRulesRow {
  bool tagRuleCheck = true;
  std::string tagRuleDesc;
  [[nodiscard]] static TagRulesRow initWithID(bool check, std::string desc) {
    return {check, std::move(desc)};
  }
};

/// Titles of the menus of a criterion, and of the one that joins them.
inline constexpr std::array<std::string_view, 5> kRuleFieldTitles = {"from", "to", "subject",
                                                                     "body", "mailbox"};
inline constexpr std::array<std::string_view, 2> kRuleRelationTitles = {"contains",
                                                                        "does not contain"};
inline constexpr std::array<std::string_view, 2> kRuleAllTitles = {"any", "all"};

/// The controls of `tagRulesSheet`; a menu is its title. `ruleCatButton` is the settings' own.
struct TagRuleSheet {
  std::string ruleDescTextField;
  std::string ruleAllButton = "any";
  std::array<RuleCriterion, 4> ruleCriteriaList;
  std::string ruleCatTextField;
  std::string ruleKeywordsTextField;
  std::string ruleNotesTextField;
  std::size_t rulePriorityButton = 0;  ///< index into kPriorityTitles
  int tagOrExcludeMatrix = 0;          ///< 0 tag, 1 exclude
};

/// The table of tag rules and the sheet in which one is written. Nothing is checked: a rule without
/// values stays and never fires. Every change is saved at once, rule by rule, so that those which
/// another program has saved meanwhile stay; a save that fails is told of and leaves the change in
/// force until the program ends. Main thread; a run goes on with the rules that it was started
/// with.
class TagRuleEditor {
 public:
  TagRuleEditor(std::vector<TagRule>& tagRulesList, PreferencesFile& prefs, Settings& settings,
                UserInterface& ui);

  /// Takes rules and rows from the preferences, if they have any.
  void loadRules();
  /// Opens the sheet on a new rule.
  void addRule();
  /// Opens the sheet on the values of the selected rule; saving it adds a copy.
  void dupRule();
  /// The same, and saving it changes the selected rule.
  void editRule();
  /// Saves what the sheet holds. A rule being edited that is no longer there is added. False, as
  /// below, when the preferences could not be written.
  bool doAddRule();
  bool removeRule();
  bool didClickRuleCheck(std::size_t row);
  void cancelTagRulesSheet();
  void resetRules();
  /// The action of `ruleCatButton`.
  void chooseRuleCat();

  TagRuleSheet sheet;
  /// Rows of the table, in any order. The one selected last is the one that is edited.
  std::vector<std::size_t> selectedRows;

  [[nodiscard]] const std::vector<TagRulesRow>& tagRuleRows() const { return tagRuleRows_; }
  [[nodiscard]] bool isEditingRule() const { return editingRule_; }

 private:
  [[nodiscard]] TagRule ruleFromSheet() const;
  void fillSheet(const TagRule& rule);
  [[nodiscard]] bool hasSelectedRule() const;
  /// Saves a change to the rules as they stand by now, and reads them again.
  [[nodiscard]] bool editRules(std::function<void(PlistArray&)> change);

  std::vector<TagRule>& tagRulesList_;
  PreferencesFile& prefs_;
  Settings& settings_;
  UserInterface& ui_;
  std::vector<TagRulesRow> tagRuleRows_;
  bool editingRule_ = false;
};

}  // namespace keldane
