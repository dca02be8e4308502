#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_database.h"
#include "archive/fault.h"
#include "archive/server_session.h"
#include "platform/process_state.h"
#include "platform/progress.h"
#include "settings/preferences_file.h"

namespace keldane {

/// One saved server.
struct ServerConnection {
  std::string name;
  std::string host;  ///< as it was typed; of a cluster, several: "a,b:3307,[::1]:3308"
  std::string user;
  std::string password;
  std::string database;
  std::string socket;
  int port = 0;
  /// Not said: as the saved connection of this name has it, `prefer` for one from before there was
  /// a choice; `verify` for a new one to another machine.
  std::optional<TlsMode> tls = {};
  std::string tlsAuthority = {};  ///< PEM file of the authorities; empty: those of the system

  bool operator==(const ServerConnection&) const = default;
};

/// What an empty host and user mean.
inline constexpr const char* kDefaultHost = "localhost";
inline constexpr const char* kDefaultUser = "root";

/// "off", "prefer", "require", "verify".
[[nodiscard]] std::string_view tlsName(TlsMode mode);
[[nodiscard]] std::optional<TlsMode> findTls(std::string_view name);

/// A connect that has failed, in the words of the server, its client library or the system.
[[nodiscard]] inline Fault connectFault(const std::string& error) {
  return {Fault::About::server, "Failed to connect to server: Error: " + error + "\n"};
}

/// The saved connections, and the opening of the one session. Main thread.
class Connections {
 public:
  Connections(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
              Progress& progress, ProcessState& process);

  /// Reads the list, and makes the selected entry the current one. A first start, which knows no
  /// database, is noted in `firstRun`.
  void getConnectionPrefs();
  // Each of these is false when the preferences could not be written, which standard error tells.
  bool saveConnectionPrefs();
  /// Over an entry of this name, which is selected then.
  bool saveConnection(const ServerConnection& connection);
  /// Deletes the selected entry; the first one is selected then, and the current one if there is
  /// one. The arguments are read again, so that a schedule made from here on carries " 1" in its
  /// command.
  bool deleteConnection();
  /// Makes a saved connection, with its own database, the one of the next start too. The one that
  /// is left keeps the database it was used with.
  bool useConnection(std::size_t row);
  /// Makes this row the selected entry and the current one.
  void selectConnection(std::size_t row);
  /// Makes this one, as it was opened, the current one again, and its entry the selected one.
  void selectAgain(const ServerConnection& opened);

  /// Closes the session and opens another: with the database that `wanted` names, or the one in
  /// `ArchiveDatabase::dbPath` when it names none. A missing one is made, where the database is
  /// opened so. `isConnected` tells whether the session stands, for a database that could not be
  /// made is told of too.
  [[nodiscard]] Faults connect(const ServerConnection& wanted);
  /// Closes the session.
  void disconnect();
  /// The session has turned out to be of no use.
  void abandon() { isConnected_ = false; }
  void doConfigure();

  [[nodiscard]] bool isConnected() const { return isConnected_; }
  [[nodiscard]] const std::vector<ServerConnection>& connectionList() const {
    return connectionList_;
  }
  [[nodiscard]] std::vector<std::string> connectionNames() const;
  [[nodiscard]] int selectedConnection() const { return selectedConnection_; }
  /// The connection as it was last opened.
  [[nodiscard]] const ServerConnection& current() const { return current_; }
  /// Where the session is, for another session or a tool: of several hosts, the one that it stands
  /// on now. With an empty name, without a database.
  [[nodiscard]] ServerAddress address(const std::string& database) const;

  /// How a session of this connection is encrypted, whether it says so itself or not.
  [[nodiscard]] TlsMode tlsOf(const ServerConnection& connection) const;

  bool firstRun = false;

 private:
  [[nodiscard]] const ServerConnection* savedAs(const std::string& name) const;
  [[nodiscard]] ServerAddress addressOf(const std::vector<HostPlace>& places,
                                        const std::string& database) const;
  [[nodiscard]] bool openSession(const std::string& database);
  [[nodiscard]] Faults openNewDatabase(const std::string& name);
  void readConnectionList();
  void selectNamed(const std::string& name);
  [[nodiscard]] bool editPreferences(std::function<void(PlistDict&)> change);
  void readArgumentsAgain();
  void fillDbPathFromPreference();

  ServerSession& session_;
  ArchiveDatabase& database_;
  PreferencesFile& prefs_;
  std::string toldError_;  ///< the last about the preferences
  Progress& progress_;
  ProcessState& process_;
  std::vector<ServerConnection> connectionList_;
  ServerConnection current_;
  int selectedConnection_ = 0;
  bool isConnected_ = false;
  std::string cnfPath_;  ///< noted only
};

}  // namespace keldane
