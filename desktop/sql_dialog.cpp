#include "desktop/sql_dialog.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "app/keldane_controller.h"

namespace keldane {

SqlDialog::SqlDialog(KeldaneController& controller, QWidget* parent)
    : PanelDialog("SQLPanel", tr("Edit SQL"), parent) {
  SearchForm& values = controller.retrieveSheet().form;
  auto* column = new QVBoxLayout(this);
  const auto add = [&](const QString& words, const char* name, std::string& value) {
    auto* field = new QPlainTextEdit(this);
    field->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    field->setTabChangesFocus(true);
    form_.bind(*field, name, value);
    auto* label = new QLabel(words, this);
    label->setBuddy(field);
    field->setAccessibleName(words);
    column->addWidget(label);
    column->addWidget(field);
    return field;
  };
  QPlainTextEdit* begin =
      add(tr("The statement begins:"), "beginSqlTextField", values.beginSqlTextField);
  begin->setReadOnly(true);
  begin->setFixedHeight(70);
  add(tr("What it asks for; this can be edited:"), "whereTextField", values.whereTextField);

  auto* save = new QPushButton(tr("Saved Searches..."), this);
  auto* cancelButton = new QPushButton(tr("Cancel"), this);
  auto* run = new QPushButton(tr("Search"), this);
  nameControl(*save, "savedEditedSearchesButton");
  nameControl(*cancelButton, "cancelSqlButton");
  nameControl(*run, "makeSQLStringButton");
  run->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(save);
  buttons->addStretch();
  buttons->addWidget(cancelButton);
  buttons->addWidget(run);
  column->addLayout(buttons);
  resize(620, 360);
  connect(save, &QPushButton::clicked, this, [this, &controller] {
    form_.take();
    controller.savedSearchesPanel().savedEditedSearches();
  });
  connect(cancelButton, &QPushButton::clicked, this, [this] { reject(); });
  connect(run, &QPushButton::clicked, this, [this, &controller] {
    form_.take();
    controller.sqlEditor().makeSQLString();
  });
}

}  // namespace keldane
