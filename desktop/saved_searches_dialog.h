#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QListWidget;

namespace keldane {

class KeldaneController;

/// `savedSearchesPanel`: the saved searches, their statements, and which of them Browse runs.
class SavedSearchesDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(SavedSearchesDialog)

 public:
  SavedSearchesDialog(KeldaneController& controller, QWidget* parent);
  void refresh() override;

 private:
  KeldaneController& controller_;
  FormBinding form_;
  QListWidget* list_;
};

}  // namespace keldane
