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

namespace keldane {
namespace {

constexpr const char* kDefaultDatabase = "myemaildb";

/// A server may start its sessions with modes that refuse what the statements are built on: double
/// quotes around texts, the backslash in them, texts that are cut to their column.
constexpr const char* kPlainMode = "SET SESSION sql_mode=''";

/// The same, and on the node of a cluster a reading waits for what the others have written before
/// it. Where the server knows no clusters it refuses both.
constexpr const char* kClusterMode = "SET SESSION wsrep_sync_wait=1,sql_mode=''";

constexpr const char* kHasSmallPackets =
    "SELECT @@SESSION.max_allowed_packet<@@GLOBAL.max_allowed_packet";

/// In the order of `TlsMode`.
constexpr std::array<std::string_view, 4> kTlsNames = {"off", "prefer", "require", "verify"};

constexpr std::array<const char*, 4> kConfiguration = {
    "SET GLOBAL max_allowed_packet=500000000",
    "SET GLOBAL connect_timeout=86400",
    "SET GLOBAL innodb_log_file_size=500000000",
    kPlainMode,
};

/// An error that no server has answered: there is none, or it cannot be reached.
bool isOfClient(unsigned number) { return number >= 2000 && number < 3000; }

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// A text as the client takes it; what has no ASCII form is left to the client's own default.
std::optional<std::string> asciiText(const std::string& text) {
  return isAscii(text) ? std::optional(text) : std::nullopt;
}

/// Those of a connection; one without a name when what was typed is none.
std::vector<HostPlace> hostsOf(const ServerConnection& connection) {
  const auto port = static_cast<unsigned>(connection.port);
  Result<std::vector<HostPlace>> hosts = parseHosts(connection.host, port);
  return hosts ? std::move(*hosts) : std::vector<HostPlace>{{connection.host, port}};
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
  // A word that is none must not open what was to be closed.
  const std::string tls = textOf(entry, "tls");
  if (!tls.empty()) connection.tls = findTls(tls).value_or(TlsMode::verify);
  connection.tlsAuthority = textOf(entry, "tlsAuthority");
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
  if (connection.tls) {
    entry["tls"] = PlistValue{std::string(tlsName(*connection.tls))};
    entry["tlsAuthority"] = PlistValue{connection.tlsAuthority};
  }
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

std::string_view tlsName(TlsMode mode) { return kTlsNames[static_cast<std::size_t>(mode)]; }

std::optional<TlsMode> findTls(std::string_view name) {
  const auto* const found = std::find(kTlsNames.begin(), kTlsNames.end(), name);
  if (found == kTlsNames.end()) return std::nullopt;
  return static_cast<TlsMode>(found - kTlsNames.begin());
}

Connections::Connections(ServerSession& session, ArchiveDatabase& database, PreferencesFile& prefs,
                         Progress& progress, ProcessState& process)
    : session_(session),
      database_(database),
      prefs_(prefs),
      progress_(progress),
      process_(process) {}

std::vector<std::string> Connections::connectionNames() const {
  std::vector<std::string> names;
  for (const ServerConnection& connection : connectionList_) names.push_back(connection.name);
  return names;
}

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
    prefs_.set("panelFont", defaultFont());
    saveConnectionPrefs();
  }
  readConnectionList();
  const auto count = static_cast<std::int64_t>(connectionList_.size());
  selectedConnection_ = selected >= 0 && selected < count ? static_cast<int>(selected) : 0;
  selectConnection(static_cast<std::size_t>(selectedConnection_));
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

void Connections::selectConnection(std::size_t row) {
  if (row >= connectionList_.size()) return;
  selectedConnection_ = static_cast<int>(row);
  current_ = connectionList_[row];
}

void Connections::selectAgain(const ServerConnection& opened) {
  selectNamed(opened.name);
  current_ = opened;
}

bool Connections::saveConnection(const ServerConnection& connection) {
  ServerConnection entry = connection;
  // What another machine must prove is settled when it becomes known.
  if (tlsOf(connection) == TlsMode::verify) entry.tls = TlsMode::verify;
  const bool saved = editPreferences([connection = std::move(entry)](PlistDict& keys) {
    PlistArray& list = listAt(keys, "connections");
    PlistDict* present = entryNamed(list, "name", connection.name);
    if (present == nullptr) {
      present = std::get_if<PlistDict>(&list.emplace_back(PlistValue{PlistDict{}}).value);
    }
    putInto(*present, connection);
    keys["selectedConnection"] = PlistValue{indexOf(list, connection.name)};
  });
  selectNamed(connection.name);
  getConnectionPrefs();
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
  selectConnection(0);
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
  selectConnection(static_cast<std::size_t>(selectedConnection_));
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

void Connections::disconnect() {
  session_.close();
  isConnected_ = false;
}

Faults Connections::connect(const ServerConnection& wanted) {
  disconnect();
  current_ = wanted;
  if (!database_.dbPath.empty()) current_.database = database_.dbPath;
  for (const std::string& name : {wanted.database, current_.database}) {
    const Result<void> named = name.empty() ? Result<void>() : checkDatabaseName(name);
    if (!named) return {connectFault(named.error())};
  }
  const Result<std::vector<HostPlace>> hosts = parseHosts(current_.host, 0);
  if (!hosts) return {connectFault(hosts.error())};
  const std::vector<std::string>& arguments = process_.launchArguments;
  cnfPath_ = resourceFile(arguments.empty() ? std::string() : arguments.front(), "mymy.cnf");
  session_.init();
  Faults faults;
  if (!openSession(wanted.database)) {
    // The server may be there and only the database missing.
    if (wanted.database.empty() || isOfClient(session_.errorNumber()) || !openSession("")) {
      return {connectFault(session_.error())};
    }
    if (database_.opening == Opening::create) faults = openNewDatabase(wanted.database);
  }
  if (!wanted.database.empty()) {
    database_.dbPath = current_.database;
    fillDbPathFromPreference();
  }
  isConnected_ = true;
  return faults;
}

Faults Connections::openNewDatabase(const std::string& name) {
  database_.dbPath = name;
  progress_.stage("Indexing...");
  Faults faults = database_.openDatabase();
  progress_.stage({});
  if (database_.isOpen()) saveConnectionPrefs();
  return faults;
}

const ServerConnection* Connections::savedAs(const std::string& name) const {
  const auto found =
      std::find_if(connectionList_.begin(), connectionList_.end(),
                   [&name](const ServerConnection& entry) { return entry.name == name; });
  return found == connectionList_.end() ? nullptr : &*found;
}

TlsMode Connections::tlsOf(const ServerConnection& connection) const {
  if (connection.tls) return *connection.tls;
  if (const ServerConnection* saved = savedAs(connection.name)) {
    return saved->tls.value_or(TlsMode::prefer);
  }
  const std::vector<HostPlace> hosts = hostsOf(connection);
  const bool leaves = std::any_of(hosts.begin(), hosts.end(), [](const HostPlace& place) {
    return !isThisMachine(place.host);
  });
  return leaves ? TlsMode::verify : TlsMode::prefer;
}

ServerAddress Connections::address(const std::string& database) const {
  if (const std::optional<HostPlace> place = session_.place()) {
    return addressOf({*place}, database);
  }
  return addressOf(hostsOf(current_), database);
}

ServerAddress Connections::addressOf(const std::vector<HostPlace>& places,
                                     const std::string& database) const {
  ServerAddress address;
  address.host = asciiText(places.front().host);
  address.port = places.front().port;
  address.otherHosts.assign(places.begin() + 1, places.end());
  address.user = asciiText(current_.user);
  address.password = asciiText(current_.password);
  if (!database.empty()) address.database = asciiText(database);
  if (!current_.socket.empty()) address.socket = asciiText(current_.socket);
  address.tls = tlsOf(current_);
  const ServerConnection* saved = savedAs(current_.name);
  address.tlsAuthority =
      current_.tls || saved == nullptr ? current_.tlsAuthority : saved->tlsAuthority;
  return address;
}

bool Connections::openSession(const std::string& database) {
  if (!session_.connect(addressOf(hostsOf(current_), database))) return false;
  // The values of the whole server are left to `doConfigure`: a command that only reads does not
  // change them.
  return session_.query(kClusterMode) || session_.query(kPlainMode);
}

}  // namespace keldane
