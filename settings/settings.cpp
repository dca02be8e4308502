#include "settings/settings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "base/files.h"
#include "base/text.h"
#include "settings/mail_folders.h"

namespace keldane {
namespace {

constexpr const char* kDefaultDatabase = "myemaildb";
constexpr const char* kFontName = "NSFontNameAttribute";
constexpr const char* kFontSize = "NSFontSizeAttribute";

struct UserKey {
  const char* name;
  int UserSettings::*member;
};

/// Keys that are read when they are not 0.
constexpr std::array<UserKey, 10> kKeysWhenSet = {{
    {"hoursState", &UserSettings::hoursState},
    {"setByDay", &UserSettings::setByDay},
    {"dateFormat", &UserSettings::dateFormat},
    {"separator", &UserSettings::separator},
    {"sortOrder", &UserSettings::sortOrder},
    {"sortFieldRow", &UserSettings::sortFieldRow},
    {"sortFieldCol", &UserSettings::sortFieldCol},
    {"launchAttachments", &UserSettings::launchAttachments},
    {"gmailLabels", &UserSettings::gmailLabels},
    {"hoursStep", &UserSettings::hoursStep},
}};
/// Keys that are on from the start, and so are read whenever they are there.
constexpr std::array<UserKey, 4> kKeysOnAtFirst = {{
    {"leaveLogState", &UserSettings::leaveLogState},
    {"keepDiffering", &UserSettings::keepDiffering},
    {"declaredCharsets", &UserSettings::declaredCharsets},
    {"indexRuns", &UserSettings::indexRuns},
}};
/// Keys that are written only, or read by a rule of their own.
constexpr std::array<UserKey, 4> kOtherKeys = {{
    {"schedMonth", &UserSettings::schedMonth},
    {"schedMday", &UserSettings::schedMday},
    {"showOnStartupState", &UserSettings::showOnStartupState},
    {"diskAccessState", &UserSettings::diskAccessState},
}};

struct ArchiveKey {
  const char* name;
  int ArchiveSettings::*member;
  bool removed;
};

/// The archive settings that the older layout held in the property list. Those that are not removed
/// stay there unread: they do no harm.
constexpr std::array<ArchiveKey, 20> kOlderKeys = {{
    {"attachState", nullptr, true},
    {"updatesState", &ArchiveSettings::updatesState, true},
    {"skipDupsState", &ArchiveSettings::skipDupsState, true},
    {"htmlState", &ArchiveSettings::htmlState, true},
    {"trashState", &ArchiveSettings::trashState, true},
    {"origState", &ArchiveSettings::origState, true},
    {"largeAttachState", &ArchiveSettings::largeAttachState, true},
    {"indexDateState", &ArchiveSettings::indexDateState, true},
    {"indexFromState", &ArchiveSettings::indexFromState, true},
    {"indexToState", &ArchiveSettings::indexToState, true},
    {"indexSubjectState", &ArchiveSettings::indexSubjectState, true},
    {"indexBodyState", &ArchiveSettings::indexBodyState, true},
    {"indexAttachNameState", &ArchiveSettings::indexAttachNameState, true},
    {"indexAttachConState", &ArchiveSettings::indexAttachConState, true},
    {"indexHeadingsState", &ArchiveSettings::indexHeadingsState, true},
    {"mailboxesState", &ArchiveSettings::mailboxesState, true},
    {"postbox", &ArchiveSettings::postbox, true},
    {"importFolderState", &ArchiveSettings::importFolderState, false},
    {"junkState", &ArchiveSettings::junkState, false},
    {"limitSearchState", &ArchiveSettings::limitSearchState, false},
}};

int intOf(const PreferencesFile& prefs, const char* key) {
  return static_cast<int>(prefs.integer(key).value_or(0));
}

std::vector<std::string> textsOf(const PlistValue* value) {
  std::vector<std::string> texts;
  if (value == nullptr || value->array() == nullptr) return texts;
  for (const PlistValue& item : *value->array()) {
    if (std::optional<std::string> text = item.text()) texts.push_back(std::move(*text));
  }
  return texts;
}

constexpr const char* kDatabases = "databases";

/// Adds to the list of databases; those that others have added stay.
void addNames(PlistDict& keys, const std::vector<std::string>& names) {
  PlistArray& list = listAt(keys, kDatabases);
  for (const std::string& name : names) {
    const PlistValue entry{name};
    if (std::find(list.begin(), list.end(), entry) == list.end()) list.push_back(entry);
  }
}

FontSetting fontOf(const PlistValue* attributes) {
  FontSetting font;
  if (attributes == nullptr || attributes->dict() == nullptr) return font;
  const PlistDict& dict = *attributes->dict();
  if (const auto name = dict.find(kFontName); name != dict.end()) {
    font.name = name->second.text().value_or(font.name);
  }
  if (const auto size = dict.find(kFontSize); size != dict.end()) {
    const double points = size->second.real().value_or(0);
    if (points > 0) font.size = points;
  }
  return font;
}

/// The font over the attributes that stand there, so that those of others stay.
PlistValue fontAttributes(const FontSetting& font, const PlistValue* present) {
  PlistDict dict;
  if (present != nullptr && present->dict() != nullptr) dict = *present->dict();
  dict.insert_or_assign(kFontName, PlistValue{font.name});
  dict.insert_or_assign(kFontSize, PlistValue{font.size});
  return {std::move(dict)};
}

Fault couldNotSave(const std::string& why) {
  return {Fault::About::settings, "The settings could not be saved: " + why};
}

/// The menu takes no title twice.
void addTitles(std::vector<std::string>& menu, const std::vector<std::string>& titles) {
  for (const std::string& title : titles) {
    if (std::find(menu.begin(), menu.end(), title) == menu.end()) menu.push_back(title);
  }
}

constexpr const char* kSelectCategories = "SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld";

bool belongsToSystem(const std::string& key) {
  return key.starts_with("NS") || key.starts_with("Apple");
}

}  // namespace

Settings::Settings(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
                   ProcessState& process)
    : session_(session), database_(database), prefs_(prefs), process_(process), store_(session) {}

Fault Settings::sqlError() const {
  return {Fault::About::server, "SQL error: " + session_.error() + "\n"};
}

// The preferences.

void Settings::fillDbPathFromPreference() {
  if (!database_.dbPath.empty()) return;
  database_.dbPath = prefs_.text("dbPath").value_or("");
}

void Settings::beginFirstRun() {
  resetPrefs();
  user.panelFont = user.listFont = user.bodyFont = FontSetting();
  user.diskAccessState = intOf(prefs_, "diskAccessState");
  prefs_.setInteger("diskAccessState", user.diskAccessState);
}

bool Settings::getPrefs() {
  fillDbPathFromPreference();
  const bool first = database_.dbPath.empty();
  if (first) beginFirstRun();
  if (process_.debugLogOn) process_.workFolder = process_.homePath + "/Desktop/";
  // Only the older layout has this key.
  if (prefs_.has("attachSize")) migrateOlderLayout();
  readUserKeys();
  readSchedule();
  readFonts();
  knownUser_ = user;
  // A stored 0 is no step, and gives way to the present one with the next save.
  if (prefs_.integer("hoursStep") == 0) knownUser_.hoursStep = 0;
  if (archive.mailboxesState != 0) {
    process_.tmpFilePath = process_.workFolder + "/" + database_.dbPath + ".tmp";
  } else if (archive.importFolderState == 0) {
    archive.importFolderPath.clear();
  }
  applyAppearance();
  return first;
}

void Settings::migrateOlderLayout() {
  archive.attachState = 1;
  for (const ArchiveKey& key : kOlderKeys) {
    const std::optional<std::int64_t> value = prefs_.integer(key.name);
    if (value && key.member != nullptr) archive.*key.member = static_cast<int>(*value);
  }
  archive.attachSize = prefs_.text("attachSize").value_or(archive.attachSize);
  archive.limitSearchSize = prefs_.text("limitSearchSize").value_or(archive.limitSearchSize);
  archive.browseNameString = prefs_.text("browseNameString").value_or("");
  const std::pair<const char*, std::vector<std::string>*> lists[] = {
      {"categories", &categoryList},
      {"accounts", &selectedAccounts},
      {"mailboxes", &selectedMailboxes}};
  for (const auto& [name, names] : lists) {
    if (prefs_.has(name)) *names = textsOf(prefs_.find(name));
    prefs_.remove(name);
  }
  for (const ArchiveKey& key : kOlderKeys) {
    if (key.removed) prefs_.remove(key.name);
  }
  prefs_.remove("attachSize");
  prefs_.remove("browseNameString");
}

void Settings::readUserKeys() {
  user.databaseList = textsOf(prefs_.find(kDatabases));
  user.mailFolders = readMailFolders(prefs_);
  for (const UserKey& key : kKeysWhenSet) {
    if (const int value = intOf(prefs_, key.name); value != 0) user.*key.member = value;
  }
  for (const UserKey& key : kKeysOnAtFirst) {
    if (prefs_.has(key.name)) user.*key.member = intOf(prefs_, key.name);
  }
  user.showOnStartupState = intOf(prefs_, "showOnStartupState");
  user.diskAccessState = intOf(prefs_, "diskAccessState");
}

void Settings::readSchedule() {
  const PlistValue* days = prefs_.find("scheddays");
  if (days != nullptr && days->array() != nullptr && !days->array()->empty()) {
    const PlistArray& stored = *days->array();
    for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
      user.scheddays[i] = i < stored.size() ? static_cast<int>(stored[i].integer().value_or(0)) : 0;
    }
  }
  const std::optional<std::string> value = prefs_.text("schedDateValue");
  if (!value) return;
  // "yyyy-MM-dd HH:mm:ss"
  user.schedTime = *value;
  user.schedHour = value->size() >= 13 ? value->substr(11, 2) : "";
  user.schedMinute = value->size() >= 16 ? value->substr(14, 2) : "";
}

