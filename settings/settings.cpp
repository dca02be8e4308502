#include "settings/settings.h"

#include <cstdio>

namespace keldane {

Settings::Settings(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
                   UserInterface& ui, ProcessState& process)
    : session_(session),
      database_(database),
      prefs_(prefs),
      ui_(ui),
      process_(process),
      store_(session) {}

void Settings::sqlErrorAlert() {
  ui_.alert({"SQL Error", "SQL error: " + session_.error() + "\n", AlertStyle::critical, {"OK"}});
}

void Settings::failureAlert(const std::string& text) {
  // Nobody is there to answer an alert of an unattended run.
  if (process_.unattendedRun != 0) {
    std::fprintf(stderr, "%s\n", text.c_str());
    return;
  }
  ui_.alert({"Settings", text, AlertStyle::critical, {"OK"}});
}

void Settings::resetPrefs() {
  archive.attachState = 1;
  archive.updatesState = 1;
  form.updatesCheck = true;
  archive.skipDupsState = 0;
  form.skipDupsCheck = false;
  archive.appearanceState = 0;
  form.selectAppearanceMatrix = 0;
  archive.limitSearchState = 1;
  form.limitSearchCheck = true;
  archive.limitSearchSize = "1000";
  form.limitSearchTextField = archive.limitSearchSize;
  showSources();
  form.launchAttachCheck = false;
  call(callbacks_.accountRowsStale);
}

bool Settings::savePrefButton() {
  call(callbacks_.rebuildSelection);
  // A folder may have been typed.
  archive.importFolderPath = form.importFolderTextField;
  clearImportWithoutFolder();
  const bool saved = savePreferences();
  call(callbacks_.get500emails);
  if (process_.unattendedRun == 0) {
    ui_.alert({"Settings Saved", "The Settings have been saved."});
  }
  return saved;
}

void Settings::chooseDatabase(const std::string& title) {
  if (title == kChooseDatabaseTitle) return;
  database_.dbPath = title;
  getCategories();
  getSettings();
  getPrefs();
}

void Settings::chooseSetCat() {
  catTextField = setCatButton.title() == kNoCategoryTitle ? "" : setCatButton.title();
  ui_.changed("catTextField");
}

}  // namespace keldane
