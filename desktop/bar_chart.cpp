#include "desktop/bar_chart.h"

#include <algorithm>
#include <utility>

#include <QPainter>

#include "desktop/form_binding.h"
#include "desktop/qt_text.h"
#include "query/statistics.h"

namespace keldane {

BarChart::BarChart(const char* name, const QString& title, QWidget* parent)
    : QWidget(parent), title_(title) {
  nameControl(*this, name, title);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

/// Those who hear the window get the figures as a sentence each.
void BarChart::setBars(std::vector<Bar> bars) {
  bars_ = std::move(bars);
  QStringList lines;
  for (const Bar& bar : bars_) {
    lines += bar.words + ": " + qtText(groupedNumber(bar.count));
  }
  setAccessibleDescription(lines.join("\n"));
  setVisible(!bars_.empty());
  updateGeometry();
  update();
}

int BarChart::rowHeight() const { return fontMetrics().height() * 3 / 2; }

QSize BarChart::sizeHint() const {
  const int rows = static_cast<int>(bars_.size());
  return {fontMetrics().averageCharWidth() * 60, rowHeight() * (rows + 2)};
}

QSize BarChart::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 36, sizeHint().height()};
}

void BarChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const int row = rowHeight();
  const int gap = fontMetrics().averageCharWidth();
  QFont bold = font();
  bold.setBold(true);
  painter.setFont(bold);
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawText(QRect(0, 0, width(), row), Qt::AlignLeft | Qt::AlignVCenter, title_);
  painter.setFont(font());

  int words = 0;
  int numbers = 0;
  int most = 1;
  for (const Bar& bar : bars_) {
    words = std::max(words, fontMetrics().horizontalAdvance(bar.words));
    const QString number = qtText(groupedNumber(bar.count));
    numbers = std::max(numbers, fontMetrics().horizontalAdvance(number));
    most = std::max(most, bar.count);
  }
  words = std::min(words, width() * 45 / 100);
  const int longest = std::max(1, width() - words - numbers - 3 * gap);
  int top = row + row / 4;
  for (const Bar& bar : bars_) {
    painter.drawText(QRect(0, top, words, row), Qt::AlignRight | Qt::AlignVCenter,
                     fontMetrics().elidedText(bar.words, Qt::ElideRight, words));
    const int length =
        std::max(1, static_cast<int>(static_cast<long long>(longest) * bar.count / most));
    painter.fillRect(QRect(words + gap, top + row / 6, length, row - row / 3),
                     palette().color(QPalette::Highlight));
    painter.drawText(QRect(words + 2 * gap + length, top, numbers + gap, row),
                     Qt::AlignLeft | Qt::AlignVCenter, qtText(groupedNumber(bar.count)));
    top += row;
  }
}

}  // namespace keldane
