#pragma once

#include "desktop/panel_view.h"

class QLabel;
class QPushButton;
class QTreeWidget;

namespace keldane {

class FolderTable;
class FoundMailPanel;

/// `foundMailPanel`: the mail that lies on this machine, to be chosen and archived.
class FoundMailDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(FoundMailDialog)

 public:
  FoundMailDialog(FoundMailPanel& panel, QWidget* parent);
  void refresh() override;

 private:
  FoundMailPanel& panel_;
  QLabel* words_;
  QTreeWidget* table_;
  QPushButton* archive_ = nullptr;
};

/// `foundMailSheet`: the same, to be kept among the folders that every run archives.
class FoundFoldersDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(FoundFoldersDialog)

 public:
  FoundFoldersDialog(FolderTable& folders, QWidget* parent);
  void refresh() override;

 private:
  FolderTable& folders_;
  QTreeWidget* table_;
  QPushButton* add_ = nullptr;
  bool filling_ = false;
};

}  // namespace keldane
