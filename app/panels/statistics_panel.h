#pragma once

#include <functional>
#include <string>
#include <utility>

#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "query/date_range.h"
#include "query/statistics.h"

namespace keldane {

/// The controls of the statistics panel.
struct StatsForm {
  DateMenus dates;
  std::string limitSenderTextField = "10";
  bool statsByMailboxCheck = false;
};

/// The statistics panel and its plain-text report over the whole archive, laid out for a monospaced
/// font. The mail of a range's last day is left out. Main thread.
class StatisticsPanel {
 public:
  /// `openDatabase` readies the session; the report comes in any case.
  StatisticsPanel(ServerSession& session, ProgressPanel& progress, UserInterface& ui,
                  std::function<void()> openDatabase)
      : session_(session), progress_(progress), ui_(ui), openDatabase_(std::move(openDatabase)) {}

  /// Shows the panel.
  void statisticsReport();
  /// Makes the report that the form asks for and shows it.
  void doStatsReport();

  StatsForm form;
  std::string statsTextView;
  StatsFigures figures;  ///< of the report

 private:
  ServerSession& session_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  std::function<void()> openDatabase_;
};

}  // namespace keldane
