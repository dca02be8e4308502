#pragma once

#include <functional>
#include <memory>

#include <QCoreApplication>
#include <QFont>
#include <QPrinter>
#include <QString>

#include "app/panels/page_printer.h"

class QPainter;
class QTextDocument;
class QWidget;

namespace keldane {

/// Prints with the system's print dialog, or out of a preview; what was chosen there holds until it
/// is asked for again.
class QtPagePrinter : public PagePrinter {
  Q_DECLARE_TR_FUNCTIONS(QtPagePrinter)

 public:
  /// Draws on the sheets of a printer. False when that fails.
  using Draw = std::function<bool(QPrinter& printer, QPainter& painter)>;

  /// `over`: the window over which the dialog stands.
  explicit QtPagePrinter(QWidget& over);

  [[nodiscard]] bool printText(const std::string& text, bool asks) override;
  void printReport(const std::string& text) override;
  void printHtml() override;
  void setPreviews(bool previews) override { previews_ = previews; }

  /// Lets the user choose where the pages go. False: he has cancelled. Preset to the dialog.
  std::function<bool(QPrinter& printer)> choose;
  /// Shows what would be printed, and prints it when the user says so. Preset to the dialog.
  std::function<bool(QPrinter& printer, const std::function<void(QPrinter& printer)>& draw)>
      preview;
  /// Draws the HTML that the window shows.
  Draw drawHtml;
  /// Draws the pictures of a report, behind its text.
  Draw drawPictures;
  /// The font of message texts; that of the application when it is empty.
  std::function<QFont()> textFont;

 private:
  [[nodiscard]] bool print(const Draw& draw, bool asks);
  QPrinter& printer();

  QWidget& over_;
  std::unique_ptr<QPrinter> printer_;
  bool previews_ = false;
};

}  // namespace keldane
