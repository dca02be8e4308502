#include "desktop/qt_page_printer.h"

#include <cmath>

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QTextDocument>

#include "desktop/qt_text.h"

namespace keldane {
namespace {

/// A document that has only what it was given: no picture, no style from a file or from the net.
class ClosedDocument : public QTextDocument {
 protected:
  QVariant loadResource(int, const QUrl&) override { return QByteArray(); }
};

}  // namespace

QtPagePrinter::QtPagePrinter(QWidget& over) : over_(over), printer_(QPrinter::HighResolution) {
  printer_.setPageMargins(
      QMarginsF(PagePrinter::kMargin, PagePrinter::kMargin, PagePrinter::kMargin, kBottomMargin),
      QPageLayout::Point);
  choose = [this](QPrinter& printer) {
    QPrintDialog dialog(&printer, &over_);
    dialog.setWindowTitle(tr("Print"));
    return dialog.exec() == QDialog::Accepted;
  };
}

bool QtPagePrinter::printText(const std::string& text, bool asks) {
  ClosedDocument document;
  QFont font = textFont ? textFont() : QApplication::font();
  // One unit of the layout is a point, whatever the screen's resolution.
  font.setPixelSize(std::max(1, static_cast<int>(std::lround(font.pointSizeF()))));
  document.setDefaultFont(font);
  document.setPlainText(qtText(text));
  return print(document, asks);
}

void QtPagePrinter::printHtml() {
  ClosedDocument document;
  QFont font = QApplication::font();
  font.setPixelSize(12);
  document.setDefaultFont(font);
  document.setHtml(shownHtml ? shownHtml() : QString());
  static_cast<void>(print(document, true));
}

/// The text's width is fitted to that of the page between its margins.
bool QtPagePrinter::print(QTextDocument& document, bool asks) {
  if (asks && !choose(printer_)) return false;
  QPainter painter;
  if (!painter.begin(&printer_)) {
    QMessageBox::critical(&over_, tr("Print"),
                          tr("The printer could not be reached. Check it and print again."));
    return false;
  }
  const QRectF paper = printer_.pageLayout().paintRectPixels(printer_.resolution());
  const double scale = paper.width() / kTextWidth;
  const double height = paper.height() / scale;
  document.setDocumentMargin(0);
  document.setPageSize(QSizeF(kTextWidth, height));
  painter.scale(scale, scale);
  QAbstractTextDocumentLayout::PaintContext context;
  context.palette.setColor(QPalette::Text, Qt::black);
  for (int page = 0; page < document.pageCount(); ++page) {
    if (page > 0 && !printer_.newPage()) return false;
    painter.save();
    painter.translate(0, -page * height);
    context.clip = QRectF(0, page * height, kTextWidth, height);
    painter.setClipRect(context.clip);
    document.documentLayout()->draw(&painter, context);
    painter.restore();
  }
  return painter.end();
}

}  // namespace keldane
