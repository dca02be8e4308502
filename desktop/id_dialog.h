#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

namespace keldane {

class SqlFiles;

/// `IdPanel`: the name of the database that an SQL export makes, and the first id in it.
class IdDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(IdDialog)

 public:
  IdDialog(SqlFiles& panel, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  SqlFiles& panel_;
  FormBinding form_;
};

}  // namespace keldane
