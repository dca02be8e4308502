#include "desktop/qt_page_printer.h"

#include <QApplication>
#include <QFontDatabase>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QPrintPreviewDialog>

#include "desktop/qt_text.h"
#include "desktop/text_pages.h"

namespace keldane {
namespace {

constexpr int kReportPoints = 10;

QtPagePrinter::Draw textDrawing(const std::string& text, const QFont& font) {
  const auto document = std::make_shared<ClosedDocument>();
  document->setDefaultFont(paperFont(font));
  document->setPlainText(qtText(text));
  return [document](QPrinter& printer, QPainter& painter) {
    painter.save();
    const bool isWhole = drawText(*document, printer, painter, PagePrinter::kTextWidth);
    painter.restore();
    return isWhole;
  };
}

}  // namespace

QtPagePrinter::QtPagePrinter(QWidget& over) : over_(over) {
  choose = [this](QPrinter& printer) {
    QPrintDialog dialog(&printer, &over_);
    dialog.setWindowTitle(tr("Print"));
    return dialog.exec() == QDialog::Accepted;
  };
  preview = [this](QPrinter& printer, const std::function<void(QPrinter & printer)>& draw) {
    QPrintPreviewDialog dialog(&printer, &over_);
    dialog.setWindowTitle(tr("Print Preview"));
    QObject::connect(&dialog, &QPrintPreviewDialog::paintRequested, &dialog,
                     [&draw](QPrinter* sheets) { draw(*sheets); });
    return dialog.exec() == QDialog::Accepted;
  };
}

/// Asking the system for its printers takes its time, so that it is left until something is
/// printed.
QPrinter& QtPagePrinter::printer() {
  if (!printer_) {
    printer_ = std::make_unique<QPrinter>(QPrinter::HighResolution);
    printer_->setPageMargins(
        QMarginsF(PagePrinter::kMargin, PagePrinter::kMargin, PagePrinter::kMargin, kBottomMargin),
        QPageLayout::Point);
    printer_->setDocName(QApplication::applicationDisplayName());
  }
  return *printer_;
}

bool QtPagePrinter::printText(const std::string& text, bool asks) {
  return print(textDrawing(text, textFont ? textFont() : QApplication::font()), asks);
}

void QtPagePrinter::printReport(const std::string& text) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSize(kReportPoints);
  const Draw report = textDrawing(text, font);
  static_cast<void>(print(
      [&](QPrinter& sheets, QPainter& painter) {
        if (!report(sheets, painter)) return false;
        return !drawPictures || (sheets.newPage() && drawPictures(sheets, painter));
      },
      true));
}

void QtPagePrinter::printHtml() {
  if (drawHtml) static_cast<void>(print(drawHtml, true));
}

bool QtPagePrinter::print(const Draw& draw, bool asks) {
  bool isWhole = false;
  const auto drawAll = [&](QPrinter& sheets) {
    QPainter painter;
    isWhole = painter.begin(&sheets) && draw(sheets, painter) && painter.end();
  };
  if (asks && previews_) {
    if (!preview(printer(), drawAll)) return false;
  } else {
    if (asks && !choose(printer())) return false;
    drawAll(printer());
  }
  if (!isWhole) {
    QMessageBox::critical(&over_, tr("Print"),
                          tr("The pages could not be printed. Check the printer and print again."));
  }
  return isWhole;
}

}  // namespace keldane
