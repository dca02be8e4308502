#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "output/database_tools.h"
#include "platform/environment.h"

/// A backup that can be trusted: the dump of a database in one file, whose last line holds the
/// digest of the rest, and the rows and a checksum of every table. A name that ends in ".zst" is
/// compressed by zstd.
namespace keldane {

/// What a table holds, to be compared: the order of its rows does not count.
struct TableState {
  std::string name;
  std::uint64_t rows = 0;
  std::string checksum;
  bool operator==(const TableState&) const = default;
};

/// The last line of a backup.
struct BackupSummary {
  std::string characterSet;  ///< of the database
  std::string collation;
  std::string sha256;  ///< of all bytes before the line, hexadecimal
  std::vector<TableState> tables;
};

/// The tables of a database as they stand. Fails with the server's words.
[[nodiscard]] Result<std::vector<TableState>> tableStates(ServerSession& session,
                                                          const std::string& database);

/// The steps of these operations are megabytes of the dump, their stages what is being done.
///
/// Writes a backup. Nothing else can write to the database meanwhile; the file stands under its
/// name only when it is whole. The session must have no other use until the end.
[[nodiscard]] Result<BackupSummary> writeBackup(const ToolContext& context, ServerSession& session,
                                                const std::string& database,
                                                const std::string& path);

/// Reads a backup through and compares its digest. Fails, saying what is wrong, when it is cut off,
/// altered or no backup.
[[nodiscard]] Result<BackupSummary> verifyBackup(const std::string& path, Progress& progress);

/// Verifies the backup, reads it into a database that is not there yet or holds nothing, and
/// compares every table. The tables come to stand there all at once at the end: when anything fails
/// before, the database is as it was. What an interrupted restore has left (`kUnfinishedRestore`)
/// is taken away by the next one. One at a time on a server.
[[nodiscard]] Result<BackupSummary> restoreBackup(const ToolContext& context,
                                                  ServerSession& session, const std::string& path,
                                                  const std::string& database);

/// Restores the backup into a private server of its own in a temporary folder, and compares: the
/// proof that it can be had back. Nothing of it stays.
[[nodiscard]] Result<BackupSummary> checkBackup(ToolRunner& tools, Environment& environment,
                                                Progress& progress, const std::string& path);

}  // namespace keldane
