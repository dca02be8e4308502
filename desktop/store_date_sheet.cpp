#include "desktop/store_date_sheet.h"

#include <algorithm>

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFormLayout>
#include <QLabel>

#include "app/panels/archive_panel.h"
#include "desktop/date_menus.h"
#include "desktop/qt_text.h"
#include "desktop/translation.h"

namespace keldane {
namespace {

constexpr std::size_t kMostPaths = 5;  ///< that are named

}  // namespace

StoreDateSheet::StoreDateSheet(ArchivePanel& panel, QWidget* parent)
    : PanelDialog("storeDatePanel", tr("Archive Email"), parent),
      panel_(panel),
      chosen_(new QLabel(this)),
      goingOn_(new QLabel(this)) {
  StoreDateForm& values = panel.form;
  auto* what = new QLabel(
      tr("Which days are to be archived? What is in the archive already is only noticed."), this);
  what->setWordWrap(true);
  for (QLabel* label : {chosen_, goingOn_}) {
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
  }
  nameControl(*chosen_, "chosenFilesLabel");
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

  const auto allDays = [this] {
    resetAll(panel_.form);
    form_.show();
  };
  const auto archive = [this] {
    form_.take();
    panel_.parseEmail();
  };
  auto* column = new QVBoxLayout(this);
  column->addWidget(what);
  column->addWidget(chosen_);
  column->addWidget(goingOn_);
  column->addLayout(dates);
  column->addSpacing(8);
  column->addLayout(makeFoot(
      {{"allDaysButton", tr("All Days"), allDays}},
      {{"cancelStoreButton", tr("Cancel")}, {"parseEmailButton", tr("Archive"), archive}}));
  cancelled = [this] { panel_.cancelStore(); };
}

void StoreDateSheet::refresh() {
  form_.show();
  const std::vector<std::string> paths = panel_.chosenPaths();
  QString chosen;
  for (std::size_t i = 0; i < std::min(paths.size(), kMostPaths); ++i) {
    chosen += "\n" + messageLine(userPath(paths[i]).toStdString());
  }
  if (paths.size() > kMostPaths) chosen += "\n\u2026";
  chosen_->setText(tr("%n chosen files or folders:", "", static_cast<int>(paths.size())) + chosen);
  chosen_->setVisible(!paths.empty());
  goingOn_->setText(coreWords(shownLine(panel_.goingOn())));
  goingOn_->setVisible(!panel_.goingOn().empty() && paths.empty());
}

}  // namespace keldane
