#include "desktop/pdf_drawing.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPdfDocument>
#include <QPrinter>

namespace keldane {
namespace {

constexpr double kDotsPerPoint = 300.0 / 72;

}  // namespace

bool drawPdf(const QByteArray& pdf, QPrinter& printer, QPainter& painter) {
  QBuffer bytes;
  bytes.setData(pdf);
  bytes.open(QIODevice::ReadOnly);
  QPdfDocument document;
  document.load(&bytes);
  if (document.pageCount() == 0) return false;
  const QRectF paper(QPointF(0, 0), printer.pageLayout().fullRectPoints().size());
  const QRectF inside = printer.pageLayout().paintRectPoints();
  const QRectF target(QPointF(0, 0),
                      printer.pageLayout().paintRectPixels(printer.resolution()).size());
  for (int page = 0; page < document.pageCount(); ++page) {
    if (page > 0 && !printer.newPage()) return false;
    const QImage drawn = document.render(page, (paper.size() * kDotsPerPoint).toSize());
    if (drawn.isNull()) return false;
    QImage sheet(drawn.size(), QImage::Format_RGB32);
    sheet.fill(Qt::white);
    QPainter(&sheet).drawImage(0, 0, drawn);
    painter.drawImage(target, sheet,
                      QRectF(inside.topLeft() * kDotsPerPoint, inside.size() * kDotsPerPoint));
  }
  return true;
}

}  // namespace keldane
