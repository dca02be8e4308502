#include "desktop/folders_view.h"

#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include "app/panels/folder_table.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"

namespace keldane {

FoldersView::FoldersView(FolderTable& folders, QWidget* parent)
    : QWidget(parent), folders_(folders), table_(new QTreeWidget(this)), remove_(nullptr) {
  setObjectName("foldersView");
  auto* about = new QLabel(
      tr("Folders and files of mail that every run archives too, such as those of Thunderbird:"),
      this);
  about->setWordWrap(true);
  nameControl(*table_, "foldersTableView", tr("Folders"));
  table_->setHeaderLabels({tr("Folder"), tr("Place")});
  table_->setRootIsDecorated(false);
  table_->setUniformRowHeights(true);
  table_->setAllColumnsShowFocus(true);
  table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  table_->setMinimumHeight(5 * fontMetrics().height());
  auto* buttons = new QVBoxLayout;
  buttons->addWidget(addButton("addFolderButton", tr("Add..."), &FolderTable::addFolders));
  buttons->addWidget(addButton("findFoldersButton", tr("Find..."), &FolderTable::findMail));
  remove_ = addButton("removeFolderButton", tr("Remove"), &FolderTable::removeFolders);
  remove_->setToolTip(tr("Their mail stays where it is, and in the archive"));
  buttons->addWidget(remove_);
  buttons->addStretch();
  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->addWidget(about, 0, 0, 1, 2);
  grid->addWidget(table_, 1, 0);
  grid->addLayout(buttons, 1, 1);
  connect(table_, &QTreeWidget::itemSelectionChanged, this, [this] { takeSelection(); });
  takeSelection();
}

QPushButton* FoldersView::addButton(const char* name, const QString& words,
                                    void (FolderTable::*run)()) {
  auto* button = new QPushButton(words, this);
  nameControl(*button, name);
  button->setAutoDefault(false);
  connect(button, &QPushButton::clicked, this, [this, run] { (folders_.*run)(); });
  return button;
}

void FoldersView::takeSelection() {
  folders_.selectedRows.clear();
  for (const QModelIndex& index : table_->selectionModel()->selectedRows()) {
    folders_.selectedRows.push_back(static_cast<std::size_t>(index.row()));
  }
  remove_->setEnabled(!folders_.selectedRows.empty());
}

void FoldersView::refresh() {
  table_->clear();
  for (const FolderRow& row : folders_.folderRows()) {
    const QString path = messageLine(row.folderPath);
    auto* item = new QTreeWidgetItem(table_, {messageLine(row.folderName), path});
    item->setToolTip(1, path);
    if (!row.found) item->setText(1, tr("%1 (not there now)").arg(path));
  }
  table_->resizeColumnToContents(0);
  takeSelection();
}

}  // namespace keldane
