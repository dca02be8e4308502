#pragma once

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
