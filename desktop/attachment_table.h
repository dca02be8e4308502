#pragma once

#include <QCoreApplication>
#include <QTreeWidget>
#include <QWidget>

class QPushButton;

namespace keldane {

class AttachmentList;

/// The attachments of the message shown: opened, saved, or dragged out as files.
class AttachmentTable : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(AttachmentTable)

 public:
  AttachmentTable(AttachmentList& list, QWidget* parent);

  /// Shows the rows of the list; without any, nothing.
  void refresh();

 private:
  [[nodiscard]] std::size_t currentRow() const;
  void enableButtons();

  AttachmentList& list_;
  QTreeWidget* table_;
  QPushButton* open_;
  QPushButton* save_;
  QPushButton* saveAll_;
};

}  // namespace keldane
