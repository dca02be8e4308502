#pragma once

#include <array>
#include <vector>

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QPushButton;
class QTreeWidget;

namespace keldane {

class TagRuleEditor;

/// `tagRulesView`, a tab of the settings: the tag rules in their order, with a check box each. A
/// change is kept at once.
class TagRulesView : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(TagRulesView)

 public:
  TagRulesView(TagRuleEditor& editor, QWidget* parent);
  void refresh();

 private:
  void takeSelection();
  QLayout* makeButtons();

  TagRuleEditor& editor_;
  QTreeWidget* table_;
  std::vector<QPushButton*> ofSelection_;  ///< need a selected rule
  bool filling_ = false;
};

/// `tagRulesSheet`: one rule.
class TagRuleSheetDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(TagRuleSheetDialog)

 public:
  TagRuleSheetDialog(TagRuleEditor& editor, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  QLayout* makeCriteria();
  QWidget* makeTags();
  QLayout* makeButtons();

  TagRuleEditor& editor_;
  FormBinding form_;
  std::array<std::array<std::string, 3>, 4> names_;  ///< of the criteria's controls
};

}  // namespace keldane
