#pragma once

#include "desktop/panel_view.h"

class QPlainTextEdit;

namespace keldane {

/// `origWindow`: the raw source of a message, or a log, as plain text.
class TextWindow : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(TextWindow)

 public:
  explicit TextWindow(QWidget* parent);

  void showText(const QString& title, const QString& text);
  void refresh() override;

  /// The text that stands in it while a message is shown; empty: what was shown last stays.
  std::function<QString()> source;
  /// The font of the setting, in which the text stands; empty: the fixed one.
  std::function<QFont(const QFont& fixed)> textFont;

 private:
  void setFixedFont();

  QPlainTextEdit* view_;
  QString ownTitle_;  ///< of a text that is no message's
};

}  // namespace keldane
