#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/private_files.h"
#include "base/result.h"
#include "platform/environment.h"
#include "platform/tool_runner.h"
#include "server/local_server_config.h"
#include "server/server_tools.h"

namespace keldane {

/// The private database server of a user who has none: MariaDB's or MySQL's own program, with its
/// data, socket and configuration below the program's support folder, mode 0700, no network port.
///
/// Shared by every program of the same user and HOME: `start` joins a server that runs and makes
/// one when none does, under a lock file, so that two programs starting at once share one. The
/// server goes away by itself ten minutes after its last client.
class LocalServer {
 public:
  struct Options {
    std::string folder;     ///< <support folder>/Server
    int idleSeconds = 600;  ///< how long it outlives its last client
    int startSeconds = 90;  ///< how long a start may take before it counts as failed
    /// Where else than on the PATH the server's programs may be.
    std::vector<std::string> programFolders = usualServerFolders();
    /// What must be free on the disk before a first start; the server takes half of it at once.
    std::uint64_t leastFreeBytes = 300ULL * 1024 * 1024;
    /// Lines for the end of the server's configuration.
    std::vector<std::string> extraSettings;
  };
  struct Status {
    bool running = false;
    int processId = 0;
    std::string socket;
    std::string user;  ///< the login for sessions, without a password
    std::string dataFolder;
    std::string program;  ///< the server program found, empty when there is none
  };

  LocalServer(Options options, ToolRunner& tools, Environment& environment);

  /// Makes the data folder when it is new, starts the server when it is not running, and waits
  /// until it answers. The error names the package to install when the programs are missing, and
  /// ends with the last lines of the server's log when it died. A server that is only slow (it may
  /// have to mend its data after a crash) is left to go on after a failure, for the next call to
  /// join. `cancelled` is asked many times a second: true makes it fail soon, with nothing half
  /// made left behind; a server that has been started by then goes on in the same way. May be
  /// empty.
  [[nodiscard]] Result<Status> start(const std::function<bool()>& cancelled = {});
  /// Stops it at once and waits until it is gone. Not running: a success.
  [[nodiscard]] Result<void> stop();
  [[nodiscard]] Status status() const;
  /// Whether a server may run: a socket is there, where only this user can have put it. A connect
  /// shows the rest; after one that fails, `start`.
  [[nodiscard]] bool mayRun() const;
  /// Path of the socket, whether or not a server listens there. A short folder of its own below
  /// /tmp stands in when the path is too long for a socket.
  [[nodiscard]] std::string socketPath() const { return paths_.socket; }
  /// The end of the server's log, for a message to the user.
  [[nodiscard]] std::string logTail() const;

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  [[nodiscard]] ServerPrograms findPrograms() const;
  [[nodiscard]] Status runningStatus(const ServerPrograms& programs) const;
  /// Whether the server answers to this login.
  [[nodiscard]] bool answers(const char* user) const;
  [[nodiscard]] bool answers() const;
  [[nodiscard]] std::string socketFolder() const;
  [[nodiscard]] Result<void> checkSpace() const;
  [[nodiscard]] Result<void> prepareFolders();
  [[nodiscard]] Result<void> makeDataFolder(const ServerPrograms& programs,
                                            const std::function<bool()>& cancelled);
  [[nodiscard]] Result<FileLock> takeLock(const std::function<bool()>& cancelled) const;
  [[nodiscard]] Result<int> launch(const ServerPrograms& programs);
  /// True once it answers, false when its process has ended before.
  [[nodiscard]] Result<bool> waitForAnswer(int processId, Deadline deadline,
                                           const std::function<bool()>& cancelled);
  void arrange(const ServerPrograms& programs);
  void noteInLog(const std::string& text) const;

  Options options_;
  LocalServerPaths paths_;
  ToolRunner& tools_;
  Environment& environment_;
};

/// The name under which the private server stands among the saved connections.
inline constexpr const char* kLocalConnectionName = "This Computer";

}  // namespace keldane
