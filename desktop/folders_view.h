#pragma once

#include <QCoreApplication>
#include <QWidget>

class QPushButton;
class QTreeWidget;

namespace keldane {

class FolderTable;

/// The table "Folders" in the Accounts tab of the settings, with its buttons. A change is kept at
/// once.
class FoldersView : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(FoldersView)

 public:
  FoldersView(FolderTable& folders, QWidget* parent);
  void refresh();

 private:
  void takeSelection();
  QPushButton* addButton(const char* name, const QString& words, void (FolderTable::*run)());

  FolderTable& folders_;
  QTreeWidget* table_;
  QPushButton* remove_;
};

}  // namespace keldane
