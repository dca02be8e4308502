#include "desktop/bar_chart.h"

#include <algorithm>
#include <utility>

#include <QPainter>

#include "desktop/form_binding.h"
#include "desktop/qt_text.h"
#include "query/statistics.h"

namespace keldane {
namespace {

/// What a picture is drawn with, on the screen or on paper.
struct Look {
  QFont font;
  QFontMetrics metrics;
  QColor text;
  QColor bar;
};

/// How the width is parted among words, bars and numbers.
struct Columns {
  int words = 0;
  int longest = 1;
  int numbers = 0;
  int most = 1;
};

int rowHeightOf(const QFontMetrics& metrics) { return metrics.height() * 3 / 2; }

Columns columnsOf(const std::vector<Bar>& bars, const QFontMetrics& metrics, int width) {
  Columns columns;
  for (const Bar& bar : bars) {
    columns.words = std::max(columns.words, metrics.horizontalAdvance(bar.words));
    const QString number = qtText(groupedNumber(bar.count));
    columns.numbers = std::max(columns.numbers, metrics.horizontalAdvance(number));
    columns.most = std::max(columns.most, bar.count);
  }
  columns.words = std::min(columns.words, width * 45 / 100);
  const int gap = metrics.averageCharWidth();
  columns.longest = std::max(1, width - columns.words - columns.numbers - 3 * gap);
  return columns;
}

void drawTitle(QPainter& painter, const Look& look, int top, int width, const QString& title) {
  QFont bold = look.font;
  bold.setBold(true);
  painter.setFont(bold);
  painter.setPen(look.text);
  painter.drawText(QRect(0, top, width, rowHeightOf(look.metrics)),
                   Qt::AlignLeft | Qt::AlignVCenter, title);
  painter.setFont(look.font);
}

void drawBar(QPainter& painter, const Look& look, const Columns& columns, int top, const Bar& bar) {
  const int row = rowHeightOf(look.metrics);
  const int gap = look.metrics.averageCharWidth();
  painter.drawText(QRect(0, top, columns.words, row), Qt::AlignRight | Qt::AlignVCenter,
                   look.metrics.elidedText(bar.words, Qt::ElideRight, columns.words));
  const int length = std::max(
      1, static_cast<int>(static_cast<long long>(columns.longest) * bar.count / columns.most));
  painter.fillRect(QRect(columns.words + gap, top + row / 6, length, row - row / 3), look.bar);
  painter.drawText(QRect(columns.words + 2 * gap + length, top, columns.numbers + gap, row),
                   Qt::AlignLeft | Qt::AlignVCenter, qtText(groupedNumber(bar.count)));
}

}  // namespace

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

int BarChart::rowHeight() const { return rowHeightOf(fontMetrics()); }

QSize BarChart::sizeHint() const {
  const int rows = static_cast<int>(bars_.size());
  return {fontMetrics().averageCharWidth() * 60, rowHeight() * (rows + 2)};
}

QSize BarChart::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 36, sizeHint().height()};
}

void BarChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const Look look{font(), fontMetrics(), palette().color(QPalette::WindowText),
                  palette().color(QPalette::Highlight)};
  const int row = rowHeight();
  drawTitle(painter, look, 0, width(), title_);
  const Columns columns = columnsOf(bars_, look.metrics, width());
  int top = row + row / 4;
  for (const Bar& bar : bars_) {
    drawBar(painter, look, columns, top, bar);
    top += row;
  }
}

double BarChart::print(QPainter& painter, double top, double width, double height,
                       const std::function<bool()>& newSheet) const {
  if (bars_.empty()) return top;
  constexpr int kPoints = 10;
  QFont small = font();
  small.setPixelSize(kPoints);
  const Look look{small, QFontMetrics(small), Qt::black, QColor(0x4a, 0x6f, 0x8a)};
  const int row = rowHeightOf(look.metrics);
  const Columns columns = columnsOf(bars_, look.metrics, static_cast<int>(width));
  int at = static_cast<int>(top);
  bool isTitled = false;
  for (const Bar& bar : bars_) {
    // The title does not stand alone at the end of a sheet.
    if (at + (isTitled ? row : 3 * row) > height) {
      if (!newSheet()) return -1;
      at = 0;
    }
    if (!isTitled) {
      drawTitle(painter, look, at, static_cast<int>(width), title_);
      at += row + row / 4;
      isTitled = true;
    }
    drawBar(painter, look, columns, at, bar);
    at += row;
  }
  return at + row;
}

}  // namespace keldane
