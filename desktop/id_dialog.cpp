#include "desktop/id_dialog.h"

#include <QBoxLayout>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>

#include "app/panels/sql_files.h"

namespace keldane {

IdDialog::IdDialog(SqlFiles& panel, QWidget* parent)
    : PanelDialog("IdPanel", tr("Export SQL"), parent), panel_(panel) {
  auto* about = new QLabel(tr("The file makes a database of its own, whose emails are numbered "
                              "from the first ID on. An archive that is to be added to another "
                              "begins behind the last ID of that."),
                           this);
  about->setWordWrap(true);
  auto* name = new QLineEdit(this);
  form_.bind(*name, "dbNameTextField", panel.form.dbNameTextField);
  auto* id = new QLineEdit(this);
  id->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9]{0,10}"), id));
  form_.bind(*id, "idTextField", panel.form.idTextField);
  id->setPlaceholderText("1");
  auto* fields = new QFormLayout;
  fields->addRow(tr("Database name:"), name);
  fields->addRow(tr("First ID:"), id);

  const auto got = [this] {
    form_.take();
    panel_.gotID();
  };
  auto* column = new QVBoxLayout(this);
  column->addWidget(about);
  column->addLayout(fields);
  column->addStretch();
  column->addLayout(
      makeFoot({}, {{"cancelIDButton", tr("Cancel")}, {"gotIDButton", tr("Export"), got}}));
  resize(420, heightForWidth(420));

  QPushButton* go = &footButton("gotIDButton");
  connect(name, &QLineEdit::textChanged, this,
          [go](const QString& text) { go->setEnabled(!text.trimmed().isEmpty()); });
  go->setEnabled(!name->text().trimmed().isEmpty());
  cancelled = [this] { panel_.cancelID(); };
}

}  // namespace keldane
