#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

namespace keldane {

class DuplicatesPanel;

/// `dupsPanel`: looks for messages that are stored twice, and lists or deletes the copies.
class DuplicatesDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(DuplicatesDialog)

 public:
  DuplicatesDialog(DuplicatesPanel& panel, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  FormBinding form_;
};

}  // namespace keldane
