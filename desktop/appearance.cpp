#include "desktop/appearance.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOption>

namespace keldane {
namespace {

QPalette darkPalette() {
  const QColor window(0x36, 0x38, 0x3c);
  const QColor base(0x1e, 0x1f, 0x22);
  const QColor text(0xdc, 0xdd, 0xe0);
  const QColor dim(0x86, 0x88, 0x8d);
  QPalette palette(window);
  palette.setColor(QPalette::Window, window);
  palette.setColor(QPalette::WindowText, text);
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x27, 0x2b));
  palette.setColor(QPalette::Text, text);
  palette.setColor(QPalette::PlaceholderText, dim);
  palette.setColor(QPalette::Button, QColor(0x3a, 0x3c, 0x41));
  palette.setColor(QPalette::ButtonText, text);
  palette.setColor(QPalette::BrightText, Qt::white);
  palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3c, 0x41));
  palette.setColor(QPalette::ToolTipText, text);
  palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, QColor(0x8a, 0xb4, 0xf8));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, dim);
  }
  return palette;
}

/// An empty box of a table would be dark on dark: its edge comes from the palette's window, which
/// is lighter than the table in light looks alone.
class DarkStyle : public QProxyStyle {
 public:
  DarkStyle() : QProxyStyle("Fusion") {}
  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    const bool isRound = element == PE_IndicatorRadioButton;
    if (!isRound && element != PE_IndicatorCheckBox) return;
    constexpr qreal kToTheMiddle = 0.5;  // of the pixels at the edge
    const QRectF edge =
        QRectF(option->rect).adjusted(kToTheMiddle, kToTheMiddle, -kToTheMiddle, -kToTheMiddle);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, isRound);
    painter->setPen(option->palette.color(QPalette::Disabled, QPalette::Text));
    painter->setBrush(Qt::NoBrush);
    isRound ? painter->drawEllipse(edge) : painter->drawRect(edge);
    painter->restore();
  }
};

QPalette lightPalette() {
  QPalette palette(QColor(0xf0, 0xf0, 0xf0));
  palette.setColor(QPalette::Base, Qt::white);
  palette.setColor(QPalette::AlternateBase, QColor(0xf5, 0xf7, 0xfa));
  palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, QColor(0x1a, 0x4f, 0xb4));
  palette.setColor(QPalette::PlaceholderText, QColor(0x70, 0x70, 0x70));
  return palette;
}

}  // namespace

void applyLook(Look look) {
  // The desktop's own style stays where its own colours do.
  static const QString systemStyle = QApplication::style()->objectName();
  if (look == Look::system) {
    QApplication::setStyle(QStyleFactory::create(systemStyle));
    QApplication::setPalette(QPalette());
    return;
  }
  QApplication::setStyle(look == Look::dark ? new DarkStyle : QStyleFactory::create("Fusion"));
  QApplication::setPalette(look == Look::dark ? darkPalette() : lightPalette());
}

bool isDark() {
  const QPalette palette = QApplication::palette();
  return palette.color(QPalette::Base).lightness() < palette.color(QPalette::Text).lightness();
}

}  // namespace keldane
