#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "base/result.h"
#include "platform/process_state.h"
#include "platform/user_interface.h"
#include "settings/preferences_file.h"
#include "settings/settings_store.h"
#include "settings/settings_values.h"

namespace keldane {

/// The two layers of settings and the order in which they are loaded and saved: the user's property
/// list, and the rows that each archive keeps for itself. Main thread; a run's worker only reads
/// `archive` and the lists, which do not change during a run.
///
/// The order of a connect: `getPrefs` has run before the archive is known, `getSettings` then
/// brings the archive's own values, and `getPrefs` and `savePreferences` follow, so that from the
/// first connect on every archive has its row.
class Settings {
 public:
  struct Callbacks {
    std::function<void()> markFirstRun;          ///< `getPrefs` has found no database at all
    std::function<void()> loadRulesAndSearches;  ///< part of `getPrefs`: rows of rules and searches
    std::function<void()> accountRowsStale;      ///< the selection table must be built again
    /// `savePrefButton`: `selectedMailboxes` with `mailboxesState` set, otherwise, with `postbox`
    /// below 1, `selectedAccounts`, from the rows whose check box is on.
    std::function<void()> rebuildSelection;
    /// `doPrefPanel`: the rows of accounts or mailboxes, each checked when it is in its list.
    std::function<void()> fillSelectionTable;
    std::function<void()> ensureMailboxNames;  ///< the rows of mailboxes, unless they are there
    std::function<void()> get500emails;
    std::function<void()> makeWorkFolder;  ///< a new work folder, as at the start
    std::function<bool()> desktopIsDark;   ///< empty: asked of the preferences
    std::function<void()> quitAndRelaunch;
  };

  Settings(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
           UserInterface& ui, ProcessState& process);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Property list to state and controls. Takes the archive settings of an older layout out of the
  /// property list, once; the next `saveSettings` puts them into the database.
  void getPrefs();
  /// Controls to state, to the property list, and to the archive's rows. False when one of them
  /// could not be written; the user has been told.
  bool savePreferences();
  /// The Save button. False as `savePreferences`.
  bool savePrefButton();
  /// Values of a first start.
  void resetPrefs();
  /// The archive's rows to state and controls. Without a row the state stays: a new archive takes
  /// over the settings of the one before.
  void getSettings();
  /// Whether the archive had a row of settings when they were read last.
  [[nodiscard]] bool archiveHasSettings() const { return hasRow_; }
  /// Saves what has changed since `getSettings`; what other programs have saved meanwhile stays.
  /// False when it could not be, with the archive's settings as they were; the alert has been
  /// shown.
  bool saveSettings();
  /// The categories in use, into the three menus. On failure the menus stay.
  void getCategories();
  /// The action of `setCatButton`.
  void chooseSetCat();
  /// Shows the settings window on the tab that `form.settingsToolbar` names.
  void doPrefPanel();
  void cancelPrefs();
  void saveSettingsCopy();
  /// The same without a word to the user: path of the copy.
  [[nodiscard]] Result<std::string> copySettings();
  void replaceSettingsCopy();
  /// The same with the file at hand, and without a word to the user. The program must be started
  /// anew to go by the new settings. Fails with the settings as they were.
  [[nodiscard]] Result<void> replaceSettingsWith(const std::string& path);
  /// Toggles the debug log, which lasts until the program ends.
  void setDebugLog();
  void openImportFolderPath();
  /// The action of `databasesPullDown`.
  void chooseDatabase(const std::string& title);
  /// Takes a dropped database out of the list and the menu.
  void forgetDatabase(const std::string& name);

  ArchiveSettings archive;
  UserSettings user;
  SettingsForm form;
  SettingsWindow window;
  std::vector<std::string> selectedAccounts;
  std::vector<std::string> selectedMailboxes;
  std::vector<std::string> categoryList;
  /// Titles of the category menus: "None", then the categories.
  std::vector<std::string> categoryTitles = {kNoCategoryTitle};
  CategoryMenu searchCatButton;
  CategoryMenu setCatButton;
  CategoryMenu ruleCatButton;
  std::string catTextField;
  /// Appearance of the program: dark, or light.
  bool darkAppearance = false;

 private:
  static void call(const std::function<void()>& callback) {
    if (callback) callback();
  }
  void sqlErrorAlert();
  void failureAlert(const std::string& text);

  // settings_prefs.cpp
  void beginFirstRun();
  void migrateOlderLayout();
  void readUserKeys();
  void readSchedule();
  void readFonts();
  void showSources();
  void showChecks();
  void showSelection();
  void showUserState();
  void applyAppearance();
  void noteDatabase();
  void readControls();
  void writeUserKeys();
  [[nodiscard]] bool toBeWritten(const char* key, bool changed) const;
  void fillDbPathFromPreference();

  // settings_rows.cpp
  [[nodiscard]] StoredSettings presentSettings() const;
  void fillCategoryMenus();
  void clearImportWithoutFolder();

  // settings_window.cpp
  Result<void> adoptCopy(const PlistDict& copy);
  void fillSettingsPanel();
  void showTab();
  [[nodiscard]] std::string copiesFolder() const;

  ServerSession& session_;
  ArchiveDatabase& database_;
  PreferencesFile& prefs_;
  UserInterface& ui_;
  ProcessState& process_;
  Callbacks callbacks_;
  SettingsStore store_;
  /// The archive's settings as they were read or saved last; nullopt when they could not be read.
  std::optional<StoredSettings> known_;
  bool hasRow_ = false;
  /// As the preferences were read or saved last: only what differs is written, since another
  /// program may have changed the rest.
  UserSettings knownUser_;
};

}  // namespace keldane
