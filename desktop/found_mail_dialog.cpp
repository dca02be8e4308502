#include "desktop/found_mail_dialog.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>

#include "app/panels/found_mail_panel.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"

namespace keldane {

FoundMailDialog::FoundMailDialog(FoundMailPanel& panel, QWidget* parent)
    : PanelDialog("foundMailPanel", tr("Archive My Mail"), parent),
      panel_(panel),
      words_(new QLabel(this)),
      table_(new QTreeWidget(this)),
      archive_(new QPushButton(tr("Archive"), this)) {
  words_->setWordWrap(true);
  nameControl(*table_, "foundMailTableView", tr("Mail on this machine"));
  table_->setHeaderLabels({tr("Mail"), tr("Program"), tr("Messages"), tr("Size"), tr("Place")});
  table_->setRootIsDecorated(false);
  table_->setUniformRowHeights(true);
  table_->setAllColumnsShowFocus(true);
  auto* files = new QPushButton(tr("Open a Folder or File..."), this);
  auto* cancelButton = new QPushButton(tr("Cancel"), this);
  nameControl(*files, "otherFilesButton");
  nameControl(*cancelButton, "cancelFoundMailButton");
  nameControl(*archive_, "archiveFoundMailButton");
  archive_->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(files);
  buttons->addStretch();
  buttons->addWidget(cancelButton);
  buttons->addWidget(archive_);
  auto* column = new QVBoxLayout(this);
  column->addWidget(words_);
  column->addWidget(table_, 1);
  column->addLayout(buttons);
  resize(820, 380);
  connect(table_, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int column_) {
    if (column_ != 0) return;
    panel_.choose(static_cast<std::size_t>(table_->indexOfTopLevelItem(item)),
                  item->checkState(0) == Qt::Checked);
    archive_->setEnabled(panel_.isAnyChosen());
  });
  connect(files, &QPushButton::clicked, this, [this] { panel_.openOther(); });
  connect(cancelButton, &QPushButton::clicked, this, [this] { reject(); });
  connect(archive_, &QPushButton::clicked, this, [this] { panel_.archive(); });
}

void FoundMailDialog::refresh() {
  const QSignalBlocker quiet(table_);
  table_->clear();
  const QLocale locale;
  for (const FoundMailRow& row : panel_.rows) {
    const FoundMail& mail = row.mail;
    QString count = mail.isUncounted ? QStringLiteral("?")
                                     : locale.toString(static_cast<qulonglong>(mail.messages));
    if (mail.isEstimate) count = tr("about %1").arg(count);
    auto* item = new QTreeWidgetItem(
        table_, {messageLine(mail.folder.name), qtText(mailKindName(mail.kind)), count,
                 locale.formattedDataSize(static_cast<qint64>(mail.sizeBytes), 1,
                                          QLocale::DataSizeTraditionalFormat),
                 messageLine(mail.folder.path)});
    item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    item->setTextAlignment(3, Qt::AlignRight | Qt::AlignVCenter);
    for (int column = 0; column < table_->columnCount(); ++column) {
      item->setToolTip(column, mail.advice.empty() ? item->text(column) : qtText(mail.advice));
    }
    item->setDisabled(!mail.canBeKept());
    item->setCheckState(0, row.chosen ? Qt::Checked : Qt::Unchecked);
  }
  for (int column = 0; column + 1 < table_->columnCount(); ++column) {
    table_->resizeColumnToContents(column);
  }
  words_->setText(panel_.rows.empty()
                      ? tr("No mail was found where mail programs keep it. Open a folder or a file "
                           "that holds mail, or drop it on the window.")
                      : tr("This mail lies on this machine. It is read, never changed."));
  archive_->setEnabled(panel_.isAnyChosen());
}

}  // namespace keldane
