#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "archive/archive_database.h"
#include "platform/local_main_queue.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"
#include "tests/ingest/server_database.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// What panels stand on, over a session of the test's choice: an archive named "mail", a result
/// list, settings, and surroundings that write down what they are asked.
struct PanelsOver {
  explicit PanelsOver(ServerSession& sessionToUse) : session(sessionToUse) {
    database.dbPath = "mail";
    process.homePath = folder.path();
    process.workFolder = folder / "work";
    host.mailApplication = false;
  }

  ServerSession& session;
  TemporaryFolder folder;
  RecordingUserInterface ui;
  RecordingHostServices host;
  RecordingToolRunner tools;
  LocalMainQueue queue;
  ProcessState process;
  FakeEnvironment environment;
  std::vector<std::string> log;
  ProgressPanel progress{ui, queue};
  PreferencesFile prefs{folder / "prefs.plist"};
  ArchiveDatabase database{session, progress, process};
  Settings settings{session, database, prefs, process};
  ResultTable list{{session, database, settings.user, progress, ui, process,
                    [this](const std::string& line) { log.push_back(line); }}};
};

/// The same over a session without a server.
struct ScriptedPanels : OwnScript, PanelsOver {
  ScriptedPanels() : PanelsOver(scripted) {}
};

struct OwnDatabase {
  ServerDatabase db;
};

/// The same over a database with the archive's tables on the test server.
struct ServerPanels : OwnDatabase, PanelsOver {
  ServerPanels() : PanelsOver(*db.session) {}
  void run(const std::string& sql) { ASSERT_TRUE(session.query(sql)) << session.error(); }
};

}  // namespace keldane
