#include "settings/settings_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <thread>
#include <variant>

#include "archive/sql_values.h"
#include "archive/turns.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kSelectSettings =
    "SELECT attachState,htmlState,origState,trashState,largeAttachState,attachSize,updatesState,"
    "browseNameString,indexDateState,indexFromState,indexToState,indexSubjectState,indexBodyState,"
    "indexAttachNameState,indexAttachConState,mailboxesState,importFolderState,importFolderPath,"
    "skipDupsState,indexHeadingsState,deleteFolderState,limitSearchState,limitSearchSize,junkState,"
    "postbox,appearanceState FROM settings";
constexpr std::string_view kInsertSettings =
    "INSERT INTO settings (attachState,htmlState,origState,trashState,largeAttachState,attachSize,"
    "updatesState,browseNameString,indexDateState,indexFromState,indexToState,indexSubjectState,"
    "indexBodyState,indexAttachNameState,indexAttachConState,mailboxesState,importFolderState,"
    "importFolderPath,skipDupsState,indexHeadingsState,deleteFolderState,limitSearchState,"
    "limitSearchSize,junkState,postbox,appearanceState) VALUES(";
constexpr const char* kLockPrefix = "keldane settings ";
/// MySQL takes no longer name; two archives that share a lock only wait for each other.
constexpr std::size_t kLongestLockName = 64;
constexpr const char* kLockSeconds = "20";
/// Without a lock each writing is looked at again; so often.
constexpr int kAttemptsWithoutLock = 3;

/// A row that each writer counts up within its transaction. One server makes the second of two
/// wait, and the nodes of a cluster, among whom no named lock holds, make it begin again.
constexpr const char* kTakeTurn =
    "INSERT INTO keldane_turns (name,turn) VALUES('settings',1) ON DUPLICATE KEY UPDATE "
    "turn=turn+1";
constexpr unsigned kNoSuchTable = 1146;
constexpr unsigned kLockTimeout = 1205;
constexpr unsigned kDeadlock = 1213;
constexpr int kMostTurns = 20;
constexpr std::chrono::milliseconds kBetweenTurns{15};

using Names = std::vector<std::string>;
using Number = int ArchiveSettings::*;
using Text = std::string ArchiveSettings::*;

/// The columns in the order of both statements.
constexpr std::array<std::variant<Number, Text>, 26> kColumns = {
    &ArchiveSettings::attachState,
    &ArchiveSettings::htmlState,
    &ArchiveSettings::origState,
    &ArchiveSettings::trashState,
    &ArchiveSettings::largeAttachState,
    &ArchiveSettings::attachSize,
    &ArchiveSettings::updatesState,
    &ArchiveSettings::browseNameString,
    &ArchiveSettings::indexDateState,
    &ArchiveSettings::indexFromState,
    &ArchiveSettings::indexToState,
    &ArchiveSettings::indexSubjectState,
    &ArchiveSettings::indexBodyState,
    &ArchiveSettings::indexAttachNameState,
    &ArchiveSettings::indexAttachConState,
    &ArchiveSettings::mailboxesState,
    &ArchiveSettings::importFolderState,
    &ArchiveSettings::importFolderPath,
    &ArchiveSettings::skipDupsState,
    &ArchiveSettings::indexHeadingsState,
    &ArchiveSettings::deleteFolderState,
    &ArchiveSettings::limitSearchState,
    &ArchiveSettings::limitSearchSize,
    &ArchiveSettings::junkState,
    &ArchiveSettings::postbox,
    &ArchiveSettings::appearanceState,
};

void assign(ArchiveSettings& archive, const std::variant<Number, Text>& column,
            std::string_view cell) {
  if (const Number* number = std::get_if<Number>(&column)) {
    archive.*(*number) = leadingInt(cell);
  } else {
    archive.*std::get<Text>(column) = toUtf8(cell);
  }
}

/// The values of the INSERT. Texts go in as they stand, the browse name escaped.
std::string valuesOf(const ArchiveSettings& archive) {
  std::string values;
  for (const std::variant<Number, Text>& column : kColumns) {
    if (!values.empty()) values += ',';
    if (const Number* number = std::get_if<Number>(&column)) {
      values += std::to_string(archive.*(*number));
      continue;
    }
    const Text text = std::get<Text>(column);
    values += '"';
    const bool escaped = text == &ArchiveSettings::browseNameString;
    values += escaped ? escapeInline(archive.*text) : archive.*text;
    values += '"';
  }
  return values;
}

bool contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// What was added and taken away between `known` and `ours`, done to `now`.
Names merged(const Names& known, const Names& ours, const Names& now) {
  if (now == known) return ours;
  Names names;
  for (const std::string& name : now) {
    const bool removed = contains(known, name) && !contains(ours, name);
    if (!removed) names.push_back(name);
  }
  for (const std::string& name : ours) {
    if (!contains(known, name) && !contains(names, name)) names.push_back(name);
  }
  return names;
}

