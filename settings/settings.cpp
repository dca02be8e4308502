#include "settings/settings.h"

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

bool belongsToSystem(const std::string& key) {
  return key.starts_with("NS") || key.starts_with("Apple");
}

}  // namespace

Settings::Settings(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
                   UserInterface& ui, ProcessState& process)
    : session_(session),
      database_(database),
      prefs_(prefs),
      ui_(ui),
      process_(process),
      store_(session) {}

Fault Settings::sqlError() const {
  return {Fault::About::server, "SQL error: " + session_.error() + "\n"};
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

Faults Settings::savePrefButton() {
  // A folder may have been typed.
  archive.importFolderPath = form.importFolderTextField;
  clearImportWithoutFolder();
  return savePreferences();
}

Faults Settings::chooseDatabase(const std::string& title) {
  if (title == kChooseDatabaseTitle) return {};
  database_.dbPath = title;
  Faults faults = getCategories();
  append(faults, getSettings());
  getPrefs();
  return faults;
}

Faults Settings::chooseImportFolder(const std::string& folder) {
  form.importFolderTextField = folder;
  archive.importFolderPath = folder;
  Faults faults = saveSettings();
  append(faults, getSettings());
  return faults;
}

std::string Settings::copiesFolder() const { return supportFolder(process_) + "/Settings"; }

Result<std::string> Settings::copySettings() {
  std::string target =
      copiesFolder() + "/" + std::string(lastPathComponent(database_.dbPath)) + ".plist";
  const Result<void> made = makeFolders(copiesFolder());
  if (!made) return Failure{made.error()};
  const Result<std::string> bytes = readFile(prefs_.path());
  if (!bytes) return Failure{bytes.error()};
  // It holds the passwords, as the settings themselves do: for the user alone.
  if (const Result<void> copied = replaceFile(target, *bytes); !copied) {
    return Failure{copied.error()};
  }
  return target;
}

Result<PlistDict> Settings::readCopy(const std::string& path) {
  const Result<std::string> bytes = readFile(path);
  const Result<PlistValue> list = bytes ? parsePlist(*bytes) : Failure{bytes.error()};
  if (list && list->dict() != nullptr) return *list->dict();
  return Failure{"Could not load saved plist: " + printable(path)};
}

Result<void> Settings::replaceSettings(const PlistDict& copy) {
  // As the file stands now, so that nothing another program has added survives the replacement. A
  // damaged one is kept aside by the save.
  static_cast<void>(prefs_.load());
  for (const std::string& key : prefs_.keys()) {
    if (!belongsToSystem(key)) prefs_.remove(key);
  }
  for (const auto& [key, value] : copy) prefs_.set(key, value);
  if (const Result<void> saved = prefs_.save(); !saved) {
    return Failure{"The settings could not be replaced: " + saved.error()};
  }
  return {};
}

void Settings::chooseSetCat() {
  catTextField = setCatButton.title() == kNoCategoryTitle ? "" : setCatButton.title();
  ui_.changed("catTextField");
}

}  // namespace keldane
