#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QListWidget;
class QPushButton;

namespace keldane {

class KeldaneController;

/// `connectPanel`: the saved connections, the form that edits one, and the connect. Its close
/// control does nothing. Over a session it can be cancelled; without one only a connect closes it,
/// and quitting is a button of its own.
class ConnectDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(ConnectDialog)

 public:
  ConnectDialog(KeldaneController& controller, QWidget* parent);
  void refresh() override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  QLayout* makeForm();
  QLayout* makeButtons();

  KeldaneController& controller_;
  FormBinding form_;
  QListWidget* list_;
};

}  // namespace keldane
