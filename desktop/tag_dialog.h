#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QLabel;

namespace keldane {

class TagPanel;

/// `tagPanel`: the tags of the messages that are selected.
class TagDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(TagDialog)

 public:
  TagDialog(TagPanel& panel, QWidget* parent);
  void refresh() override;

 private:
  QLayout* makeButtons();

  TagPanel& panel_;
  FormBinding form_;
  QLabel* about_;
};

}  // namespace keldane
