#pragma once

#include <string>

#include "app/archiver.h"
#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "output/database_tools.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The controls of `IdPanel`.
struct IdForm {
  std::string idTextField;
  std::string dbNameTextField;
};

/// The menu's operations that carry archives to and from SQL files, and `IdPanel`, which asks for
/// the name and the first id of an export. Each of them blocks until it is done. Main thread.
class SqlFiles {
 public:
  struct Context {
    Archiver& archiver;
    ResultTable& table;
    ProgressPanel& progress;
    UserInterface& ui;
    ToolRunner& tools;
    Environment& environment;
    HostServices& host;
  };

  explicit SqlFiles(Context context) : context_(context) {}

  /// Writes the list's messages as a script that makes a database, in the order shown.
  void exportSQL();
  /// Reads a script into the server in use.
  void importSQL();
  /// Writes the whole database that is in use.
  void backupSQL();

  // The buttons of `IdPanel`.
  void gotID();
  void cancelID();

  IdForm form;

 private:
  [[nodiscard]] bool asksForId();
  [[nodiscard]] ToolContext toolContext(Progress& progress);
  [[nodiscard]] bool findsTool(const char* name, const std::string& what);
  void fail(const std::string& title, const std::string& text);
  void finish(const std::string& title, const std::string& path);

  Context context_;
  int modalCode_ = 0;
};

}  // namespace keldane
