#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QWidget>

namespace keldane {

/// One bar of a picture: its words and how long it is.
struct Bar {
  QString words;
  int count = 0;
};

/// Figures as bars that lie one below the other, each with its words before it and its number
/// behind it, in the colours of the desktop's look. It is as high as its bars ask.
class BarChart : public QWidget {
 public:
  BarChart(const char* name, const QString& title, QWidget* parent);

  void setBars(std::vector<Bar> bars);

  /// Draws the picture for paper, from `top` on, `width` wide, in black; a sheet that is full is
  /// followed by another, which `newSheet` brings. All lengths are
  /// points. Answers where it ends; negative: there is no other sheet.
  [[nodiscard]] double print(QPainter& painter, double top, double width, double height,
                             const std::function<bool()>& newSheet) const;

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] int rowHeight() const;

  QString title_;
  std::vector<Bar> bars_;
};

}  // namespace keldane
