#include "app/panels/database_panel.h"

#include "app/panels/fault_alerts.h"
#include "archive/archive_schema.h"

namespace keldane {

void DatabasePanel::showSchema() { ui_.alert({"Database Schema", schema::kSchemaText}); }

void DatabasePanel::deleteDatabase() {
  // The constant text is what the user sees; the title says what it is about.
  const int answer = ui_.alert({"Delete Database",
                                "Delete this database.",
                                AlertStyle::informational,
                                {"Delete", "Cancel"}});
  if (answer == kSecondButton) return;
  const std::string name = archiver_.database().dbPath;
  if (const Result<void> dropped = archiver_.database().dropDatabase(); !dropped) {
    ui_.alert(alertOf({Fault::About::server, "SQL error: " + dropped.error()}));
    return;
  }
  ui_.alert({"Database Deleted", "The " + name + " database has been deleted."});
  showFaults(archiver_.settings().forgetDatabase(name), archiver_.process(), ui_);
  settingsPanel_.savePreferences();
  settingsPanel_.getPrefs();
  settingsPanel_.refresh();
}

}  // namespace keldane
