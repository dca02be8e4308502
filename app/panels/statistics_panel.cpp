#include "app/panels/statistics_panel.h"

namespace keldane {

void StatisticsPanel::statisticsReport() { ui_.showPanel("statsPanel"); }

void StatisticsPanel::doStatsReport() {
  progress_.doProgressPanel("Generating Database Statistics Report...");
  openDatabase_();
  const StatsRequest request{dateRange(form.dates), false, form.limitSenderTextField,
                             form.statsByMailboxCheck};
  figures = findFigures(session_, request);
  statsTextView = statsReportText(figures, request);
  ui_.changed("statsTextView");
  progress_.close();
  ui_.showPanel("statsWindow");
}

}  // namespace keldane
