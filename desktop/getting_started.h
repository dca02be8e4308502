#pragma once

#include <functional>
#include <memory>

#include "desktop/panel_view.h"

class QCheckBox;
class QPdfDocument;

namespace keldane {

/// `splashScreen`: the getting-started document. Without a view of PDF of its own the window names
/// the file, and its button has the system show it.
class GettingStartedWindow : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(GettingStartedWindow)

 public:
  /// `shownAtStart`: the control of the setting. `done` is called when the user has closed the
  /// window.
  GettingStartedWindow(bool& shownAtStart, std::function<void()> done, QWidget* parent);
  ~GettingStartedWindow() override;
  void refresh() override;

 private:
  QWidget* makeView();

  bool& shownAtStart_;
  QCheckBox* atStart_;
  QPdfDocument* document_ = nullptr;
};

}  // namespace keldane
