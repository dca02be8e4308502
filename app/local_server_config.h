#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/server_tools.h"

namespace keldane {

/// Size of the server's redo log: what each run asks for, so that it need not be made anew then.
inline constexpr long kLogFileBytes = 500000000;

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

/// The whole text of the server's configuration file. `memoryBytes` is the machine's memory, 0 when
/// it is not known; `extraLines` come last and win.
[[nodiscard]] std::string localServerConfig(const LocalServerPaths& paths, ServerMake make,
                                            std::uint64_t memoryBytes,
                                            const std::vector<std::string>& extraLines);

/// A value between quotes, with what the configuration's own syntax would take for something else
/// escaped.
[[nodiscard]] std::string configValue(std::string_view value);

/// Statements that make the server count how long no client was there, and end itself after
/// `idleSeconds`. Run once after each start.
[[nodiscard]] std::vector<std::string> idleEndStatements(int idleSeconds);

}  // namespace keldane
