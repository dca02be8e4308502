#include "desktop/addresses_dialog.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>

#include "app/panels/export_panel.h"

namespace keldane {

AddressesDialog::AddressesDialog(ExportPanel& panel, QWidget* parent)
    : PanelDialog("addressesPanel", tr("Export Email Addresses"), parent) {
  auto* about = new QLabel(tr("Which addresses of the list are to be exported?"), this);
  auto* from = new QCheckBox(tr("From"), this);
  auto* to = new QCheckBox(tr("To"), this);
  form_.bind(*from, "fromAddsCheck", panel.form.fromAddsCheck);
  form_.bind(*to, "toAddsCheck", panel.form.toAddsCheck);
  const auto save = [this, &panel] {
    form_.take();
    panel.saveAddresses();
  };
  auto* column = new QVBoxLayout(this);
  column->addWidget(about);
  column->addWidget(from);
  column->addWidget(to);
  column->addStretch();
  column->addLayout(makeFoot({}, {{"cancelAddressesButton", tr("Cancel")},
                                  {"saveAddressesButton", tr("Export..."), save}}));
}

}  // namespace keldane
