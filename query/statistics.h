#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/server_session.h"
#include "query/search_form.h"

namespace keldane {

/// The controls of the statistics panel.
struct StatsForm {
  DateMenus dates;
  std::string limitSenderTextField = "10";
  bool statsByMailboxCheck = false;
};

/// A plain-text report over the whole archive, laid out for a monospaced font. A statement that
/// fails leaves a line on standard error and counts as 0; the report goes on. The last day of a
/// range is left out, because the range ends at its beginning. Main thread.
class StatisticsReport {
 public:
  explicit StatisticsReport(ServerSession& session) : session_(session) {}

  [[nodiscard]] std::string doStatsReport(const StatsForm& form);

 private:
  using Counts = std::vector<std::pair<std::string, std::string>>;  // name, count

  [[nodiscard]] std::string firstCell(const std::string& sql, bool& worked);
  [[nodiscard]] std::string dayOf(const std::string& sql);
  [[nodiscard]] int countRows(const std::string& sql);
  [[nodiscard]] Counts readCounts(const std::string& sql);
  void appendYears(std::string& report, const std::string& first, const std::string& last);

  ServerSession& session_;
};

/// A whole number with a comma between the thousands.
[[nodiscard]] std::string groupedNumber(long long number);

}  // namespace keldane
