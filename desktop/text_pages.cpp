#include "desktop/text_pages.h"

#include <algorithm>
#include <cmath>

#include <QAbstractTextDocumentLayout>
#include <QBuffer>
#include <QLocale>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>

#include "app/panels/page_printer.h"

namespace keldane {
namespace {

constexpr int kDotsPerInch = 1200;

}  // namespace

bool drawText(QTextDocument& document, QPagedPaintDevice& device, QPainter& painter, double width) {
  const QRectF paper = device.pageLayout().paintRectPixels(device.logicalDpiX());
  const double scale = paper.width() / width;
  const double height = paper.height() / scale;
  document.setDocumentMargin(0);
  document.setPageSize(QSizeF(width, height));
  painter.scale(scale, scale);
  QAbstractTextDocumentLayout::PaintContext context;
  context.palette.setColor(QPalette::Text, Qt::black);
  for (int page = 0; page < document.pageCount(); ++page) {
    if (page > 0 && !device.newPage()) return false;
    painter.save();
    painter.translate(0, -page * height);
    context.clip = QRectF(0, page * height, width, height);
    painter.setClipRect(context.clip);
    document.documentLayout()->draw(&painter, context);
    painter.restore();
  }
  return true;
}

QFont paperFont(QFont font) {
  font.setPixelSize(std::max(1, static_cast<int>(std::lround(font.pointSizeF()))));
  return font;
}

QByteArray textAsPdf(QTextDocument& document, const QPageLayout& layout) {
  QBuffer bytes;
  bytes.open(QIODevice::WriteOnly);
  QPdfWriter writer(&bytes);
  writer.setResolution(kDotsPerInch);
  writer.setPageLayout(layout);
  QPainter painter;
  const double width = layout.paintRectPoints().width();
  const bool isWhole = painter.begin(&writer) && drawText(document, writer, painter, width);
  painter.end();
  return isWhole ? bytes.data() : QByteArray();
}

QPageLayout usualPageLayout() {
  const bool isLetter = QLocale::system().measurementSystem() == QLocale::ImperialUSSystem;
  return QPageLayout(QPageSize(isLetter ? QPageSize::Letter : QPageSize::A4), QPageLayout::Portrait,
                     QMarginsF(PagePrinter::kMargin, PagePrinter::kMargin, PagePrinter::kMargin,
                               PagePrinter::kBottomMargin),
                     QPageLayout::Point);
}

}  // namespace keldane
