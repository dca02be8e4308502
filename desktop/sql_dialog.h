#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

namespace keldane {

class KeldaneController;

/// `SQLPanel`: the statement of the search form, whose second half can be edited.
class SqlDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(SqlDialog)

 public:
  SqlDialog(KeldaneController& controller, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  FormBinding form_;
};

}  // namespace keldane
