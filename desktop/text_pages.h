#pragma once

#include <QByteArray>
#include <QFont>
#include <QPageLayout>
#include <QTextDocument>

class QPagedPaintDevice;
class QPainter;

namespace keldane {

/// A document that has only what it was given: no picture, no style from a file or from the net.
class ClosedDocument : public QTextDocument {
 public:
  using QTextDocument::QTextDocument;

 protected:
  QVariant loadResource(int, const QUrl&) override { return QByteArray(); }
};

/// Draws a text page by page between the margins of the device, in black. `width`: of the text as
/// it is laid out, in points, which is fitted to the page's. False when the device fails.
[[nodiscard]] bool drawText(QTextDocument& document, QPagedPaintDevice& device, QPainter& painter,
                            double width);

/// The same font for a text whose units are points.
[[nodiscard]] QFont paperFont(QFont font);

/// A text of the true size as a PDF.
[[nodiscard]] QByteArray textAsPdf(QTextDocument& document, const QPageLayout& layout);

/// The paper of the country and the margins of all that is printed.
[[nodiscard]] QPageLayout usualPageLayout();

}  // namespace keldane
