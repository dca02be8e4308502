#pragma once

#include "desktop/panel_view.h"

class QLabel;
class QPushButton;
class QTreeWidget;

namespace keldane {

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
  QPushButton* archive_;
};

}  // namespace keldane
