#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QLabel;

namespace keldane {

class ArchivePanel;

/// `storeDatePanel`: which days a run takes in, and its start.
class StoreDateSheet : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(StoreDateSheet)

 public:
  StoreDateSheet(ArchivePanel& panel, QWidget* parent);
  void refresh() override;

 private:
  ArchivePanel& panel_;
  FormBinding form_;
  QLabel* chosen_;
  QLabel* goingOn_;
};

}  // namespace keldane
