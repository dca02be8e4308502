#include "settings/settings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "base/files.h"
#include "base/text.h"

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
constexpr std::array<UserKey, 9> kKeysWhenSet = {{
    {"hoursState", &UserSettings::hoursState},
    {"setByDay", &UserSettings::setByDay},
    {"dateFormat", &UserSettings::dateFormat},
    {"separator", &UserSettings::separator},
    {"sortOrder", &UserSettings::sortOrder},
    {"sortFieldRow", &UserSettings::sortFieldRow},
    {"sortFieldCol", &UserSettings::sortFieldCol},
    {"launchAttachments", &UserSettings::launchAttachments},
    {"hoursStep", &UserSettings::hoursStep},
}};
/// Keys that are on from the start, and so are read whenever they are there.
constexpr std::array<UserKey, 3> kKeysOnAtFirst = {{
    {"leaveLogState", &UserSettings::leaveLogState},
    {"keepDiffering", &UserSettings::keepDiffering},
    {"declaredCharsets", &UserSettings::declaredCharsets},
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

void Settings::showState() {
  fillDbPathFromPreference();
  // Left over from an older layout, where they are there.
  form.attachSizeTextField = prefs_.text("attachSize").value_or(archive.attachSize);
  form.limitSearchTextField = prefs_.text("limitSearchSize").value_or(archive.limitSearchSize);
  // What was typed and clicked before a cancel is no setting.
  form.importFolderTextField = archive.importFolderPath;
  form.schedTime = user.schedTime;
  for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
    form.schedChecks[i] = user.scheddays[i] != 0;
  }
  showChecks();
  showUserState();
}

void Settings::beginFirstRun() {
  resetPrefs();
  user.panelFont = user.listFont = user.bodyFont = FontSetting();
  user.diskAccessState = intOf(prefs_, "diskAccessState");
  prefs_.setInteger("diskAccessState", user.diskAccessState);
}

void Settings::getPrefs() {
  fillDbPathFromPreference();
  if (database_.dbPath.empty()) beginFirstRun();
  if (process_.debugLogOn) process_.workFolder = process_.homePath + "/Desktop/";
  // Only the older layout has this key.
  if (prefs_.has("attachSize")) migrateOlderLayout();
  readUserKeys();
  readSchedule();
  readFonts();
  knownUser_ = user;
  showChecks();
  showSelection();
  addTitles(form.databasesPullDown, user.databaseList);
  if (user.hoursStep == 0) user.hoursStep = leadingInt(form.hoursTextField);
  showUserState();
  call(callbacks_.loadRulesAndSearches);
  applyAppearance();
}

void Settings::migrateOlderLayout() {
  archive.attachState = 1;
  for (const ArchiveKey& key : kOlderKeys) {
    const std::optional<std::int64_t> value = prefs_.integer(key.name);
    if (value && key.member != nullptr) archive.*key.member = static_cast<int>(*value);
  }
  form.attachSizeTextField = archive.attachSize =
      prefs_.text("attachSize").value_or(archive.attachSize);
  form.limitSearchTextField = archive.limitSearchSize =
      prefs_.text("limitSearchSize").value_or(archive.limitSearchSize);
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
  for (const UserKey& key : kKeysWhenSet) {
    if (const int value = intOf(prefs_, key.name); value != 0) user.*key.member = value;
  }
  // A stored 0 is no step: the field says how many hours.
  if (prefs_.has("hoursStep") && intOf(prefs_, "hoursStep") == 0) user.hoursStep = 0;
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
      form.schedChecks[i] = user.scheddays[i] != 0;
    }
  }
  const std::optional<std::string> value = prefs_.text("schedDateValue");
  if (!value) return;
  // "yyyy-MM-dd HH:mm:ss"
  user.schedTime = form.schedTime = *value;
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

void Settings::showSources() {
  form.trashCheck = archive.trashState != 0;
  form.junkCheck = archive.junkState != 0;
  form.largeAttachCheck = archive.largeAttachState != 0;
  form.importFolderCheck = archive.importFolderState != 0;
  form.deleteFolderCheck = archive.deleteFolderState != 0;
}

void Settings::showChecks() {
  showSources();
  form.updatesCheck = archive.updatesState != 0;
  form.skipDupsCheck = archive.skipDupsState != 0;
  form.limitSearchCheck = archive.limitSearchState != 0;
  form.launchAttachCheck = user.launchAttachments != 0;
  form.keepDifferingCheck = user.keepDiffering != 0;
  form.declaredCharsetsCheck = user.declaredCharsets != 0;
  form.showOnStartupCheck = user.showOnStartupState != 0;
  form.everyHourCheck = user.hoursState != 0;
  form.selectEmailAppMatrix = archive.postbox;
  form.selectAppearanceMatrix = archive.appearanceState;
  form.selectAcctsMboxMatrix = archive.mailboxesState != 0 ? 1 : 0;
}

