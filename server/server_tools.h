#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/environment.h"
#include "platform/tool_runner.h"

namespace keldane {

/// Whose server program it is. The two read each other's data folders not at all.
enum class ServerMake { mariadb, mysql };

/// The programs of a database server that is installed on this machine.
struct ServerPrograms {
  std::string server;     ///< path of the server itself; empty: none is installed
  std::string installer;  ///< path of the script that makes a MariaDB data folder
  ServerMake make = ServerMake::mariadb;
};

/// Folders in which packages put server programs although they are on no user's PATH.
[[nodiscard]] std::vector<std::string> usualServerFolders();

/// Looks on the PATH, then in `usualFolders`. MariaDB comes before MySQL, since only its "utf8" can
/// be made to hold every character; with `wanted`, nothing of the other make is taken.
[[nodiscard]] ServerPrograms findServerPrograms(const Environment& environment, ToolRunner& tools,
                                                const std::vector<std::string>& usualFolders,
                                                std::optional<ServerMake> wanted = std::nullopt);

/// Whether the server resizes its redo log while it runs; asks the program for its version.
[[nodiscard]] bool resizesLog(const ServerPrograms& programs, ToolRunner& tools);

/// The make of the server that a data folder belongs to; nullopt when it is no data folder.
[[nodiscard]] std::optional<ServerMake> dataFolderMake(const std::string& dataFolder);

/// What to tell a user who has no server program, with the package to install.
[[nodiscard]] std::string missingServerText(std::optional<ServerMake> wanted);

}  // namespace keldane
