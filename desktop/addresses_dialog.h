#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

namespace keldane {

class ExportPanel;

/// `addressesPanel`: whose addresses of the list are exported.
class AddressesDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(AddressesDialog)

 public:
  AddressesDialog(ExportPanel& panel, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  FormBinding form_;
};

}  // namespace keldane