void Settings::readFonts() {
  const std::pair<const char*, FontSetting*> fonts[] = {
      {"panelFont", &user.panelFont}, {"listFont", &user.listFont}, {"bodyFont", &user.bodyFont}};
  for (const auto& [key, font] : fonts) {
    if (prefs_.has(key)) *font = fontOf(prefs_.find(key));
    if (font->name.empty()) *font = FontSetting();
  }
}

void Settings::applyAppearance() {
  const bool desktopIsDark = prefs_.has("AppleInterfaceStyle");
  darkAppearance = archive.appearanceState == 2 || (archive.appearanceState != 1 && desktopIsDark);
}

void Settings::noteDatabase() {
  for (const std::string& name : user.databaseList) {
    // The server is asked for each name and its answer left alone: a database dropped behind our
    // back stays listed.
    const std::unique_ptr<ResultRows> rows = session_.listDatabases();
    while (rows != nullptr && rows->next()) {
      if (rows->cell(0) == name) break;
    }
  }
  if (!database_.dbPath.empty() && database_.remembered) {
    addTitles(user.databaseList, {database_.dbPath});
  }
}

Faults Settings::forgetDatabase(const std::string& name) {
  std::erase(user.databaseList, name);
  const Result<void> saved = prefs_.edit(
      [name](PlistDict& keys) { std::erase(listAt(keys, kDatabases), PlistValue{name}); });
  if (!saved) return {couldNotSave(saved.error())};
  return {};
}

