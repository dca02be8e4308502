#include "desktop/duplicates_dialog.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QLabel>
#include <QRadioButton>

#include "app/panels/duplicates_panel.h"

namespace keldane {

DuplicatesDialog::DuplicatesDialog(DuplicatesPanel& panel, QWidget* parent)
    : PanelDialog("dupsPanel", tr("Find Duplicates"), parent) {
  auto* about = new QLabel(tr("Emails are duplicates when sender, receivers, subject, date and "
                              "time are the same. The first of them is always kept."),
                           this);
  about->setWordWrap(true);
  auto* choice = new QWidget(this);
  nameControl(*choice, "deleteDupsMatrix", tr("What is done with duplicates"));
  auto* deletes = new QRadioButton(tr("Delete the copies from the database"), choice);
  auto* lists = new QRadioButton(tr("Only list them"), choice);
  nameControl(*deletes, "deleteDupsButton");
  nameControl(*lists, "listDupsButton");
  auto* rows = new QVBoxLayout(choice);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->addWidget(lists);
  rows->addWidget(deletes);
  form_.bind([deletes, lists,
              &panel] { (panel.deleteDupsMatrix == 0 ? deletes : lists)->setChecked(true); },
             [deletes, &panel] { panel.deleteDupsMatrix = deletes->isChecked() ? 0 : 1; });

  const auto check = [this, &panel] {
    form_.take();
    panel.checkDups();
  };
  auto* column = new QVBoxLayout(this);
  column->addWidget(about);
  column->addWidget(choice);
  column->addStretch();
  column->addLayout(
      makeFoot({}, {{"cancelDupsButton", tr("Cancel")}, {"checkDupsButton", tr("Start"), check}}));
  resize(420, heightForWidth(420));
}

}  // namespace keldane
