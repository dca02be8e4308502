#include "output/checked_backup.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <fmt/format.h>
#include <unistd.h>

#include "archive/existing_archive.h"
#include "base/text.h"
#include "output/backup_file.h"
#include "output/export_frame.h"
#include "server/local_server.h"

namespace keldane {
namespace {

constexpr std::string_view kSummaryMark = "-- keldane backup 1 ";
constexpr std::size_t kMostSummaryBytes = 1 << 20;
constexpr std::size_t kMegabyte = 1000000;
/// Held by the session that restores: of two at a time one would take the other's place away.
constexpr const char* kTakeTurn = "SELECT GET_LOCK('keldane_restore',1)";
/// Of a program that was killed, the server notices it only when the statement at hand is done.
constexpr int kWaitSeconds = 120;
constexpr const char* kEndTurn = "SELECT RELEASE_LOCK('keldane_restore')";
/// A private server that is left by a killed check ends itself so soon.
constexpr int kCheckIdleSeconds = 60;
constexpr const char* kCheckedDatabase = "keldane_checked";

/// A name between backquotes.
std::string quotedName(std::string name) {
  replaceAll(name, "`", "``");
  return "`" + name + "`";
}

/// A value between single quotes, for the names that are asked of the server's own tables.
std::string quotedValue(std::string value) {
  replaceAll(value, "\\", "\\\\");
  replaceAll(value, "'", "\\'");
  return "'" + value + "'";
}

Result<std::vector<std::string>> columnOf(ServerSession& session, const std::string& sql) {
  const auto rows = queryRows(session, sql);
  if (!rows) return Failure{rows.error()};
  std::vector<std::string> values;
  while ((*rows)->next()) values.push_back(textOf(**rows, 0));
  return values;
}

Result<std::vector<std::string>> tableNames(ServerSession& session, const std::string& database) {
  return columnOf(session, "SELECT table_name FROM information_schema.tables WHERE table_schema=" +
                               quotedValue(database) +
                               " AND table_type='BASE TABLE' ORDER BY table_name");
}

/// Rows and checksum. Each value goes into it by its own CRC, so that no text longer than the
/// server takes comes of putting them together.
Result<TableState> stateOfTable(ServerSession& session, const std::string& database,
                                const std::string& table) {
  const auto columns =
      columnOf(session, fmt::format("SELECT column_name FROM information_schema.columns WHERE "
                                    "table_schema={} AND table_name={} ORDER BY ordinal_position",
                                    quotedValue(database), quotedValue(table)));
  if (!columns) return Failure{columns.error()};
  std::string crcs;
  for (const std::string& column : *columns) {
    if (!crcs.empty()) crcs += ",'/',";
    crcs += fmt::format("COALESCE(CRC32({}),'n')", quotedName(column));
  }
  const auto rows = queryRows(
      session, fmt::format("SELECT COUNT(*),COALESCE(SUM(CRC32(CONCAT({}))),0) FROM {}.{}", crcs,
                           quotedName(database), quotedName(table)));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return Failure{"SQL error: no answer"};
  TableState state{table, 0, textOf(**rows, 1)};
  state.rows = std::strtoull(textOf(**rows, 0).c_str(), nullptr, 10);
  return state;
}

/// A table's name in the summary: what parts its words is written otherwise there.
std::string summaryName(std::string name) {
  replaceAll(name, "%", "%25");
  replaceAll(name, " ", "%20");
  replaceAll(name, ":", "%3A");
  replaceAll(name, "\n", "%0A");
  return name;
}

std::string plainName(std::string name) {
  replaceAll(name, "%0A", "\n");
  replaceAll(name, "%3A", ":");
  replaceAll(name, "%20", " ");
  replaceAll(name, "%25", "%");
  return name;
}

std::string summaryLine(const BackupSummary& summary) {
  std::string line = fmt::format("{}charset={} collation={} sha256={}", kSummaryMark,
                                 summary.characterSet, summary.collation, summary.sha256);
  for (const TableState& table : summary.tables) {
    line += fmt::format(" table={}:{}:{}", summaryName(table.name), table.rows, table.checksum);
  }
  return line + "\n";
}

std::optional<BackupSummary> parseSummary(std::string_view line) {
  if (!line.starts_with(kSummaryMark) || !line.ends_with('\n')) return std::nullopt;
  BackupSummary summary;
  for (const std::string& word :
       split(line.substr(kSummaryMark.size(), line.size() - kSummaryMark.size() - 1), " ")) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) return std::nullopt;
    const std::string key = word.substr(0, equals);
    const std::string value = word.substr(equals + 1);
    if (key == "charset") summary.characterSet = value;
    if (key == "collation") summary.collation = value;
    if (key == "sha256") summary.sha256 = value;
    if (key != "table") continue;
    const std::vector<std::string> parts = split(value, ":");
    if (parts.size() != 3) return std::nullopt;
    summary.tables.push_back(
        {plainName(parts[0]), std::strtoull(parts[1].c_str(), nullptr, 10), parts[2]});
  }
  return summary;
}

