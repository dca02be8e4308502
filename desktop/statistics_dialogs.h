#pragma once

#include <functional>

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QPainter;
class QPlainTextEdit;
class QPrinter;

namespace keldane {

class BarChart;
class StatisticsPanel;

/// `statsPanel`: which days the statistics are about, and how much they list.
class StatisticsRequestDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(StatisticsRequestDialog)

 public:
  StatisticsRequestDialog(StatisticsPanel& panel, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  FormBinding form_;
};

/// `statsWindow`: the report as text, and beside it as pictures.
class StatisticsWindow : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(StatisticsWindow)

 public:
  /// `print` prints the report.
  StatisticsWindow(StatisticsPanel& panel, std::function<void()> print, QWidget* parent);
  void refresh() override;
  /// Draws the pictures on paper.
  [[nodiscard]] bool printPictures(QPrinter& printer, QPainter& painter) const;

 private:
  QWidget* makePictures();

  StatisticsPanel& panel_;
  QPlainTextEdit* text_;
  BarChart* years_ = nullptr;
  BarChart* senders_ = nullptr;
  BarChart* receivers_ = nullptr;
};

}  // namespace keldane