bool Settings::toBeWritten(const char* key, bool changed) const {
  return changed || !prefs_.has(key);
}

void Settings::writeUserKeys() {
  if (user.listFont.name.empty()) user.listFont = fontOf(prefs_.find("listFont"));
  if (database_.remembered) prefs_.setText("dbPath", database_.dbPath);
  if (!user.schedTime.empty() &&
      toBeWritten("schedDateValue", user.schedTime != knownUser_.schedTime)) {
    prefs_.setText("schedDateValue", user.schedTime);
  }
  if (toBeWritten("scheddays", user.scheddays != knownUser_.scheddays)) {
    PlistArray days;
    for (const int day : user.scheddays) days.push_back({std::int64_t{day}});
    prefs_.set("scheddays", {std::move(days)});
  }
  const std::pair<const char*, FontSetting UserSettings::*> fonts[] = {
      {"listFont", &UserSettings::listFont}, {"bodyFont", &UserSettings::bodyFont}};
  for (const auto& [key, font] : fonts) {
    if (!toBeWritten(key, user.*font != knownUser_.*font)) continue;
    prefs_.set(key, fontAttributes(user.*font, prefs_.find(key)));
  }
  const auto writeAll = [this](const auto& keys) {
    for (const UserKey& key : keys) {
      if (!toBeWritten(key.name, user.*key.member != knownUser_.*key.member)) continue;
      prefs_.setInteger(key.name, user.*key.member);
    }
  };
  writeAll(kKeysWhenSet);
  writeAll(kKeysOnAtFirst);
  writeAll(kOtherKeys);
  knownUser_ = user;
  if (!prefs_.has("connections")) prefs_.set("connections", {PlistArray{}});
  // No update feed: an empty address keeps the update framework still.
  prefs_.setText("SUFeedURL", "");
  prefs_.setText("SUPublicDSAKeyFile", "dsa_pub.pem");
  prefs_.set("SSUCheckAtStartup", {true});
  prefs_.set("SUEnableAutomaticChecks", {false});
  prefs_.set("SUAutomaticallyUpdate", {false});
}

