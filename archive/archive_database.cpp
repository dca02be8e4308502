#include "archive/archive_database.h"

#include <array>
#include <cstdio>

#include "archive/archive_schema.h"
#include "archive/existing_archive.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kDefaultDatabase = "myemaildb";
constexpr const char* kErrorTitle = "SQL Error";
/// A reconnect opens the database again, so each retry stands on the one before. A server that
/// takes every login and drops every session ends here and not with the stack.
constexpr int kMostReconnects = 1000;
constexpr std::string_view kUnlessThere = "IF NOT EXISTS ";

/// Whether the present answer of "SHOW COLUMNS" describes a column that is wide enough. Both types
/// count for both columns: an old `to_fld` of 255 characters is left as it is.
bool isWideColumn(ServerSession& session) {
  const auto rows = session.storeResult();
  if (rows == nullptr) {
    std::fprintf(stderr, "SQL error: %s\n", session.error().c_str());
    return false;
  }
  while (rows->next()) {
    const std::string_view type = rows->cell(1).value_or("");
    for (const std::string_view wide : {"mediumtext", "varchar(255)"}) {
      if (type.find(wide) != std::string_view::npos) return true;
    }
  }
  return false;
}

void reportFailedStatement(const ServerSession& session, std::string_view sql) {
  std::fprintf(stderr, "SQL error: %s, %s\n", session.error().c_str(), std::string(sql).c_str());
}

}  // namespace

ArchiveDatabase::ArchiveDatabase(ServerSession& session, UserInterface& ui, ProcessState& process)
    : session_(session), ui_(ui), process_(process) {}

bool ArchiveDatabase::fail(bool longForm) {
  // Whoever reconnects asks for the database more than once: one failure is told once.
  gaveUp_ = reconnects_ > 0;
  const std::string error = session_.error();
  const std::string text =
      longForm ? "SQL Error: " + dbPath + " " + error : "SQL error: " + error + "\n";
  ui_.alert({kErrorTitle, text, AlertStyle::critical, {"OK"}});
  process_.cancelFlag = 1;
  return false;
}

bool ArchiveDatabase::send(std::string_view sql) {
  sqlText_.assign(sql);
  return session_.query(sqlText_);
}

bool ArchiveDatabase::createTable(std::string_view sql, bool longForm) {
  return send(sql) || fail(longForm);
}

bool ArchiveDatabase::refuse(const std::string& reason) {
  ui_.alert({"No archive", reason, AlertStyle::critical, {"OK"}});
  process_.cancelFlag = 1;
  return false;
}

void ArchiveDatabase::openExisting() {
  switch (lookForArchive(session_, dbPath)) {
    case ArchivePresence::current:
      open_ = true;
      return;
    case ArchivePresence::older:
      // Additions only, as ever; without them it could not be read.
      open_ = makeMessageTables() && makeSettingsTables();
      return;
    case ArchivePresence::foreign:
      refuse("the database \"" + dbPath +
             "\" holds no archive; `keldane connections list` tells which do");
      return;
    case ArchivePresence::missing:
      if (opening == Opening::ifThere) return;
      if (archivesOnServer(session_).empty()) {
        refuse(
            "there is no archive on this server yet; `keldane archive PATH` makes one of mail in "
            "files and folders");
        return;
      }
      refuse("there is no database \"" + dbPath +
             "\" on this server; `keldane connections list` tells which there are");
      return;
    case ArchivePresence::unreachable:
      // The connect opens it again; one that fails has told why.
      if (isLostConnection(session_.error()) && callbacks_.reconnect && reconnects_ == 0) {
        ++reconnects_;
        callbacks_.reconnect();
        --reconnects_;
        return;
      }
      fail(true);
  }
}

void ArchiveDatabase::openDatabase() {
  open_ = false;
  if (dbPath.empty()) dbPath = kDefaultDatabase;
  if (const Result<void> named = checkDatabaseName(dbPath); !named) {
    refuse(named.error());
    return;
  }
  if (opening != Opening::create) {
    openExisting();
    return;
  }
  if (!createDatabase()) {
    process_.cancelFlag = 1;
    return;
  }
  if (!send("ALTER DATABASE " + dbPath + " CHARACTER SET utf8")) {
    fail(false);
    return;
  }
  if (session_.selectDatabase(dbPath)) useFourByteText();
  open_ = makeMessageTables() && makeSettingsTables();
  if (open_ && !indexesDone_) {
    createIndexes();
    indexesDone_ = true;
  }
}

