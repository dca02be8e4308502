#include "desktop/sql_dialog.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>

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

  const auto saved = [this, &controller] {
    form_.take();
    controller.savedSearchesPanel().savedEditedSearches();
  };
  const auto search = [this, &controller] {
    form_.take();
    controller.sqlEditor().makeSQLString();
  };
  column->addLayout(
      makeFoot({{"savedEditedSearchesButton", tr("Saved Searches..."), saved}},
               {{"cancelSqlButton", tr("Cancel")}, {"makeSQLStringButton", tr("Search"), search}}));
  resize(620, 360);
}

}  // namespace keldane
