#include "desktop/store_date_sheet.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>

#include "app/panels/archive_panel.h"
#include "desktop/date_menus.h"
#include "desktop/qt_text.h"

namespace keldane {

StoreDateSheet::StoreDateSheet(ArchivePanel& panel, QWidget* parent)
    : PanelDialog("storeDatePanel", tr("Archive Email"), parent),
      panel_(panel),
      goingOn_(new QLabel(this)) {
  StoreDateForm& values = panel.form;
  auto* what = new QLabel(
      tr("Which days are to be archived? What is in the archive already is only noticed."), this);
  what->setWordWrap(true);
  goingOn_->setTextFormat(Qt::PlainText);
  goingOn_->setWordWrap(true);
  nameControl(*goingOn_, "goingOnLabel");

  auto* dates = new QFormLayout;
  dates->addRow(tr("From:"), makeDateMenus(form_, tr("First day"),
                                           {{{"beginStoreMo", values.beginStoreMo},
                                             {"beginStoreDa", values.beginStoreDa},
                                             {"beginStoreYr", values.beginStoreYr}}},
                                           this));
  dates->addRow(tr("To:"), makeDateMenus(form_, tr("Last day"),
                                         {{{"endStoreMo", values.endStoreMo},
                                           {"endStoreDa", values.endStoreDa},
                                           {"endStoreYr", values.endStoreYr}}},
                                         this));

  auto* all = new QPushButton(tr("All Days"), this);
  auto* cancelButton = new QPushButton(tr("Cancel"), this);
  auto* start = new QPushButton(tr("Archive"), this);
  nameControl(*all, "allDaysButton");
  nameControl(*cancelButton, "cancelStoreButton");
  nameControl(*start, "parseEmailButton");
  start->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(all);
  buttons->addStretch();
  buttons->addWidget(cancelButton);
  buttons->addWidget(start);

  auto* column = new QVBoxLayout(this);
  column->addWidget(what);
  column->addWidget(goingOn_);
  column->addLayout(dates);
  column->addSpacing(8);
  column->addLayout(buttons);

  connect(all, &QPushButton::clicked, this, [this] {
    resetAll(panel_.form);
    form_.show();
  });
  connect(cancelButton, &QPushButton::clicked, this, [this] { reject(); });
  connect(start, &QPushButton::clicked, this, [this] {
    form_.take();
    panel_.parseEmail();
  });
  cancelled = [this] { panel_.cancelStore(); };
}

void StoreDateSheet::refresh() {
  form_.show();
  goingOn_->setText(qtText(panel_.goingOn()));
  goingOn_->setVisible(!panel_.goingOn().empty());
}

}  // namespace keldane
