#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "archive/server_session.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"
#include "query/search_form.h"

namespace keldane {

/// The controls of the statistics panel.
struct StatsForm {
  DateMenus dates;
  std::string limitSenderTextField = "10";
  bool statsByMailboxCheck = false;
  /// The mail of the last day counts. The panel leaves it out.
  bool includesLastDay = false;
};

/// What the report tells.
struct StatsFigures {
  struct Count {
    std::string name;
    int count = 0;
  };
  std::string firstDay;  ///< "2021-03-04"; empty: no mail
  std::string lastDay;
  int total = 0;
  int withAttachments = 0;
  int withTags = 0;
  int mailboxes = 0;
  std::vector<std::pair<int, int>> years;  ///< year, messages; years without any are left out
  std::vector<Count> senders;
  std::vector<Count> recipients;
  std::vector<Count> byMailbox;  ///< only when asked for
  bool complete = true;          ///< no statement has failed
};

/// The statistics panel and its plain-text report over the whole archive, laid out for a monospaced
/// font. A statement that fails leaves a line on standard error and counts as 0; the report goes
/// on. The last day of a range is left out, because the range ends at its beginning. Main thread.
class StatisticsReport {
 public:
  StatisticsReport(ServerSession& session, ProgressPanel& progress, UserInterface& ui,
                   std::function<void()> openDatabase)
      : session_(session), progress_(progress), ui_(ui), openDatabase_(std::move(openDatabase)) {}

  /// Shows the panel.
  void statisticsReport();
  /// Makes the report that the form asks for and shows it.
  void doStatsReport();
  /// The figures alone, from the database that is open.
  [[nodiscard]] StatsFigures figures(const StatsForm& asked);

  StatsForm form;
  std::string statsTextView;

 private:
  using Counts = std::vector<StatsFigures::Count>;

  [[nodiscard]] bool send(const std::string& sql);
  [[nodiscard]] std::string firstCell(const std::string& sql);
  [[nodiscard]] int number(const std::string& sql);
  [[nodiscard]] std::string dayOf(const std::string& sql);
  [[nodiscard]] int countRows(const std::string& sql);
  [[nodiscard]] Counts readCounts(const std::string& sql);
  [[nodiscard]] std::vector<std::pair<int, int>> readYears(int first, int last);
  [[nodiscard]] int nextYearWithMail(int year, int last);

  ServerSession& session_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  std::function<void()> openDatabase_;
  bool complete_ = true;
};

/// The report's text.
[[nodiscard]] std::string statsReportText(const StatsFigures& figures, const StatsForm& asked);

/// A whole number with a comma between the thousands.
[[nodiscard]] std::string groupedNumber(long long number);

}  // namespace keldane
