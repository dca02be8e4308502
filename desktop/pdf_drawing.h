#pragma once

#include <QByteArray>

class QPainter;
class QPrinter;

namespace keldane {

/// Draws each page of a PDF on a sheet of its own, margin on margin. False for what is no PDF, or
/// when the printer fails.
[[nodiscard]] bool drawPdf(const QByteArray& pdf, QPrinter& printer, QPainter& painter);

}  // namespace keldane
