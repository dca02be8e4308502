#pragma once

#include <string>
#include <utility>
#include <vector>

#include "archive/server_session.h"
#include "query/date_range.h"

namespace keldane {

/// What a report is asked for.
struct StatsRequest {
  DateRange dates;
  bool includesLastDay = false;  ///< else the range ends at the beginning of its last day
  std::string top = "10";        ///< length of the lists; stands in the statement as it is
  bool byMailbox = false;
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

/// The figures of the open database. A statement that fails leaves a line on standard error and
/// counts as 0; the others go on.
[[nodiscard]] StatsFigures findFigures(ServerSession& session, const StatsRequest& request);

/// The report's text.
[[nodiscard]] std::string statsReportText(const StatsFigures& figures, const StatsRequest& request);

/// A whole number with a comma between the thousands.
[[nodiscard]] std::string groupedNumber(long long number);

}  // namespace keldane
