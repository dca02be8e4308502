#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "platform/local_main_queue.h"
#include "platform/process_state.h"
#include "query/duplicate_sweep.h"
#include "tests/support/recording_user_interface.h"

namespace keldane {

/// A sweep with all it needs, over any session.
struct SweepRig {
  explicit SweepRig(ServerSession& session)
      : progress(ui, queue),
        list(session, progress, ui, process),
        sweep(session, list, progress, ui,
              {.dbPath = [] { return std::string("mail"); },
               .storeLog = [this](const std::string& line) { log.push_back(line); },
               .clearMessageViews = [this] { ++cleared; }}) {}

  /// Ids and dates of the list.
  [[nodiscard]] std::vector<std::string> shown() const {
    std::vector<std::string> rows;
    for (const Emailrow& row : list.emailRows) {
      rows.push_back(fmt::format("{} {} {}", row.emailID, row.emailDate, row.emailMailbox));
    }
    return rows;
  }

  ProcessState process;
  LocalMainQueue queue;
  RecordingUserInterface ui;
  ProgressPanel progress;
  ResultList list;
  std::vector<std::string> log;
  int cleared = 0;
  DuplicateSweep sweep;
};

}  // namespace keldane
