#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/settings.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// Settings over a session and a home folder of a test's own, with a database named "mail".
template <typename Session>
struct SettingsRigOver {
  explicit SettingsRigOver(Session& sessionToUse) : session(sessionToUse) {
    process.homePath = folder.path();
    process.workFolder = "/work";
    database.dbPath = "mail";
  }

  TemporaryFolder folder;
  Session& session;
  ProcessState process;
  Progress progress;
  ArchiveDatabase database{session, progress, process};
  PreferencesFile prefs{folder / "prefs.plist"};
  Settings settings{session, database, prefs, process};
};

struct SettingsRig : private OwnScript, public SettingsRigOver<ScriptedSession> {
  SettingsRig() : SettingsRigOver(scripted) {}

  /// The statements of the settings alone, without those that open the database.
  [[nodiscard]] std::vector<std::string> settingsStatements() const {
    std::vector<std::string> found;
    for (const std::string& sql : session.statements()) {
      const bool opens = sql.starts_with("CREATE") || sql.starts_with("ALTER") ||
                         sql.starts_with("SHOW") || sql.starts_with("SELECT table_collation");
      if (!opens) found.push_back(sql);
    }
    return found;
  }
};

}  // namespace keldane