StoredSettings merged(const StoredSettings& known, const StoredSettings& ours,
                      const StoredSettings& now) {
  StoredSettings wanted = now;
  if (now.rowCount == 0) wanted.row = ours.row;
  for (const std::variant<Number, Text>& column : kColumns) {
    std::visit(
        [&](auto member) {
          if (ours.row.*member != known.row.*member) wanted.row.*member = ours.row.*member;
        },
        column);
  }
  wanted.accounts = merged(known.accounts, ours.accounts, now.accounts);
  wanted.mailboxes = merged(known.mailboxes, ours.mailboxes, now.mailboxes);
  wanted.categories = merged(known.categories, ours.categories, now.categories);
  return wanted;
}

Result<void> checkNames(const char* what, const Names& names, std::size_t width) {
  for (const std::string& name : names) {
    if (Result<void> fits = checkWidth(what, name, width); !fits) return fits;
  }
  return {};
}

/// A text that goes into its statement as it stands must not end it.
Result<void> checkPlain(const char* what, const std::string& text, std::size_t width) {
  if (text.find_first_of("\"\\") == std::string::npos) return checkWidth(what, text, width);
  return Failure{std::string(what) + " \"" + printable(text) +
                 "\" cannot be kept: there is a double quote or a backslash in it"};
}

Result<void> checkTexts(const StoredSettings& settings) {
  const ArchiveSettings& row = settings.row;
  Result<void> checks[] = {
      checkPlain("the size", row.attachSize, kWidthOfSettingNumber),
      checkPlain("the limit", row.limitSearchSize, kWidthOfSettingNumber),
      checkPlain("the import folder", row.importFolderPath, kWidthOfImportFolder),
      checkWidth("the name of the search", row.browseNameString, kWidthOfBrowseName),
      checkNames("the account", settings.accounts, kWidthOfAccount),
      checkNames("the mailbox", settings.mailboxes, kWidthOfMailbox),
      checkNames("the category", settings.categories, kWidthOfCategory)};
  for (Result<void>& check : checks) {
    if (!check) return check;
  }
  return {};
}

std::string lockStatement(const char* function, const std::string& name, const char* rest) {
  return std::string("SELECT ") + function + "('" + name + "'" + rest + ")";
}

}  // namespace

Result<void> checkWidth(const char* what, std::string_view text, std::size_t width) {
  const std::size_t length = utf16Length(text);
  if (length <= width) return {};
  return Failure{std::string(what) + " \"" + printable(text) + "\" cannot be kept: it has " +
                 std::to_string(length) + " characters, and there is room for " +
                 std::to_string(width)};
}

bool StoredSettings::sameAs(const StoredSettings& other) const {
  return rowCount == other.rowCount && row == other.row && accounts == other.accounts &&
         mailboxes == other.mailboxes && categories == other.categories;
}

bool SettingsStore::readRow(StoredSettings& into) {
  into.rowCount = 0;
  if (!session_.query(kSelectSettings)) return false;
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  while (rows != nullptr && rows->next()) {
    if (++into.rowCount > 1) continue;
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      if (const std::optional<std::string_view> cell = rows->cell(i)) {
        assign(into.row, kColumns[i], *cell);
      }
    }
  }
  return true;
}

bool SettingsStore::readNames(const char* sql, Names& names) {
  names.clear();
  if (!session_.query(sql)) return false;
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  while (rows != nullptr && rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) names.push_back(toUtf8(*cell));
  }
  return true;
}

bool SettingsStore::readAccounts(Names& names) {
  return readNames("SELECT * FROM accounts", names);
}

bool SettingsStore::readMailboxes(Names& names) {
  return readNames("SELECT * FROM mailboxes", names);
}

bool SettingsStore::readCategories(Names& names) {
  return readNames("SELECT * FROM categories", names);
}

bool SettingsStore::read(StoredSettings& into) {
  return readRow(into) && readAccounts(into.accounts) && readMailboxes(into.mailboxes) &&
         readCategories(into.categories);
}

