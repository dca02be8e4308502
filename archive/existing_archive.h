#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// Where a restore collects what it reads, until it is whole. Never an archive: no name for one,
/// and not told of among them.
inline constexpr const char* kUnfinishedRestore = "keldane_unfinished_restore";

/// Whether SQL takes the name of a database as it stands, without quotes, which is how it goes into
/// the statements: letters, digits, `_` and `$`, at most 64 characters, not a number.
[[nodiscard]] Result<void> checkDatabaseName(std::string_view name);

/// Names of the server's databases that hold an archive; empty too when the server does not tell.
[[nodiscard]] std::vector<std::string> archivesOnServer(ServerSession& session);

enum class ArchivePresence {
  current,      ///< selected, and every column is there
  older,        ///< selected; an archive that lacks tables or columns of today
  foreign,      ///< a database that holds no archive
  empty,        ///< a database that holds nothing
  missing,      ///< no such database
  unreachable,  ///< the session's error tells why
};

/// Selects the database, which has a checked name, and looks what it holds; makes nothing.
[[nodiscard]] ArchivePresence lookForArchive(ServerSession& session, const std::string& name);

}  // namespace keldane