bool isWord(const std::string& text) {
  return !text.empty() && text.find_first_not_of(
                              "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVW"
                              "XYZ0123456789_") == std::string::npos;
}

/// Tells of every megabyte.
class Counted {
 public:
  explicit Counted(Progress& progress) : progress_(progress) {}
  void add(std::size_t bytes) {
    bytes_ += bytes;
    if (bytes_ / kMegabyte == told_) return;
    told_ = bytes_ / kMegabyte;
    progress_.step(static_cast<int>(told_), {});
  }

 private:
  Progress& progress_;
  std::size_t bytes_ = 0;
  std::size_t told_ = 0;
};

/// Gives on the pieces of a backup without its last line, whose digest it checks at the end.
class VerifyingReader {
 public:
  VerifyingReader(PieceReader pieces, std::string path)
      : pieces_(std::move(pieces)), path_(std::move(path)) {}

  Result<bool> next(std::string_view& piece) {
    while (true) {
      held_.erase(0, given_);
      given_ = 0;
      std::string_view read;
      const Result<bool> more = pieces_(read);
      if (!more) return more;
      if (!*more) return finish();
      held_ += read;
      // What follows the last line end but one may be the summary.
      const std::size_t last =
          held_.size() < 2 ? std::string::npos : held_.rfind('\n', held_.size() - 2);
      const std::size_t keep = last == std::string::npos ? held_.size() : held_.size() - last - 1;
      given_ = keep > kMostSummaryBytes ? held_.size() - kMostSummaryBytes : held_.size() - keep;
      if (given_ == 0) continue;
      piece = std::string_view(held_).substr(0, given_);
      digest_.add(piece);
      return true;
    }
  }
  [[nodiscard]] const std::optional<BackupSummary>& summary() const { return summary_; }

 private:
  Result<bool> finish() {
    std::optional<BackupSummary> summary = parseSummary(held_);
    if (!summary || !isWord(summary->characterSet) || !isWord(summary->collation)) {
      return Failure{path_ + ": it is cut off, or no backup of an archive"};
    }
    if (hexadecimal(digest_.finish()) != summary->sha256) {
      return Failure{path_ + ": the backup has been altered since it was written"};
    }
    summary_ = std::move(summary);
    return false;
  }

  PieceReader pieces_;
  std::string path_;
  std::string held_;
  std::size_t given_ = 0;
  Sha256 digest_;
  std::optional<BackupSummary> summary_;
};

Result<std::shared_ptr<VerifyingReader>> openBackup(const std::string& path) {
  Result<PieceReader> pieces = readDecompressed(path);
  if (!pieces) return Failure{pieces.error()};
  return std::make_shared<VerifyingReader>(std::move(*pieces), path);
}

Result<void> send(ServerSession& session, const std::string& sql) {
  if (session.query(sql)) return {};
  return Failure{"SQL error: " + session.error()};
}

/// While it lives, no other session can write to these tables.
class TableLock {
 public:
  explicit TableLock(ServerSession& session) : session_(session) {}
  ~TableLock() { static_cast<void>(session_.query("UNLOCK TABLES")); }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;

  [[nodiscard]] Result<void> lock(const std::string& database,
                                  const std::vector<std::string>& tables) {
    std::string sql;
    for (const std::string& table : tables) {
      sql += sql.empty() ? "LOCK TABLES " : ",";
      sql += fmt::format("{}.{} READ", quotedName(database), quotedName(table));
    }
    return send(session_, sql);
  }

 private:
  ServerSession& session_;
};

Result<void> compareTables(const std::vector<TableState>& wanted,
                           const std::vector<TableState>& found) {
  for (const TableState& table : wanted) {
    const auto same = std::find_if(found.begin(), found.end(), [&table](const TableState& other) {
      return other.name == table.name;
    });
    if (same == found.end()) return Failure{"the table " + table.name + " has not come back"};
    if (*same == table) continue;
    return Failure{fmt::format("the table {} has come back otherwise: {} of {} rows", table.name,
                               same->rows, table.rows)};
  }
  return {};
}

