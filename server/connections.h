#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "platform/process_state.h"
#include "platform/user_interface.h"
#include "settings/preferences_file.h"

namespace keldane {

/// One saved server.
struct ServerConnection {
  std::string name;
  std::string host;
  std::string user;
  std::string password;
  std::string database;
  std::string socket;
  int port = 0;

  bool operator==(const ServerConnection&) const = default;
};

/// The controls of `connectPanel`.
struct ConnectForm {
  std::string connectNameTextField;
  std::string hostTextField;
  std::string userTextField;
  std::string passwordTextField;
  std::string dbPathTextField;
  std::string socketTextField;
  std::string portTextField;
};

/// The saved connections, the form that edits them, and the opening of the one session. Main
/// thread, and the worker of a run for `doConnect` after a lost link.
class Connections {
 public:
  /// The steps of a connect that belong to rooms above or beside this one, in the order in which a
  /// connect takes them.
  struct Callbacks {
    /// Makes the private server ready when the form points at it: starts it and fills in host and
    /// socket. False with `error` filled when it cannot.
    std::function<bool(ConnectForm& form, std::string& error)> prepareServer;
    std::function<void()> forgetPostboxFolder;
    std::function<void()> getSettings;
    std::function<void()> showAppearanceAndPostbox;
    std::function<void()> resetPrefs;
    std::function<void()> savePreferences;
    std::function<void()> getPrefs;
    std::function<void()> getCategories;
    std::function<void()> get500emails;
    std::function<void()> saveSelectedSources;  ///< step 1 of `saveConnectionPrefs`
    std::function<void()> setStoreDate;
    /// Called in place of the modal form when a connect has failed, with the server's text; nobody
    /// will try again then, and `ProcessState::cancelFlag` says so. A face with a form leaves it
    /// empty.
    std::function<void(const std::string& error)> connectFailed;
  };

  Connections(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
              UserInterface& ui, ProcessState& process);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  void getConnectionPrefs();
  bool saveConnectionPrefs();
  void getConnection();
  void setConnection();
  /// Saves the form, over an entry of this name. False when the preferences could not be written,
  /// which has been told.
  bool saveConnection();
  /// False as above.
  bool deleteConnection();
  /// Makes a saved connection, with its own database, the one of the next start too. The one that
  /// is left keeps the database it was used with. False as above.
  bool useConnection(std::size_t row);
  /// Selects a row of the connection table.
  void selectConnection(std::size_t row);
  void newConnect();
  void doConnect();
  void doConfigure();

  [[nodiscard]] bool isConnected() const { return isConnected_; }
  [[nodiscard]] const std::vector<ServerConnection>& connectionList() const {
    return connectionList_;
  }
  [[nodiscard]] std::vector<std::string> connectionNames() const;
  [[nodiscard]] int selectedConnection() const { return selectedConnection_; }
  /// The connection as it was last opened.
  [[nodiscard]] const ServerConnection& current() const { return current_; }
  /// Whether `connectPanel` may be closed; asking clears the mark.
  [[nodiscard]] bool takeConnectPanelMayClose();

  ConnectForm form;
  bool firstRun = false;
  /// How much white is blended into the dark grey of `storePanel`.
  double storePanelWhite = 0;

 private:
  void readForm();
  [[nodiscard]] bool prepareServer(std::string& error);
  [[nodiscard]] bool openSession(const std::string& database);
  [[nodiscard]] bool connectToServer();
  void openNewDatabase();
  void connected();
  void connectionFailed(const std::string& error);
  void readConnectionList();
  void selectNamed(const std::string& name);
  [[nodiscard]] bool editPreferences(std::function<void(PlistDict&)> change);
  void readArgumentsAgain();
  void fillDbPathFromPreference();
  [[nodiscard]] ServerAddress address(const std::string& database) const;

  ServerSession& session_;
  ArchiveDatabase& database_;
  PreferencesFile& prefs_;
  std::string toldError_;  ///< the last about the preferences
  UserInterface& ui_;
  ProcessState& process_;
  Callbacks callbacks_;
  std::vector<ServerConnection> connectionList_;
  ServerConnection current_;
  int selectedConnection_ = 0;
  bool isConnected_ = false;
  bool connectPanelMayClose_ = false;
  std::string cnfPath_;  ///< noted only
};

}  // namespace keldane
