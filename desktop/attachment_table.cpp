#include "desktop/attachment_table.h"

#include <algorithm>

#include <QBoxLayout>
#include <QHeaderView>
#include <QLocale>
#include <QMimeData>
#include <QPushButton>
#include <QUrl>

#include "app/panels/attachment_list.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr int kMostRowsShown = 4;

/// Rows that leave the window as files, which are written when they are taken.
class DraggedTable : public QTreeWidget {
 public:
  DraggedTable(AttachmentList& list, QWidget* parent) : QTreeWidget(parent), list_(list) {}

 protected:
  QMimeData* mimeData(const QList<QTreeWidgetItem*>& items) const override {
    auto* dragged = new QMimeData;
    QList<QUrl> files;
    for (const QTreeWidgetItem* item : items) {
      const std::string path = list_.writeForUse(
          static_cast<std::size_t>(indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item))));
      if (!path.empty()) files += QUrl::fromLocalFile(userPath(path));
    }
    dragged->setUrls(files);
    return dragged;
  }

 private:
  AttachmentList& list_;
};

}  // namespace

AttachmentTable::AttachmentTable(AttachmentList& list, QWidget* parent)
    : QWidget(parent),
      list_(list),
      table_(new DraggedTable(list, this)),
      open_(new QPushButton(tr("Open"), this)),
      save_(new QPushButton(tr("Save..."), this)),
      saveAll_(new QPushButton(tr("Save All..."), this)) {
  setObjectName("attachmentView");
  nameControl(*table_, "attachmentTableView", tr("Attachments"));
  nameControl(*open_, "openAttachmentButton");
  nameControl(*save_, "saveAttachmentButton");
  nameControl(*saveAll_, "saveAllAttachmentsButton");
  table_->setHeaderLabels({tr("Attachment"), tr("Type"), tr("Size")});
  table_->setRootIsDecorated(false);
  table_->setUniformRowHeights(true);
  table_->setAllColumnsShowFocus(true);
  table_->setDragEnabled(true);
  table_->setTabKeyNavigation(false);
  table_->header()->setStretchLastSection(false);
  table_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  table_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  table_->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);

  auto* buttons = new QVBoxLayout;
  for (QPushButton* button : {open_, save_, saveAll_}) buttons->addWidget(button);
  buttons->addStretch();
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 4, 0, 6);
  row->addWidget(table_, 1);
  row->addLayout(buttons);

  connect(table_, &QTreeWidget::itemSelectionChanged, this, [this] { enableButtons(); });
  connect(table_, &QTreeWidget::itemActivated, this,
          [this] { list_.textViewClickedOnLink(currentRow()); });
  connect(open_, &QPushButton::clicked, this, [this] { list_.open(currentRow()); });
  connect(save_, &QPushButton::clicked, this, [this] { list_.save(currentRow()); });
  connect(saveAll_, &QPushButton::clicked, this, [this] { list_.saveAll(); });
  refresh();
}

std::size_t AttachmentTable::currentRow() const {
  return static_cast<std::size_t>(std::max(0, table_->indexOfTopLevelItem(table_->currentItem())));
}

void AttachmentTable::enableButtons() {
  const bool one = table_->currentItem() != nullptr;
  open_->setEnabled(one);
  save_->setEnabled(one);
}

void AttachmentTable::refresh() {
  table_->clear();
  for (const AttachmentRow& attachment : list_.rows) {
    const auto size = static_cast<qint64>(attachment.sizeBytes);
    auto* item = new QTreeWidgetItem(
        table_, {messageLine(attachment.name), messageLine(attachment.type),
                 QLocale().formattedDataSize(size, 1, QLocale::DataSizeTraditionalFormat)});
    item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    item->setToolTip(0, item->text(0));
  }
  const int rows = std::clamp(table_->topLevelItemCount(), 3, kMostRowsShown);
  table_->setFixedHeight(table_->header()->sizeHint().height() +
                         rows * (fontMetrics().height() + 6) + 2 * table_->frameWidth());
  if (table_->topLevelItemCount() > 0) table_->setCurrentItem(table_->topLevelItem(0));
  enableButtons();
  setVisible(!list_.rows.empty());
}

}  // namespace keldane