Faults Settings::savePreferences() {
  // Asked first: opening the database gives it a name.
  const bool unnamed = database_.dbPath.empty();
  noteDatabase();
  Faults faults = getCategories();
  // Attachments and the raw source are always kept.
  archive.attachState = archive.origState = 1;
  if (unnamed) {
    database_.dbPath = kDefaultDatabase;
    user.showOnStartupState = 1;
  }
  writeUserKeys();
  const Result<void> written =
      prefs_.edit([known = user.databaseList](PlistDict& keys) { addNames(keys, known); });
  if (!written) faults.push_back(couldNotSave(written.error()));
  append(faults, saveSettings());
  applyAppearance();
  return faults;
}

// The rows of the archive.

StoredSettings Settings::presentSettings() const {
  return {database_.dbPath, 1, archive, selectedAccounts, selectedMailboxes, categoryList};
}

Faults Settings::getSettings() {
  fillDbPathFromPreference();
  Faults faults;
  // A command that only reads has looked at the tables a moment ago.
  if (!database_.isOpen() || database_.opening == Opening::create) {
    faults = database_.openDatabase();
  }
  known_.reset();
  StoredSettings stored;
  stored.row = archive;
  const bool rowRead = store_.readRow(stored);
  if (!rowRead) faults.push_back(sqlError());
  hasRow_ = stored.rowCount > 0;
  if (hasRow_) {
    archive = stored.row;
    // Whatever the row holds: message text comes from HTML too, and the raw source is always kept.
    archive.htmlState = 1;
    archive.origState = 1;
  }
  if (archive.importFolderPath.empty()) archive.importFolderState = 0;
  const bool listsRead = store_.readAccounts(selectedAccounts) &&
                         store_.readMailboxes(selectedMailboxes) &&
                         store_.readCategories(categoryList);
  if (!listsRead) faults.push_back(sqlError());
  if (!rowRead || !listsRead) return faults;
  known_ = presentSettings();
  known_->rowCount = stored.rowCount;
  return faults;
}

Faults Settings::saveSettings() {
  // A dropped archive gives way to the next one, whose own settings stand.
  if (known_ && known_->database != database_.dbPath) {
    known_.reset();
    StoredSettings present;
    if (store_.readRow(present) && present.rowCount > 0) return getSettings();
  }
  const StoredSettings ours = presentSettings();
  const Result<void> saved = store_.save(known_ ? &*known_ : nullptr, ours);
  if (!saved) return {{Fault::About::server, saved.error()}};
  // As this program knows them: what others have changed meanwhile is theirs until it is read.
  known_ = ours;
  return {};
}

Faults Settings::getCategories() {
  Faults faults = database_.openDatabase();
  categoryList.clear();
  if (!session_.query(kSelectCategories)) {
    std::fprintf(stderr, "SQL error: %s, %s\n", session_.error().c_str(), kSelectCategories);
    return faults;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (rows == nullptr) {
    std::fprintf(stderr, "SQL error: %s\n", session_.error().c_str());
    return faults;
  }
  while (rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) categoryList.push_back(toUtf8(*cell));
  }
  categoriesInUse = categoryList;
  return faults;
}

// What the user does.

void Settings::resetPrefs() {
  archive.attachState = 1;
  archive.updatesState = 1;
  archive.skipDupsState = 0;
  archive.appearanceState = 0;
  archive.limitSearchState = 1;
  archive.limitSearchSize = "1000";
  user.launchAttachments = 0;
}

Result<MailFolder> Settings::addMailFolder(const MailFolder& wanted, const std::string& homePath) {
  Result<MailFolder> folder = makeMailFolder(wanted.path, wanted.name, user.mailFolders, homePath);
  if (!folder) return folder;
  const Result<void> kept = keepMailFolder(prefs_, *folder);
  user.mailFolders = readMailFolders(prefs_);
  if (!kept) return Failure{couldNotSave(kept.error()).text};
  return folder;
}

Result<void> Settings::removeMailFolder(const MailFolder& folder) {
  const Result<void> removed = forgetMailFolder(prefs_, folder);
  user.mailFolders = readMailFolders(prefs_);
  if (!removed) return Failure{couldNotSave(removed.error()).text};
  return {};
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

}  // namespace keldane
