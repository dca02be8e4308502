#include "desktop/saved_searches_dialog.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>

#include "app/keldane_controller.h"
#include "desktop/qt_text.h"

namespace keldane {

SavedSearchesDialog::SavedSearchesDialog(KeldaneController& controller, QWidget* parent)
    : PanelDialog("savedSearchesPanel", tr("Saved Searches"), parent),
      controller_(controller),
      list_(new QListWidget(this)) {
  SearchForm& values = controller.retrieveSheet().form;
  SavedSearchesPanel& panel = controller.savedSearchesPanel();
  nameControl(*list_, "savedSearchesTableView", tr("Saved searches"));
  auto* name = new QLineEdit(this);
  form_.bind(*name, "searchNameTextField", values.searchNameTextField);
  auto* statement = new QPlainTextEdit(this);
  statement->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  statement->setTabChangesFocus(true);
  form_.bind(*statement, "savedSearchTextField", values.savedSearchTextField);
  auto* fields = new QFormLayout;
  fields->addRow(tr("Name:"), name);
  fields->addRow(tr("Statement:"), statement);

  const auto button = [&](const QString& words, const char* given,
                          void (SavedSearchesPanel::*run)()) {
    auto* made = new QPushButton(words, this);
    nameControl(*made, given);
    made->setAutoDefault(false);
    connect(made, &QPushButton::clicked, this, [this, &panel, run] {
      form_.take();
      (panel.*run)();
    });
    return made;
  };
  auto* upper = new QHBoxLayout;
  upper->addWidget(button(tr("Save"), "saveSearchButton", &SavedSearchesPanel::saveSearch));
  upper->addWidget(button(tr("Delete"), "deleteSearchButton", &SavedSearchesPanel::deleteSearch));
  upper->addStretch();
  upper->addWidget(button(tr("Set for Browse"), "setBrowseButton", &SavedSearchesPanel::setBrowse));
  upper->addWidget(
      button(tr("Reset Browse"), "resetBrowseButton", &SavedSearchesPanel::resetBrowse));
  auto* lower = new QHBoxLayout;
  lower->addStretch();
  lower->addWidget(
      button(tr("Cancel"), "cancelSavedSearchButton", &SavedSearchesPanel::cancelSavedSearch));
  auto* run = button(tr("Search"), "doSavedSearchButton", &SavedSearchesPanel::doSavedSearch);
  run->setDefault(true);
  lower->addWidget(run);

  auto* column = new QVBoxLayout(this);
  column->addWidget(list_, 1);
  column->addLayout(fields, 1);
  column->addLayout(upper);
  column->addLayout(lower);
  resize(620, 480);
  connect(list_, &QListWidget::currentRowChanged, this,
          [&panel](int row) { panel.selectRow(row); });
  cancelled = [&panel] { panel.cancelSavedSearch(); };
}

void SavedSearchesDialog::refresh() {
  const SavedSearchesPanel& panel = controller_.savedSearchesPanel();
  const QSignalBlocker quiet(list_);
  list_->clear();
  for (const SavedSearch& search : panel.savedSearchList()) {
    list_->addItem(messageLine(search.name));
  }
  list_->setCurrentRow(panel.savedSearchIndex());
  form_.show();
}

}  // namespace keldane