/// Fills the empty database `into` and compares it.
Result<BackupSummary> readInto(const ToolContext& context, ServerSession& session,
                               const std::string& path, const std::string& into) {
  const FoundTool tool = findTool(context.tools, "mysql");
  if (tool.path.empty()) return Failure{"Couldn't find the mysql utility.  " + tool.found};
  const auto backup = openBackup(path);
  if (!backup) return Failure{backup.error()};
  const std::shared_ptr<VerifyingReader> reader = *backup;
  Counted counted(context.progress);
  const Result<void> read = runDatabaseTool(
      context, tool.path,
      {"--max_allowed_packet=1G", "--default-character-set=utf8mb4", "--binary-mode", into},
      [reader, &counted](std::string_view& piece) {
        Result<bool> more = reader->next(piece);
        if (more && *more) counted.add(piece.size());
        return more;
      },
      {});
  if (!read) return Failure{read.error()};
  if (!reader->summary()) return Failure{path + ": it was not read to its end"};
  context.progress.stage("Comparing...");
  const auto states = tableStates(session, into);
  if (!states) return Failure{states.error()};
  if (const Result<void> same = compareTables(reader->summary()->tables, *states); !same) {
    return Failure{same.error()};
  }
  return *reader->summary();
}

/// All tables in one step.
Result<void> moveTables(ServerSession& session, const std::string& from, const std::string& to) {
  const auto tables = tableNames(session, from);
  if (!tables) return Failure{tables.error()};
  std::string sql;
  for (const std::string& table : *tables) {
    sql += sql.empty() ? "RENAME TABLE " : ",";
    sql += fmt::format("{0}.{2} TO {1}.{2}", quotedName(from), quotedName(to), quotedName(table));
  }
  return sql.empty() ? Result<void>() : send(session, sql);
}

Result<void> takeTurn(ServerSession& session, Progress& progress) {
  for (int second = 0; second < kWaitSeconds && !progress.cancelled(); ++second) {
    const Result<std::string> turn = queryCell(session, kTakeTurn);
    if (!turn) return Failure{turn.error()};
    if (*turn == "1") return {};
    progress.stage("Waiting for another restore on this server to end...");
  }
  return Failure{"another restore is under way on this server"};
}

Result<BackupSummary> restoreVerified(const ToolContext& context, ServerSession& session,
                                      const std::string& path, const std::string& database,
                                      const BackupSummary& summary) {
  const auto there = tableNames(session, database);
  if (!there) return Failure{there.error()};
  if (!there->empty()) {
    return Failure{fmt::format("the database \"{}\" is not empty: name another one", database)};
  }
  context.progress.stage("Restoring...");
  const std::string unfinished = quotedName(kUnfinishedRestore);
  const std::string sets =
      fmt::format(" CHARACTER SET {} COLLATE {}", summary.characterSet, summary.collation);
  for (const std::string& sql :
       {"DROP DATABASE IF EXISTS " + unfinished, "CREATE DATABASE " + unfinished + sets}) {
    if (const Result<void> sent = send(session, sql); !sent) return Failure{sent.error()};
  }
  Result<BackupSummary> restored = readInto(context, session, path, kUnfinishedRestore);
  if (restored) {
    Result<void> moved =
        send(session, "CREATE DATABASE IF NOT EXISTS " + quotedName(database) + sets);
    if (moved) moved = moveTables(session, kUnfinishedRestore, database);
    if (!moved) restored = Failure{moved.error()};
  }
  static_cast<void>(send(session, "DROP DATABASE IF EXISTS " + unfinished));
  return restored;
}

}  // namespace

Result<std::vector<TableState>> tableStates(ServerSession& session, const std::string& database) {
  const auto names = tableNames(session, database);
  if (!names) return Failure{names.error()};
  std::vector<TableState> states;
  for (const std::string& name : *names) {
    const auto state = stateOfTable(session, database, name);
    if (!state) return Failure{state.error()};
    states.push_back(*state);
  }
  return states;
}

