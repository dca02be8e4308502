#pragma once

#include <array>

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QTreeWidget;

namespace keldane {

class TagRuleEditor;

/// `tagRulesPanel`: the tag rules in their order, with a check box each.
class TagRulesDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(TagRulesDialog)

 public:
  TagRulesDialog(TagRuleEditor& editor, QWidget* parent);
  void refresh() override;

 private:
  void takeSelection();
  QLayout* makeButtons();

  TagRuleEditor& editor_;
  QTreeWidget* table_;
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