void Settings::showSelection() {
  if (archive.mailboxesState != 0) {
    process_.tmpFilePath = process_.workFolder + "/" + database_.dbPath + ".tmp";
  } else if (archive.importFolderState == 0) {
    archive.importFolderPath.clear();
    form.importFolderTextField.clear();
  }
}

void Settings::showUserState() {
  form.hoursTextField = form.hoursStepper = std::to_string(user.hoursStep);
  form.dateFormats = user.dateFormat;
  form.separators = user.separator;
  form.sortOrderMatrix = user.sortOrder;
  form.sortFieldMatrixRow = user.sortFieldRow;
  form.sortFieldMatrixCol = user.sortFieldCol;
  form.leaveLogCheck = user.leaveLogState != 0;
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
  addTitles(form.databasesPullDown, user.databaseList);
}

Faults Settings::forgetDatabase(const std::string& name) {
  std::erase(user.databaseList, name);
  const Result<void> saved = prefs_.edit(
      [name](PlistDict& keys) { std::erase(listAt(keys, kDatabases), PlistValue{name}); });
  std::erase(form.databasesPullDown, name);
  if (!saved) return {couldNotSave(saved.error())};
  return {};
}

void Settings::readControls() {
  archive.attachState = 1;
  // The raw source is always kept.
  archive.origState = 1;
  archive.trashState = form.trashCheck ? 1 : 0;
  archive.junkState = form.junkCheck ? 1 : 0;
  archive.largeAttachState = form.largeAttachCheck ? 1 : 0;
  archive.updatesState = form.updatesCheck ? 1 : 0;
  archive.importFolderState = form.importFolderCheck ? 1 : 0;
  archive.importFolderPath = form.importFolderTextField;
  archive.deleteFolderState = form.deleteFolderCheck ? 1 : 0;
  archive.skipDupsState = form.skipDupsCheck ? 1 : 0;
  archive.limitSearchState = form.limitSearchCheck ? 1 : 0;
  archive.mailboxesState = form.selectAcctsMboxMatrix;
  archive.postbox = form.selectEmailAppMatrix;
  archive.appearanceState = form.selectAppearanceMatrix;
  user.launchAttachments = form.launchAttachCheck ? 1 : 0;
  user.keepDiffering = form.keepDifferingCheck ? 1 : 0;
  user.declaredCharsets = form.declaredCharsetsCheck ? 1 : 0;
  user.showOnStartupState = form.showOnStartupCheck ? 1 : 0;
  user.schedTime = form.schedTime;
  for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
    user.scheddays[i] = form.schedChecks[i] ? 1 : 0;
  }
  user.hoursState = form.everyHourCheck ? 1 : 0;
  user.dateFormat = form.dateFormats;
  user.separator = form.separators;
  user.sortOrder = form.sortOrderMatrix;
  user.sortFieldRow = form.sortFieldMatrixRow;
  user.sortFieldCol = form.sortFieldMatrixCol;
  user.hoursStep = leadingInt(form.hoursTextField);
  user.leaveLogState = form.leaveLogCheck ? 1 : 0;
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
  addTitles(searchCatButton.titles, categoryList);
  addTitles(setCatButton.titles, categoryList);
  readControls();
  if (unnamed) {
    database_.dbPath = kDefaultDatabase;
    user.showOnStartupState = 1;
    form.showOnStartupCheck = true;
  }
  archive.attachSize = form.attachSizeTextField;
  archive.limitSearchSize = form.limitSearchTextField;
  writeUserKeys();
  const Result<void> written =
      prefs_.edit([known = user.databaseList](PlistDict& keys) { addNames(keys, known); });
  if (!written) faults.push_back(couldNotSave(written.error()));
  append(faults, saveSettings());
  form.largeAttachCheckEnabled = archive.attachState != 0;
  applyAppearance();
  return faults;
}

// The rows of the archive.

void Settings::clearImportWithoutFolder() {
  if (!archive.importFolderPath.empty()) return;
  archive.importFolderState = 0;
  form.importFolderCheck = false;
}

StoredSettings Settings::presentSettings() const {
  return {database_.dbPath, 1, archive, selectedAccounts, selectedMailboxes, categoryList};
}

Faults Settings::getSettings() {
  fillDbPathFromPreference();
  Faults faults = database_.openDatabase();
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
  form.attachSizeTextField = archive.attachSize;
  form.limitSearchTextField = archive.limitSearchSize;
  form.importFolderTextField = archive.importFolderPath;
  // The choice takes effect when it is clicked, so that the control never holds anything unsaved.
  form.selectAcctsMboxMatrix = archive.mailboxesState != 0 ? 1 : 0;
  clearImportWithoutFolder();
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
  fillCategoryMenus();
  return faults;
}

void Settings::fillCategoryMenus() {
  categoryTitles = {kNoCategoryTitle};
  for (const std::string& category : categoryList) {
    if (category != kNoCategoryTitle) categoryTitles.push_back(category);
  }
  for (CategoryMenu* menu : {&searchCatButton, &setCatButton, &ruleCatButton}) {
    menu->titles = categoryTitles;
    menu->selected = 0;
  }
}

// What the user does.

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

}  // namespace keldane
