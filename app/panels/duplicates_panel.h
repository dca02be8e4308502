#pragma once

#include <functional>
#include <string>

#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "query/duplicate_sweep.h"

namespace keldane {

/// `dupsPanel`: lists or deletes the messages that are stored twice, and shows in the result list
/// what it found. Main thread.
class DuplicatesPanel {
 public:
  struct Context {
    ServerSession& session;
    const ArchiveDatabase& database;
    const UserSettings& settings;
    ResultTable& table;
    ProgressPanel& progress;
    UserInterface& ui;
    std::function<void(const std::string& line)> storeLog;  ///< the run's log
  };

  explicit DuplicatesPanel(Context context) : context_(std::move(context)) {}

  void doCheckDups() { context_.ui.showPanel("dupsPanel"); }
  /// The start button. What a failure leaves undone has been shown.
  void checkDups();

  int deleteDupsMatrix = 1;  ///< column: 0 deletes the copies, any other only lists

 private:
  void showSqlError(const std::string& text);

  Context context_;
};

}  // namespace keldane
