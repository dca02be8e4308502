#pragma once

#include <optional>
#include <string>
#include <vector>

#include "archive/archive_database.h"
#include "archive/fault.h"
#include "archive/server_session.h"
#include "base/result.h"
#include "platform/process_state.h"
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
  Settings(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
           ProcessState& process);

  /// Property list to state. Takes the archive settings of an older layout out of the property
  /// list, once; the next `saveSettings` puts them into the database. True when there was no
  /// database yet, so that the values are those of a first start.
  bool getPrefs();
  /// State to the property list and to the archive's rows.
  [[nodiscard]] Faults savePreferences();
  /// Values of a first start. The rows of accounts, where some are shown, must be made again.
  void resetPrefs();
  /// The archive's rows to state. Without a row the state stays: a new archive takes over the
  /// settings of the one before.
  [[nodiscard]] Faults getSettings();
  /// Whether the archive had a row of settings when they were read last.
  [[nodiscard]] bool archiveHasSettings() const { return hasRow_; }
  /// Saves what has changed since `getSettings`; what other programs have saved meanwhile stays.
  /// After a fault the archive's settings are as they were.
  [[nodiscard]] Faults saveSettings();
  /// The categories in use to `categoryList`, which is empty when the server refuses.
  [[nodiscard]] Faults getCategories();
  /// Copies the preferences under the name of the database: path of the copy.
  [[nodiscard]] Result<std::string> copySettings();
  [[nodiscard]] std::string copiesFolder() const;
  [[nodiscard]] static Result<PlistDict> readCopy(const std::string& path);
  /// Replaces the preferences by a copy. The program must be started anew to go by them. Fails with
  /// the preferences as they were.
  [[nodiscard]] Result<void> replaceSettings(const PlistDict& copy);
  /// Takes a dropped database out of the list.
  [[nodiscard]] Faults forgetDatabase(const std::string& name);
  /// Keeps a folder or file of mail as a source, or no longer, at once. Without a name it gets one.
  /// Fails, with what is wrong or to do, and the sources as they were.
  [[nodiscard]] Result<MailFolder> addMailFolder(const MailFolder& wanted,
                                                 const std::string& homePath);
  [[nodiscard]] Result<void> removeMailFolder(const MailFolder& folder);

  ArchiveSettings archive;
  UserSettings user;
  std::vector<std::string> selectedAccounts;
  std::vector<std::string> selectedMailboxes;
  std::vector<std::string> categoryList;
  /// The categories as the server told them last, for menus.
  std::vector<std::string> categoriesInUse;
  /// Appearance of the program: dark, or light.
  bool darkAppearance = false;

 private:
  [[nodiscard]] Fault sqlError() const;

  void beginFirstRun();
  void migrateOlderLayout();
  void readUserKeys();
  void readSchedule();
  void readFonts();
  void applyAppearance();
  void noteDatabase();
  void writeUserKeys();
  [[nodiscard]] bool toBeWritten(const char* key, bool changed) const;
  void fillDbPathFromPreference();
  [[nodiscard]] StoredSettings presentSettings() const;

  ServerSession& session_;
  ArchiveDatabase& database_;
  PreferencesFile& prefs_;
  ProcessState& process_;
  SettingsStore store_;
  /// The archive's settings as they were read or saved last; nullopt when they could not be read.
  std::optional<StoredSettings> known_;
  bool hasRow_ = false;
  /// As the preferences were read or saved last: only what differs is written, since another
  /// program may have changed the rest.
  UserSettings knownUser_;
};

}  // namespace keldane