SettingsStore::Lock SettingsStore::takeLock(const std::string& name) {
  if (!session_.query(lockStatement("GET_LOCK", name, (std::string(",") + kLockSeconds).c_str()))) {
    return Lock::unavailable;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (rows == nullptr || !rows->next() || !rows->cell(0)) return Lock::unavailable;
  return *rows->cell(0) == "1" ? Lock::held : Lock::busy;
}

Result<void> SettingsStore::save(const StoredSettings* known, const StoredSettings& ours) {
  if (known != nullptr && known->rowCount == 1 && known->sameAs(ours)) return {};
  if (Result<void> fit = checkTexts(ours); !fit) return fit;
  const std::string name = (kLockPrefix + ours.database).substr(0, kLongestLockName);
  const Lock lock = takeLock(name);
  if (lock == Lock::busy) {
    return Failure{"another program is saving the settings of this archive; they are as they were"};
  }
  Attempt attempt = saveInTurn(known, ours);
  // A server without named locks: somebody else may have come between the reading and the writing.
  for (int i = 1; i < kAttemptsWithoutLock && lock != Lock::held && attempt.saved && attempt.wrote;
       ++i) {
    attempt = saveInTurn(known == nullptr ? &ours : known, ours);
  }
  if (lock == Lock::held && session_.query(lockStatement("RELEASE_LOCK", name, ""))) {
    static_cast<void>(session_.storeResult());
  }
  return attempt.saved;
}

/// Begins again where the writing of another program came first.
SettingsStore::Attempt SettingsStore::saveInTurn(const StoredSettings* known,
                                                 const StoredSettings& ours) {
  Attempt attempt = saveOnce(known, ours);
  for (int i = 1; i < kMostTurns && attempt.cameSecond; ++i) {
    std::this_thread::sleep_for(kBetweenTurns * i);
    attempt = saveOnce(known, ours);
  }
  return attempt;
}

SettingsStore::Attempt SettingsStore::saveOnce(const StoredSettings* known,
                                               const StoredSettings& ours) {
  // So that nobody sees the tables between a DELETE and its INSERT, and that neither a crash of
  // ours nor one of the server leaves them so.
  static_cast<void>(session_.query("START TRANSACTION"));
  if (!takeTurn()) return giveUp(nullptr);
  StoredSettings now;
  now.row = ours.row;
  if (!read(now)) return giveUp(nullptr);
  if (known == nullptr && now.rowCount != 0) {
    Attempt attempt = giveUp(nullptr);
    attempt.cameSecond = false;
    attempt.saved =
        Failure{"the settings of this archive have not been read, and are left as they are"};
    return attempt;
  }
  StoredSettings wanted = known == nullptr ? ours : merged(*known, ours, now);
  wanted.rowCount = 1;
  if (wanted.sameAs(now)) {
    static_cast<void>(session_.query("ROLLBACK"));
    return {};
  }
  if (!write(now, wanted) || !session_.query("COMMIT")) return giveUp(&now);
  return {.wrote = true};
}

/// False when another program has the turn; true too where there is no such table to be had.
bool SettingsStore::takeTurn() {
  if (session_.query(kTakeTurn)) return true;
  if (session_.errorNumber() == kNoSuchTable) {
    // Making it ends the transaction.
    const bool made = session_.query(kMakeTurns);
    static_cast<void>(session_.query("START TRANSACTION"));
    if (!made || session_.query(kTakeTurn)) return true;
  }
  const unsigned number = session_.errorNumber();
  return number != kDeadlock && number != kLockTimeout && !isLostConnection(session_.error());
}

/// Takes back what has been done. `before`: what the tables held, once something was written.
SettingsStore::Attempt SettingsStore::giveUp(const StoredSettings* before) {
  const unsigned number = session_.errorNumber();
  Attempt attempt;
  attempt.saved = Failure{"SQL error: " + session_.error() + "\n"};
  attempt.cameSecond = number == kDeadlock || number == kLockTimeout;
  const bool isLost = isLostConnection(session_.error());
  static_cast<void>(session_.query("ROLLBACK"));
  if (before == nullptr || attempt.cameSecond || isLost) return attempt;
  // Tables of an old engine know no way back but this one.
  StoredSettings left = *before;
  if (read(left) && !left.sameAs(*before)) static_cast<void>(write(left, *before));
  return attempt;
}

bool SettingsStore::write(const StoredSettings& now, const StoredSettings& wanted) {
  if (now.rowCount != 1 || now.row != wanted.row) {
    if (!session_.query("DELETE FROM settings")) return false;
    if (!session_.query(std::string(kInsertSettings) + valuesOf(wanted.row) + ")")) return false;
  }
  return (now.accounts == wanted.accounts ||
          writeNames("DELETE FROM accounts", "INSERT INTO accounts (account)", wanted.accounts)) &&
         (now.mailboxes == wanted.mailboxes ||
          writeNames("DELETE FROM mailboxes", "INSERT INTO mailboxes (mailbox)",
                     wanted.mailboxes)) &&
         (now.categories == wanted.categories ||
          writeNames("DELETE FROM categories", "INSERT INTO categories (category)",
                     wanted.categories));
}

bool SettingsStore::writeNames(const char* deleteSql, std::string_view insertSql,
                               const Names& names) {
  if (!session_.query(deleteSql)) return false;
  for (const std::string& name : names) {
    std::string sql(insertSql);
    sql.append(" VALUES(").append(quotedInline(name)).append(")");
    if (!session_.query(sql)) return false;
  }
  return true;
}

}  // namespace keldane
