#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QDialog>

class QLayout;
class QPushButton;

namespace keldane {

/// A panel as the user interface knows it: a window under the panel's given name (its object name),
/// whose controls bear their given names in the same way.
class PanelView {
 public:
  virtual ~PanelView() = default;
  /// The window itself.
  virtual QWidget& window() = 0;
  /// Takes what the panel's form and rows hold into the controls. Called before the window is
  /// shown, and when one of its controls has changed below.
  virtual void refresh() {}
  /// The value behind this name has changed. Without more ado, the window that has a control of the
  /// name is refreshed.
  virtual void controlChanged(const QString& control);
};

/// A button at the foot of a panel.
struct FootButton {
  const char* name;  ///< given name
  QString words;
  std::function<void()> run = {};  ///< empty: closes the panel, as the user does
};

/// A panel in a window of its own, which runs as a sheet or modally where it is asked to.
class PanelDialog : public QDialog, public PanelView {
 public:
  /// `name`: the panel's given name.
  PanelDialog(const char* name, const QString& title, QWidget* parent);

  QWidget& window() override { return *this; }
  /// What the user's closing of the window does, or Esc; empty: it is hidden.
  std::function<void()> cancelled;

  void reject() override;

 protected:
  /// The row of buttons at the foot: those on the left, a gap, and those on the right, of which
  /// Enter presses the last.
  QLayout* makeFoot(const std::vector<FootButton>& left, const std::vector<FootButton>& right);
  /// One of them.
  [[nodiscard]] QPushButton& footButton(const char* name) const;
};

}  // namespace keldane
