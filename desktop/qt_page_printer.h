#pragma once

#include <functional>

#include <QCoreApplication>
#include <QFont>
#include <QPrinter>
#include <QString>

#include "app/panels/page_printer.h"

class QTextDocument;
class QWidget;

namespace keldane {

/// Prints with the system's print dialog, whose choice holds until it is asked for again. A page of
/// HTML is laid out by itself, without anything that it would have to fetch.
class QtPagePrinter : public PagePrinter {
  Q_DECLARE_TR_FUNCTIONS(QtPagePrinter)

 public:
  /// `over`: the window over which the dialog stands.
  explicit QtPagePrinter(QWidget& over);

  [[nodiscard]] bool printText(const std::string& text, bool asks) override;
  void printHtml() override;

  /// Lets the user choose where the pages go. False: he has cancelled. Preset to the dialog.
  std::function<bool(QPrinter& printer)> choose;
  /// The HTML that the window shows.
  std::function<QString()> shownHtml;
  /// The font of message texts; that of the application when it is empty.
  std::function<QFont()> textFont;

 private:
  [[nodiscard]] bool print(QTextDocument& document, bool asks);

  QWidget& over_;
  QPrinter printer_;
};

}  // namespace keldane
