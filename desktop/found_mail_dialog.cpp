#include "desktop/found_mail_dialog.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

#include "app/panels/folder_table.h"
#include "app/panels/found_mail_panel.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"
#include "desktop/translation.h"

namespace keldane {
namespace {

void setColumns(QTreeWidget& table) {
  table.setHeaderLabels({FoundMailDialog::tr("Mail"), FoundMailDialog::tr("Program"),
                         FoundMailDialog::tr("Messages"), FoundMailDialog::tr("Size"),
                         FoundMailDialog::tr("Place")});
  table.setRootIsDecorated(false);
  table.setUniformRowHeights(true);
  table.setAllColumnsShowFocus(true);
}

QTreeWidgetItem& addRow(QTreeWidget& table, const FoundMail& mail, bool checked) {
  const QLocale locale;
  QString count = mail.isUncounted ? QStringLiteral("?")
                                   : locale.toString(static_cast<qulonglong>(mail.messages));
  if (mail.isEstimate) count = FoundMailDialog::tr("about %1").arg(count);
  auto* item = new QTreeWidgetItem(
      &table, {messageLine(mail.folder.name), coreWords(mailKindName(mail.kind)), count,
               locale.formattedDataSize(static_cast<qint64>(mail.sizeBytes), 1,
                                        QLocale::DataSizeTraditionalFormat),
               messageLine(mail.folder.path)});
  item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
  item->setTextAlignment(3, Qt::AlignRight | Qt::AlignVCenter);
  for (int column = 0; column < table.columnCount(); ++column) {
    item->setToolTip(column, mail.advice.empty() ? item->text(column) : qtText(mail.advice));
  }
  item->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
  return *item;
}

void fitColumns(QTreeWidget& table) {
  for (int column = 0; column + 1 < table.columnCount(); ++column) {
    table.resizeColumnToContents(column);
  }
}

}  // namespace

FoundMailDialog::FoundMailDialog(FoundMailPanel& panel, QWidget* parent)
    : PanelDialog("foundMailPanel", tr("Archive My Mail"), parent),
      panel_(panel),
      words_(new QLabel(this)),
      table_(new QTreeWidget(this)) {
  words_->setWordWrap(true);
  nameControl(*table_, "foundMailTableView", tr("Mail on this machine"));
  setColumns(*table_);
  auto* column = new QVBoxLayout(this);
  column->addWidget(words_);
  column->addWidget(table_, 1);
  column->addLayout(makeFoot(
      {{"otherFilesButton", tr("Open a Folder or File..."), [this] { panel_.openOther(); }}},
      {{"cancelFoundMailButton", tr("Cancel")},
       {"archiveFoundMailButton", tr("Archive"), [this] { panel_.archive(); }}}));
  archive_ = &footButton("archiveFoundMailButton");
  resize(820, 380);
  connect(table_, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int column_) {
    if (column_ != 0) return;
    panel_.choose(static_cast<std::size_t>(table_->indexOfTopLevelItem(item)),
                  item->checkState(0) == Qt::Checked);
    archive_->setEnabled(panel_.isAnyChosen());
  });
}

void FoundMailDialog::refresh() {
  const QSignalBlocker quiet(table_);
  table_->clear();
  for (const FoundMailRow& row : panel_.rows) {
    addRow(*table_, row.mail, row.chosen).setDisabled(!row.mail.canBeKept());
  }
  fitColumns(*table_);
  words_->setText(panel_.rows.empty()
                      ? tr("No mail was found where mail programs keep it. Open a folder or a file "
                           "that holds mail, or drop it on the window.")
                      : tr("This mail lies on this machine. It is read, never changed."));
  archive_->setEnabled(panel_.isAnyChosen());
}

FoundFoldersDialog::FoundFoldersDialog(FolderTable& folders, QWidget* parent)
    : PanelDialog("foundMailSheet", tr("Mail on This Computer"), parent),
      folders_(folders),
      table_(new QTreeWidget(this)) {
  auto* words = new QLabel(tr("Every run archives the folders that you add. They are read, never "
                              "changed."),
                           this);
  words->setWordWrap(true);
  nameControl(*table_, "foundTableView", tr("Mail on this machine"));
  setColumns(*table_);
  auto* column = new QVBoxLayout(this);
  column->addWidget(words);
  column->addWidget(table_, 1);
  column->addLayout(makeFoot({}, {{"cancelFoundButton", tr("Cancel")},
                                  {"addFoundButton", tr("Add"), [this] { folders_.addFound(); }}}));
  add_ = &footButton("addFoundButton");
  resize(820, 380);
  connect(table_, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int changed) {
    if (filling_ || changed != 0) return;
    // Later: the table is filled anew, and this row is still in use.
    const auto row = static_cast<std::size_t>(table_->indexOfTopLevelItem(item));
    QTimer::singleShot(0, this, [this, row] { folders_.didClickFoundCheck(row); });
  });
  cancelled = [this] { folders_.cancelFound(); };
}

void FoundFoldersDialog::refresh() {
  filling_ = true;
  const int before = table_->indexOfTopLevelItem(table_->currentItem());
  table_->clear();
  bool any = false;
  for (const FoundRow& row : folders_.foundRows()) {
    QTreeWidgetItem& item = addRow(*table_, row.mail, row.foundCheck || row.isKept);
    item.setDisabled(row.isKept || !row.mail.canBeKept());
    if (row.isKept) item.setToolTip(0, tr("Among the folders already"));
    any = any || row.foundCheck;
  }
  fitColumns(*table_);
  if (before >= 0) table_->setCurrentItem(table_->topLevelItem(before));
  add_->setEnabled(any);
  filling_ = false;
}

}  // namespace keldane
