#include "app/panels/statistics_panel.h"

#include "query/statistics.h"

namespace keldane {

void StatisticsPanel::statisticsReport() { ui_.showPanel("statsPanel"); }

void StatisticsPanel::doStatsReport() {
  progress_.doProgressPanel("Generating Database Statistics Report...");
  openDatabase_();
  const StatsRequest request{dateRange(form.dates), false, form.limitSenderTextField,
                             form.statsByMailboxCheck};
  statsTextView = statsReportText(findFigures(session_, request), request);
  ui_.changed("statsTextView");
  progress_.close();
  ui_.showPanel("statsWindow");
}

}  // namespace keldane