Result<BackupSummary> writeBackup(const ToolContext& context, ServerSession& session,
                                  const std::string& database, const std::string& path) {
  const FoundTool tool = findTool(context.tools, "mysqldump");
  if (tool.path.empty()) return Failure{"Couldn't find the mysqldump utility.  " + tool.found};
  const auto sets = queryRows(session,
                              "SELECT default_character_set_name,default_collation_name FROM "
                              "information_schema.schemata WHERE schema_name=" +
                                  quotedValue(database));
  if (!sets) return Failure{sets.error()};
  if (!(*sets)->next()) return Failure{fmt::format("there is no database \"{}\"", database)};
  BackupSummary summary{textOf(**sets, 0), textOf(**sets, 1), {}, {}};
  const auto names = tableNames(session, database);
  if (!names) return Failure{names.error()};
  if (names->empty()) return Failure{fmt::format("the database \"{}\" is empty", database)};
  TableLock lock(session);
  if (const Result<void> locked = lock.lock(database, *names); !locked) {
    return Failure{locked.error()};
  }
  context.progress.stage("Counting...");
  auto states = tableStates(session, database);
  if (!states) return Failure{states.error()};
  context.progress.stage("Backing up...");
  summary.tables = std::move(*states);
  BackupWriter file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  std::vector<std::string> arguments = {
      "--max_allowed_packet=1G", "--default-character-set=utf8mb4", "--single-transaction",
      "--skip-lock-tables", "--quick", "--hex-blob", "--no-tablespaces",
      // MySQL's own tool asks for rights, or writes statements, that a backup of one archive does
      // without; MariaDB's knows neither.
      "--loose-set-gtid-purged=OFF", "--loose-column-statistics=0", database};
  arguments.insert(arguments.end(), names->begin(), names->end());
  bool isFull = false;
  Counted counted(context.progress);
  const Result<void> dumped =
      runDatabaseTool(context, tool.path, std::move(arguments), {}, [&](std::string_view piece) {
        counted.add(piece.size());
        isFull = !file.write(piece);
        return !isFull;
      });
  if (!dumped && !isFull) return Failure{dumped.error()};
  summary.sha256 = file.digest();
  file.write(summaryLine(summary));
  if (const Result<void> written = file.commit(); !written) return Failure{written.error()};
  return summary;
}

Result<BackupSummary> verifyBackup(const std::string& path, Progress& progress) {
  const auto reader = openBackup(path);
  if (!reader) return Failure{reader.error()};
  progress.stage("Reading the backup through...");
  Counted counted(progress);
  std::string_view piece;
  while (true) {
    if (progress.cancelled()) return Failure{"cancelled"};
    const Result<bool> more = (*reader)->next(piece);
    if (!more) return Failure{more.error()};
    if (!*more) return *(*reader)->summary();
    counted.add(piece.size());
  }
}

Result<BackupSummary> restoreBackup(const ToolContext& context, ServerSession& session,
                                    const std::string& path, const std::string& database) {
  const Result<BackupSummary> verified = verifyBackup(path, context.progress);
  if (!verified) return verified;
  if (const Result<void> turn = takeTurn(session, context.progress); !turn) {
    return Failure{turn.error()};
  }
  Result<BackupSummary> restored = restoreVerified(context, session, path, database, *verified);
  static_cast<void>(queryCell(session, kEndTurn));
  return restored;
}

Result<BackupSummary> checkBackup(ToolRunner& tools, Environment& environment, Progress& progress,
                                  const std::string& path) {
  const Result<BackupSummary> verified = verifyBackup(path, progress);
  if (!verified) return verified;
  std::string folder = environment.temporaryFolder() + "keldane_check.XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) {
    return Failure{folder + ": " + std::generic_category().message(errno)};
  }
  LocalServer::Options options;
  options.folder = folder;
  options.idleSeconds = kCheckIdleSeconds;
  LocalServer server(options, tools, environment);
  const auto check = [&]() -> Result<BackupSummary> {
    const Result<LocalServer::Status> started = server.start();
    if (!started) return Failure{started.error()};
    ServerAddress address;
    address.host = "localhost";
    address.user = started->user;
    address.socket = started->socket;
    const std::unique_ptr<ServerSession> session = makeMysqlSession();
    session->init();
    if (!session->connect(address)) return Failure{session->error()};
    return restoreBackup({tools, address, environment.temporaryFolder(), progress}, *session, path,
                         kCheckedDatabase);
  };
  Result<BackupSummary> checked = check();
  const Result<void> stopped = server.stop();
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  if (checked && !stopped) return Failure{stopped.error()};
  return checked;
}

}  // namespace keldane
