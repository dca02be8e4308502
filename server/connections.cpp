#include "server/connections.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "archive/existing_archive.h"
#include "base/text.h"
#include "platform/resource_file.h"
#include "server/local_server.h"

namespace keldane {
namespace {

constexpr const char* kConnectPanel = "connectPanel";
constexpr const char* kConnectionTable = "connectionTableView";
constexpr const char* kDefaultHost = "localhost";
constexpr const char* kDefaultUser = "root";
constexpr const char* kDefaultDatabase = "myemaildb";
constexpr double kStorePanelWhite = 0.6;

/// A server may start its sessions with modes that refuse what the statements are built on: double
/// quotes around texts, the backslash in them, texts that are cut to their column.
constexpr const char* kPlainMode = "SET SESSION sql_mode=''";

constexpr const char* kHasSmallPackets =
    "SELECT @@SESSION.max_allowed_packet<@@GLOBAL.max_allowed_packet";

constexpr std::array<const char*, 4> kConfiguration = {
    "SET GLOBAL max_allowed_packet=500000000",
    "SET GLOBAL connect_timeout=86400",
    "SET GLOBAL innodb_log_file_size=500000000",
    kPlainMode,
};

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// A text as the client takes it; what has no ASCII form is left to the client's own default.
std::optional<std::string> asciiText(const std::string& text) {
  return isAscii(text) ? std::optional(text) : std::nullopt;
}

std::string textOf(const PlistDict& entry, const char* key) {
  const auto found = entry.find(key);
  return found == entry.end() ? std::string() : found->second.text().value_or("");
}

ServerConnection connectionFrom(const PlistDict& entry) {
  ServerConnection connection;
  connection.name = textOf(entry, "name");
  connection.host = textOf(entry, "host");
  connection.user = textOf(entry, "user");
  connection.password = textOf(entry, "password");
  connection.database = textOf(entry, "database");
  connection.socket = textOf(entry, "socket");
  const auto port = entry.find("port");
  if (port != entry.end()) {
    connection.port = static_cast<int>(port->second.integer().value_or(0));
  }
  return connection;
}

/// The entry of a connection; whatever else stands in it stays.
void putInto(PlistDict& entry, const ServerConnection& connection) {
  entry["name"] = PlistValue{connection.name};
  entry["host"] = PlistValue{connection.host};
  entry["user"] = PlistValue{connection.user};
  entry["password"] = PlistValue{connection.password};
  entry["database"] = PlistValue{connection.database};
  entry["socket"] = PlistValue{connection.socket};
  entry["port"] = PlistValue{std::int64_t{connection.port}};
}

/// The index under which the connection of this name stands now; -1 when it has gone.
std::int64_t indexOf(const PlistArray& list, const std::string& name) {
  std::int64_t index = 0;
  for (const PlistValue& entry : list) {
    if (entry.dict() == nullptr) continue;
    if (textOf(*entry.dict(), "name") == name) return index;
    ++index;
  }
  return -1;
}

PlistValue defaultFont() {
  PlistDict attributes;
  attributes["NSFontNameAttribute"] = PlistValue{std::string("Lucida Grande")};
  attributes["NSFontSizeAttribute"] = PlistValue{10.0};
  return PlistValue{std::move(attributes)};
}

}  // namespace

Connections::Connections(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
                         UserInterface& ui, ProcessState& process)
    : session_(session), database_(database), prefs_(prefs), ui_(ui), process_(process) {}

std::vector<std::string> Connections::connectionNames() const {
  std::vector<std::string> names;
  for (const ServerConnection& connection : connectionList_) names.push_back(connection.name);
  return names;
}

bool Connections::takeConnectPanelMayClose() { return std::exchange(connectPanelMayClose_, false); }

void Connections::fillDbPathFromPreference() {
  if (database_.dbPath.empty()) database_.dbPath = prefs_.text("dbPath").value_or("");
}

bool Connections::editPreferences(std::function<void(PlistDict&)> change) {
  const Result<void> saved = prefs_.edit(std::move(change));
  // A folder that takes no file refuses every change alike.
  if (!saved && std::exchange(toldError_, saved.error()) != saved.error()) {
    std::fprintf(stderr, "The preferences are not kept: %s\n", saved.error().c_str());
  }
  return saved.has_value();
}

void Connections::getConnectionPrefs() {
  // Read first: a first start writes it back, and connections may have been saved without a
  // database.
  const std::int64_t selected = prefs_.integer("selectedConnection").value_or(0);
  fillDbPathFromPreference();
  if (database_.dbPath.empty()) {
    firstRun = true;
    selectedConnection_ = static_cast<int>(std::clamp<std::int64_t>(selected, 0, INT32_MAX));
    if (callbacks_.resetPrefs) callbacks_.resetPrefs();
    prefs_.set("panelFont", defaultFont());
    saveConnectionPrefs();
  }
  readConnectionList();
  const auto count = static_cast<std::int64_t>(connectionList_.size());
  selectedConnection_ = selected >= 0 && selected < count ? static_cast<int>(selected) : 0;
  if (connectionList_.empty()) return;
  ui_.changed(kConnectionTable);
  getConnection();
  setConnection();
}

void Connections::readConnectionList() {
  connectionList_.clear();
  const PlistValue* saved = prefs_.find("connections");
  if (saved == nullptr || saved->array() == nullptr) return;
  for (const PlistValue& entry : *saved->array()) {
    if (entry.dict() != nullptr) connectionList_.push_back(connectionFrom(*entry.dict()));
  }
}

void Connections::selectNamed(const std::string& name) {
  readConnectionList();
  const std::vector<std::string> names = connectionNames();
  const auto found = std::find(names.begin(), names.end(), name);
  selectedConnection_ = found == names.end() ? 0 : static_cast<int>(found - names.begin());
}

bool Connections::saveConnectionPrefs() {
  if (callbacks_.saveSelectedSources) callbacks_.saveSelectedSources();
  if (!prefs_.has("panelFont")) prefs_.set("panelFont", defaultFont());
  const bool remembered = database_.remembered;
  return editPreferences([remembered, selected = selectedConnection_, name = current_.name,
                          dbPath = database_.dbPath](PlistDict& keys) {
    if (!remembered) return;
    // Another program may have taken an entry out of the list.
    const std::int64_t index = name.empty() ? -1 : indexOf(listAt(keys, "connections"), name);
    keys["selectedConnection"] = PlistValue{index >= 0 ? index : std::int64_t{selected}};
    // A first start has no name yet.
    if (!dbPath.empty()) keys["dbPath"] = PlistValue{dbPath};
  });
}

void Connections::getConnection() {
  current_ = connectionList_.empty()
                 ? ServerConnection()
                 : connectionList_[static_cast<std::size_t>(selectedConnection_)];
}

void Connections::setConnection() {
  form.connectNameTextField = current_.name;
  form.hostTextField = current_.host;
  form.userTextField = current_.user;
  form.passwordTextField = current_.password;
  form.dbPathTextField = current_.database;
  form.socketTextField = current_.socket;
  form.portTextField = current_.port == 0 ? std::string() : std::to_string(current_.port);
  ui_.changed(kConnectPanel);
}

void Connections::selectConnection(std::size_t row) {
  if (row >= connectionList_.size()) return;
  selectedConnection_ = static_cast<int>(row);
  getConnection();
  setConnection();
}

bool Connections::saveConnection() {
  current_.password = form.passwordTextField;
  const ServerConnection entry = {form.connectNameTextField,
                                  form.hostTextField,
                                  form.userTextField,
                                  current_.password,
                                  form.dbPathTextField,
                                  form.socketTextField,
                                  leadingInt(form.portTextField)};
  const bool saved = editPreferences([entry](PlistDict& keys) {
    PlistArray& list = listAt(keys, "connections");
    PlistDict* present = entryNamed(list, "name", entry.name);
    if (present == nullptr) {
      present = std::get_if<PlistDict>(&list.emplace_back(PlistValue{PlistDict{}}).value);
    }
    putInto(*present, entry);
    keys["selectedConnection"] = PlistValue{indexOf(list, entry.name)};
  });
  selectNamed(entry.name);
  getConnectionPrefs();
  ui_.changed(kConnectionTable);
  if (process_.unattendedRun != 0 && callbacks_.setStoreDate) callbacks_.setStoreDate();
  return saved;
}

bool Connections::deleteConnection() {
  bool saved = true;
  if (!connectionList_.empty()) {
    const std::string name = connectionList_[static_cast<std::size_t>(selectedConnection_)].name;
    saved = editPreferences([name](PlistDict& keys) {
      PlistArray& list = listAt(keys, "connections");
      const auto gone = std::find_if(list.begin(), list.end(), [&name](const PlistValue& entry) {
        return entry.dict() != nullptr && textOf(*entry.dict(), "name") == name;
      });
      if (gone != list.end()) list.erase(gone);
      keys["selectedConnection"] = PlistValue{std::int64_t{0}};
    });
  }
  readConnectionList();
  selectedConnection_ = 0;
  ui_.changed(kConnectionTable);
  selectConnection(0);
  // The rest has nothing to do with connections. Kept: a schedule made from here on carries the
  // argument in its command.
  storePanelWhite = kStorePanelWhite;
  ui_.changed("storePanel");
  readArgumentsAgain();
  process_.launchCommand += " 1\n";
  return saved;
}

bool Connections::useConnection(std::size_t row) {
  if (row >= connectionList_.size()) return false;
  const std::string wanted = connectionList_[row].name;
  const std::string left = current_.name;
  const std::string used = prefs_.text("dbPath").value_or("");
  if (left != wanted && current_.database.empty() && !used.empty()) {
    const bool noted = editPreferences([left, used](PlistDict& keys) {
      PlistDict* entry = entryNamed(listAt(keys, "connections"), "name", left);
      if (entry != nullptr) (*entry)["database"] = PlistValue{used};
    });
    if (!noted) return false;
  }
  selectNamed(wanted);
  getConnection();
  setConnection();
  database_.remembered = true;
  if (!current_.database.empty()) {
    database_.dbPath = current_.database;
  } else if (left != wanted) {
    database_.dbPath = kDefaultDatabase;
  }
  return saveConnectionPrefs();
}

void Connections::readArgumentsAgain() {
  const std::vector<std::string>& arguments = process_.launchArguments;
  process_.launchCommand = arguments.empty() ? std::string() : arguments.front();
  replaceAll(process_.launchCommand, " ", "\\ ");
  if (arguments.size() >= 2) process_.unattendedRun = leadingInt(arguments[1]);
}

void Connections::newConnect() {
  ui_.changed(kConnectionTable);
  ui_.runModal(kConnectPanel);
}

void Connections::doConfigure() {
  for (const char* statement : kConfiguration) {
    // A server that keeps its values to itself is not an error.
    static_cast<void>(session_.query(statement));
  }
  // A session keeps the limit that the server had when it was opened, and a message above it would
  // end the run as a lost server.
  if (!isConnected_ || !session_.query(kHasSmallPackets) || fetchFirstCell(session_) != "1") return;
  session_.init();
  if (!openSession(database_.dbPath)) static_cast<void>(openSession(""));
}

void Connections::readForm() {
  current_.host = form.hostTextField.empty() ? "no host entered" : form.hostTextField;
  current_.name = form.connectNameTextField;
  current_.user = form.userTextField;
  current_.socket = form.socketTextField;
  current_.password = form.passwordTextField;
  current_.port = leadingInt(form.portTextField);
  current_.database = database_.dbPath.empty() ? form.dbPathTextField : database_.dbPath;
}

bool Connections::prepareServer(std::string& error) {
  if (form.connectNameTextField != kLocalConnectionName || !callbacks_.prepareServer) return true;
  return callbacks_.prepareServer(form, error);
}

void Connections::doConnect() {
  ui_.endModal();
  connectPanelMayClose_ = true;
  if (form.hostTextField.empty()) form.hostTextField = current_.host = kDefaultHost;
  if (form.userTextField.empty()) form.userTextField = current_.user = kDefaultUser;
  if (ui_.isPanelVisible(kConnectPanel)) {
    database_.dbPath = form.dbPathTextField;
    ui_.closePanel(kConnectPanel);
  }
  session_.close();
  isConnected_ = false;
  // Before the form is read: the private server's host and socket are filled in there.
  std::string error;
  if (!prepareServer(error)) {
    connectionFailed(error);
    return;
  }
  readForm();
  for (const std::string& name : {form.dbPathTextField, current_.database}) {
    const Result<void> named = name.empty() ? Result<void>() : checkDatabaseName(name);
    if (named) continue;
    connectionFailed(named.error());
    return;
  }
  const std::vector<std::string>& arguments = process_.launchArguments;
  cnfPath_ = resourceFile(arguments.empty() ? std::string() : arguments.front(), "mymy.cnf");
  session_.init();
  if (!connectToServer()) {
    connectionFailed(session_.error());
    return;
  }
  connected();
}

ServerAddress Connections::address(const std::string& database) const {
  ServerAddress address;
  address.host = asciiText(current_.host);
  address.user = asciiText(current_.user);
  address.password = asciiText(current_.password);
  if (!database.empty()) address.database = asciiText(database);
  if (!current_.socket.empty()) address.socket = asciiText(current_.socket);
  address.port = static_cast<unsigned>(current_.port);
  return address;
}

bool Connections::openSession(const std::string& database) {
  if (!session_.connect(address(database))) return false;
  // The values of the whole server are left to `doConfigure`: a command that only reads does not
  // change them.
  return session_.query(kPlainMode);
}

bool Connections::connectToServer() {
  const std::string database = form.dbPathTextField;
  if (database.empty()) return openSession("");
  if (!openSession(database)) {
    // The server may be there and only the database missing.
    if (!openSession("")) return false;
    if (database_.opening == Opening::create) openNewDatabase();
  }
  database_.dbPath = current_.database;
  fillDbPathFromPreference();
  return true;
}

void Connections::openNewDatabase() {
  database_.dbPath = form.dbPathTextField;
  fillDbPathFromPreference();
  ui_.progressStarted("Indexing...");
  if (!database_.dbPath.empty()) database_.openDatabase();
  ui_.progressEnded();
  if (database_.isOpen()) saveConnectionPrefs();
}

void Connections::connected() {
  const auto call = [](const std::function<void()>& step) {
    if (step) step();
  };
  isConnected_ = true;
  const bool writes = database_.opening == Opening::create;
  if (!database_.dbPath.empty() || !writes) {
    database_.openDatabase();
    // Nothing is read out of another database, and nothing remembered of a name that is none.
    if (!database_.isOpen()) {
      isConnected_ = database_.opening != Opening::existing;
      ui_.progressEnded();
      return;
    }
  }
  call(callbacks_.forgetPostboxFolder);
  call(callbacks_.getSettings);
  call(callbacks_.showAppearanceAndPostbox);
  if (writes && std::exchange(firstRun, false)) {
    call(callbacks_.resetPrefs);
    call(callbacks_.savePreferences);
  }
  call(callbacks_.getPrefs);
  if (writes) call(callbacks_.savePreferences);
  call(callbacks_.getCategories);
  ui_.progressEnded();
  call(callbacks_.get500emails);
}

void Connections::connectionFailed(const std::string& error) {
  ui_.alert({"SQL Error",
             "Failed to connect to server: Error: " + error + "\n",
             AlertStyle::critical,
             {"OK"}});
  if (callbacks_.connectFailed) {
    process_.cancelFlag = 1;
    callbacks_.connectFailed(error);
    return;
  }
  newConnect();
}

}  // namespace keldane
