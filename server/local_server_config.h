#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/server_tools.h"

namespace keldane {

/// Size of the server's redo log. A small one makes a large run write every page many times; a
/// large one is most of the disk that a small archive takes. So it begins small, and a server that
/// can resize it lets it grow while a run fills it.
inline constexpr std::uint64_t kLeastLogBytes = 64ULL * 1024 * 1024;
inline constexpr std::uint64_t kMostLogBytes = 500000000;

/// What the configuration depends on.
struct ServerNeeds {
  ServerMake make = ServerMake::mariadb;
  std::uint64_t memoryBytes = 0;  ///< of the machine; 0: not known
  std::uint64_t logBytes = kMostLogBytes;
};

/// The redo log of a server with so much data. `canGrow`: it resizes the log while it runs.
[[nodiscard]] std::uint64_t logBytesFor(std::uint64_t dataBytes, bool canGrow);

/// The folders and files of the private server.
struct LocalServerPaths {
  std::string folder;  ///< all but the socket is below it
  std::string data;
  std::string config;
  std::string log;
  std::string socket;
  std::string lock;     ///< held by whoever starts or stops the server
  std::string scratch;  ///< the server's temporary files
  std::string files;    ///< kept empty: the only folder from which a statement may read a file
};

/// The paths below `folder`, which must not end in a slash.
[[nodiscard]] LocalServerPaths localServerPaths(const std::string& folder);

/// The whole text of the server's configuration file. `extraLines` come last and win.
[[nodiscard]] std::string localServerConfig(const LocalServerPaths& paths, const ServerNeeds& needs,
                                            const std::vector<std::string>& extraLines);

/// A value between quotes, with what the configuration's own syntax would take for something else
/// escaped.
[[nodiscard]] std::string configValue(std::string_view value);

/// Statements that make the server count how long no client was there, and end itself after
/// `idleSeconds`; with `growsLog` it enlarges a redo log that fills, too. Run once after each
/// start.
[[nodiscard]] std::vector<std::string> watchStatements(int idleSeconds, bool growsLog);

/// The login of the archive's sessions. It may do all but change the server itself: the sizes that
/// sessions ask for are meant for the servers of others.
inline constexpr const char* kLocalUser = "keldane";
/// Statements that make this login. Run once after each start.
[[nodiscard]] std::vector<std::string> loginStatements();

}  // namespace keldane