bool ArchiveDatabase::createDatabase() {
  while (!gaveUp_) {
    if (dbPath.empty()) dbPath = kDefaultDatabase;
    if (send("CREATE DATABASE IF NOT EXISTS " + dbPath)) return true;
    const bool gone = matchesWildcard(session_.error(), "*has gone away*");
    if (!gone || !callbacks_.reconnect || reconnects_ >= kMostReconnects) return fail(false);
    if (reconnects_ > 0 && process_.cancelFlag != 0) return false;
    ++reconnects_;
    callbacks_.reconnect();
    --reconnects_;
    // The reconnect has given up, or the user has: whoever asked for the database gives up too.
    if (process_.cancelFlag != 0) gaveUp_ = true;
  }
  if (reconnects_ == 0) gaveUp_ = false;
  return false;
}

void ArchiveDatabase::useFourByteText() {
  // "utf8" has three bytes for a character on many servers, and no place for emoji. An archive that
  // is stored so stays so: a table's new text would not fit beside its old.
  if (!send("SELECT table_collation FROM information_schema.tables WHERE "
            "table_schema=DATABASE() AND table_name='email'")) {
    return;
  }
  const std::string collation = fetchFirstCell(session_);
  const bool isNew = collation == "0";
  if (isNew || collation.starts_with("utf8mb4")) {
    ignoreFailure(send("ALTER DATABASE " + dbPath + " CHARACTER SET utf8mb4"));
  }
}

bool ArchiveDatabase::makeMessageTables() {
  if (!createTable(schema::kCreateEmail, false)) return false;
  ignoreFailure(send(schema::kAddHeadings));
  enlargeColumn("mailbox", "Enlarging size of mailbox field in database...",
                schema::kEnlargeMailbox, true);
  enlargeColumn("to_fld", "Enlarging size of TO field in database...", schema::kEnlargeTo, false);
  return createTable(schema::kCreateAttachments, false) &&
         createTable(schema::kCreateOrigemail, true) && createTable(schema::kCreateTags, true);
}

bool ArchiveDatabase::makeSettingsTables() {
  if (!createTable(schema::kCreateSettings, true)) return false;
  for (const std::string_view sql : schema::kAddSettingsColumns) ignoreFailure(send(sql));
  if (!createTable(schema::kCreateAccounts, true)) return false;
  if (!createTable(schema::kCreateMailboxes, true)) return false;
  if (!send(schema::kEnlargeMailboxName)) reportFailedStatement(session_, sqlText_);
  return createTable(schema::kCreateCategories, true);
}

void ArchiveDatabase::enlargeColumn(std::string_view column, std::string_view title,
                                    std::string_view sql, bool reportFailure) {
  if (!send("SHOW COLUMNS FROM email LIKE '" + std::string(column) + "'")) {
    reportFailedStatement(session_, sqlText_);
    return;
  }
  if (isWideColumn(session_)) return;
  ui_.progressStarted(title);
  if (!send(sql) && reportFailure) reportFailedStatement(session_, sqlText_);
  ui_.progressEnded();
}

void ArchiveDatabase::createIndexes() {
  for (const schema::IndexStep& step : schema::kIndexSteps) {
    ui_.progressStarted(step.title);
    sqlText_.assign(step.sql);
    // The index on attachment names stays out: no search uses it, and its panel is left for the
    // next step to take over.
    if (!step.sent) continue;
    ignoreFailure(createIndex());
    ui_.progressEnded();
  }
}

bool ArchiveDatabase::createIndex() {
  if (session_.query(sqlText_)) return true;
  // MySQL does not know the condition on an index. An index that is there fails without it.
  const std::size_t condition = sqlText_.find(kUnlessThere);
  const bool refused = session_.error().find("error in your SQL syntax") != std::string::npos;
  if (!refused || condition == std::string::npos) return false;
  sqlText_.erase(condition, kUnlessThere.size());
  return session_.query(sqlText_);
}

void ArchiveDatabase::showSchema() {
  ui_.alert({"Database Schema", schema::kSchemaText, AlertStyle::informational, {"OK"}});
}

void ArchiveDatabase::deleteDatabase() {
  // The constant text is what the user sees; the title says what it is about.
  const int answer = ui_.alert({"Delete Database",
                                "Delete this database.",
                                AlertStyle::informational,
                                {"Delete", "Cancel"}});
  if (answer == kSecondButton) return;
  if (!send("DROP DATABASE " + dbPath)) {
    ui_.alert({kErrorTitle, "SQL error: " + session_.error(), AlertStyle::critical, {"OK"}});
    return;
  }
  const std::string dropped = dbPath;
  ui_.alert({"Database Deleted",
             "The " + dropped + " database has been deleted.",
             AlertStyle::informational,
             {"OK"}});
  if (callbacks_.forgetDatabase) callbacks_.forgetDatabase(dropped);
  dbPath.clear();
  if (callbacks_.databaseDropped) callbacks_.databaseDropped();
}

}  // namespace keldane
