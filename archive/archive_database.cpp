#include "archive/archive_database.h"

#include <array>
#include <cstdio>
#include <utility>

#include "archive/archive_schema.h"
#include "archive/existing_archive.h"
#include "archive/schema_state.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kDefaultDatabase = "myemaildb";
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

ArchiveDatabase::ArchiveDatabase(ServerSession& session, Progress& progress, ProcessState& process)
    : session_(session), progress_(progress), process_(process) {}

Faults ArchiveDatabase::fail(bool longForm) {
  const std::string error = session_.error();
  process_.cancelFlag = 1;
  return {{Fault::About::server,
           longForm ? "SQL Error: " + dbPath + " " + error : "SQL error: " + error + "\n"}};
}

Faults ArchiveDatabase::refuse(std::string reason) {
  process_.cancelFlag = 1;
  return {{Fault::About::archive, std::move(reason)}};
}

bool ArchiveDatabase::send(std::string_view sql) {
  sqlText_.assign(sql);
  return session_.query(sqlText_);
}

Faults ArchiveDatabase::openDatabase() {
  const int asked = process_.cancelFlag;
  lost_ = false;
  Faults faults = openOnce();
  if (!reconnect || !takeLost()) return faults;
  process_.cancelFlag = asked;
  faults = reconnect();
  // Whoever asked for the database gives up too.
  if (!faults.empty() || (opening == Opening::create && !open_)) process_.cancelFlag = 1;
  return faults;
}

Faults ArchiveDatabase::openOnce() {
  open_ = false;
  if (dbPath.empty()) dbPath = kDefaultDatabase;
  if (const Result<void> named = checkDatabaseName(dbPath); !named) return refuse(named.error());
  return opening == Opening::create ? makeSchema() : openExisting();
}

Faults ArchiveDatabase::openExisting() {
  switch (lookForArchive(session_, dbPath)) {
    case ArchivePresence::current:
      open_ = true;
      return {};
    case ArchivePresence::older:
      // Additions only, as ever; without them it could not be read.
      return makeTables();
    case ArchivePresence::empty:
      if (opening == Opening::ifThere) return {};
      [[fallthrough]];
    case ArchivePresence::foreign:
      return refuse("the database \"" + dbPath +
                    "\" holds no archive; `keldane connections list` tells which do");
    case ArchivePresence::missing:
      if (opening == Opening::ifThere) return {};
      if (archivesOnServer(session_).empty()) {
        return refuse(
            "there is no archive on this server yet; `keldane archive PATH` makes one of mail in "
            "files and folders");
      }
      return refuse("there is no database \"" + dbPath +
                    "\" on this server; `keldane connections list` tells which there are");
    case ArchivePresence::unreachable:
      lost_ = isLostConnection(session_.error());
      break;
  }
  return fail(true);
}

Faults ArchiveDatabase::makeSchema() {
  if (hasWholeSchema(session_, dbPath, !indexesDone_) && session_.selectDatabase(dbPath)) {
    indexesDone_ = true;
    open_ = true;
    return {};
  }
  if (!send("CREATE DATABASE IF NOT EXISTS " + dbPath)) {
    lost_ = matchesWildcard(session_.error(), "*has gone away*");
    return fail(false);
  }
  if (!send("ALTER DATABASE " + dbPath + " CHARACTER SET utf8")) return fail(false);
  if (session_.selectDatabase(dbPath)) useFourByteText();
  Faults faults = makeTables();
  if (open_ && !indexesDone_) {
    createIndexes();
    indexesDone_ = true;
  }
  return faults;
}

Faults ArchiveDatabase::makeTables() {
  if (!send(schema::kCreateEmail)) return fail(false);
  ignoreFailure(send(schema::kAddHeadings));
  enlargeColumn("mailbox", "Enlarging size of mailbox field in database...",
                schema::kEnlargeMailbox, true);
  enlargeColumn("to_fld", "Enlarging size of TO field in database...", schema::kEnlargeTo, false);
  if (!send(schema::kCreateAttachments)) return fail(false);
  for (const std::string_view sql :
       {schema::kCreateOrigemail, schema::kCreateTags, schema::kCreateSettings}) {
    if (!send(sql)) return fail(true);
  }
  for (const std::string_view sql : schema::kAddSettingsColumns) ignoreFailure(send(sql));
  if (!send(schema::kCreateAccounts) || !send(schema::kCreateMailboxes)) return fail(true);
  if (!send(schema::kEnlargeMailboxName)) reportFailedStatement(session_, sqlText_);
  if (!send(schema::kCreateCategories)) return fail(true);
  open_ = true;
  return {};
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

void ArchiveDatabase::enlargeColumn(std::string_view column, std::string_view title,
                                    std::string_view sql, bool reportFailure) {
  if (!send("SHOW COLUMNS FROM email LIKE '" + std::string(column) + "'")) {
    reportFailedStatement(session_, sqlText_);
    return;
  }
  if (isWideColumn(session_)) return;
  progress_.stage(title);
  if (!send(sql) && reportFailure) reportFailedStatement(session_, sqlText_);
  progress_.stage({});
}

void ArchiveDatabase::createIndexes() {
  for (const schema::IndexStep& step : schema::kIndexSteps) {
    progress_.stage(step.title);
    sqlText_.assign(step.sql);
    // The index on attachment names stays out: no search uses it, and its panel is left for the
    // next step to take over.
    if (!step.sent) continue;
    ignoreFailure(createIndex());
    progress_.stage({});
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

Result<void> ArchiveDatabase::dropDatabase() {
  if (!send("DROP DATABASE " + dbPath)) return Failure{session_.error()};
  dbPath.clear();
  return {};
}

}  // namespace keldane
