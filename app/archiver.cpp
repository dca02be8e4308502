#include "app/archiver.h"

#include <cstdio>
#include <fstream>
#include <string_view>
#include <thread>
#include <utility>

#include <unistd.h>

#include "app/run_index.h"
#include "archive/failover_session.h"
#include "base/files.h"
#include "base/text.h"
#include "ingest/sources/mail_store_probe.h"
#include "schedule/system_schedule_agent.h"

namespace keldane {
namespace {

/// A server that takes every login and drops every session ends here.
constexpr int kMostReconnects = 1000;
constexpr std::array<std::string_view, 8> kGuardedSystems = {"10.14.", "10.15.", "11.", "12.",
                                                             "13.",    "14.",    "15.", "16."};

/// The user's own folders, in `state` before anything is made that lies in them.
std::string findPreferences(const Environment& environment, ProcessState& state) {
  state.userName = environment.variable("USER").value_or("");
  state.homePath = environment.variable("HOME").value_or("");
  state.prefsFilePath = state.homePath + "/Library/Preferences/com.varnwick.KeldanePro.plist";
  return state.prefsFilePath;
}

LocalServer::Options serverOptions(const ProcessState& state) {
  LocalServer::Options options;
  options.folder = supportFolder(state) + "/Server";
  return options;
}

}  // namespace

Archiver::Archiver(Ports ports, const Options& options)
    : ports_(ports),
      startServer_(options.startServer),
      session_(options.makeSession ? options.makeSession()
                                   : makeFailoverSession(makeMysqlSession())),
      prefs_(findPreferences(ports.environment, process_)),
      database_(*session_, ports.progress, process_),
      connections_(*session_, database_, prefs_, ports.progress, process_),
      settings_(*session_, database_, prefs_, process_),
      localServer_(serverOptions(process_), ports.tools, ports.environment),
      scheduleAgent_(options.makeScheduleAgent ? options.makeScheduleAgent()
                                               : makeScheduleAgent(ports.tools, process_.homePath)),
      schedule_({settings_, *scheduleAgent_, ports.tools, ports.environment, process_,
                 options.cleansCrontab}),
      tagRules_(prefs_),
      sources_(process_, settings_, ports.host),
      runIndex_(std::make_unique<RunIndex>(
          RunIndex::Context{*session_, process_, ports.environment, settings_})),
      archiveRun_({*session_, process_, database_, connections_, settings_, sources_, tagRules_,
                   ports.progress, ports.mainQueue, ports.environment, ports.host,
                   runIndex_.get()}) {
  database_.reconnect = [this] { return reconnect(); };
  session_->notice = [this, main = std::this_thread::get_id()](const std::string& line) {
    if (std::this_thread::get_id() == main) return ports_.progress.notice(line);
    archiveRun_.writeStoreLog(line + "\n");
    ports_.mainQueue.post([this, line] { ports_.progress.notice(line); });
  };
}

Archiver::~Archiver() = default;

bool Archiver::start() {
  process_.systemVersion = ports_.environment.systemVersion();
  probeMailStore(process_);
  makeWorkFolder();
  process_.launchArguments = ports_.environment.arguments();
  if (!process_.launchArguments.empty()) {
    process_.launchCommand = process_.launchArguments.front();
    replaceAll(process_.launchCommand, " ", "\\ ");
  }
  if (process_.launchArguments.size() >= 2) {
    process_.unattendedRun = leadingInt(process_.launchArguments[1]);
  }
  return process_.unattendedRun == 0 || schedule_.isScheduled();
}

void Archiver::loadPreferences() {
  connections_.getConnectionPrefs();
  if (connections_.firstRun) resetPrefs();
  getPrefs();
  prefs_.setInteger("diskAccessState", settings_.user.diskAccessState);
}

void Archiver::getPrefs() {
  if (settings_.getPrefs()) sources_.acctRowsLoaded = false;
  tagRules_.load();
}

void Archiver::resetPrefs() {
  settings_.resetPrefs();
  sources_.acctRowsLoaded = false;
}

void Archiver::makeWorkFolder() {
  process_.workFolder =
      ports_.environment.temporaryFolder() + "keldane_" + ports_.environment.uniqueString();
  if (const Result<void> made = makeFolders(process_.workFolder); !made) {
    std::fprintf(stderr, "%s\n", made.error().c_str());
  }
  workFolders_.push_back(process_.workFolder);
}

void Archiver::close(const std::function<void()>& lastStatements) {
  const std::array<std::string, 3> workFiles = {process_.logFilePath, process_.tmpFilePath,
                                                process_.storeLogPath};
  archiveRun_.abandon();
  if (lastStatements) lastStatements();
  removeWorkFiles(workFiles);
  session_->close();
}

bool Archiver::fullDiskAccessRefused() const {
  const std::string probe = process_.homePath + process_.mailRootSuffix + "/PersistenceInfo.plist";
  // Opened, because a guarded system grants the access and refuses the opening.
  if (!fileExists(probe) || std::ifstream(probe).is_open()) return false;
  for (const std::string_view version : kGuardedSystems) {
    if (process_.systemVersion.starts_with(version)) return true;
  }
  return false;
}

void Archiver::removeWorkFiles(const std::array<std::string, 3>& files) {
  if (!process_.debugLogOn && fileExists(process_.logFilePath)) {
    for (const std::string& file : files) std::remove(file.c_str());
  }
  // The log of a run stays, and its folder with it.
  for (const std::string& folder : workFolders_) ::rmdir(folder.c_str());
}

void Archiver::setDebugLog(bool on) {
  process_.debugLogOn = on;
  if (on) {
    process_.workFolder = process_.homePath + "/Desktop/";
  } else {
    makeWorkFolder();
  }
}

Faults Archiver::connect(const ServerConnection& wanted) {
  wanted_ = wanted;
  // No connect within the connect: where the server goes away, this one begins again.
  const std::function<Faults()> reconnect = std::exchange(database_.reconnect, nullptr);
  Faults faults = connectOnce(wanted);
  for (int more = kMostReconnects; more > 0 && database_.takeLost(); --more) {
    process_.cancelFlag = 0;
    faults = connectOnce(wanted);
  }
  database_.reconnect = reconnect;
  return faults;
}

Faults Archiver::reconnect() { return connect(wanted_); }

Faults Archiver::connectOnce(ServerConnection wanted) {
  if (wanted.host.empty()) wanted.host = kDefaultHost;
  if (wanted.user.empty()) wanted.user = kDefaultUser;
  Faults faults;
  if (!connectOwnServer(wanted, faults)) {
    if (const Result<void> prepared = prepareServer(wanted); !prepared) {
      connections_.disconnect();
      return {connectFault(prepared.error())};
    }
    faults = connections_.connect(wanted);
  }
  if (!connections_.isConnected() || database_.isLost()) return faults;
  const bool writes = database_.opening == Opening::create;
  if (!database_.dbPath.empty() || !writes) {
    append(faults, database_.openDatabase());
    // Nothing is read out of another database, and nothing remembered of a name that is none.
    if (!database_.isOpen()) {
      if (database_.opening == Opening::existing) connections_.abandon();
      ports_.progress.stage({});
      return faults;
    }
  }
  append(faults, settings_.getSettings());
  if (database_.isLost()) return faults;
  if (writes && std::exchange(connections_.firstRun, false)) {
    // An archive that has settings keeps them, however new this machine is.
    if (!settings_.archiveHasSettings()) resetPrefs();
    append(faults, settings_.savePreferences());
  }
  getPrefs();
  if (writes) append(faults, settings_.savePreferences());
  // Of use where tags are chosen and settings saved; it looks at all tags.
  if (writes) append(faults, settings_.getCategories());
  ports_.progress.stage({});
  return faults;
}

Faults Archiver::connectForCommand(const std::string& connectionName,
                                   const std::string& databaseName, Opening opening) {
  ensureConnection();
  database_.opening = opening;
  // Only a choice is remembered, and what a first archive is called.
  const bool asUsual = connectionName.empty() && databaseName.empty();
  database_.remembered = asUsual && opening == Opening::create && !prefs_.has("dbPath");
  if (!connectionName.empty()) {
    const std::vector<std::string> names = connections_.connectionNames();
    for (std::size_t row = 0; row < names.size(); ++row) {
      if (names[row] == connectionName) connections_.selectConnection(row);
    }
  }
  ServerConnection wanted = connections_.current();
  if (!databaseName.empty()) wanted.database = databaseName;
  return connectTo(wanted);
}

Faults Archiver::connectUnattended() {
  ensureConnection();
  database_.remembered = !prefs_.has("dbPath");
  return connectTo(connections_.current());
}

Faults Archiver::connectTo(const ServerConnection& wanted) {
  if (!wanted.database.empty()) database_.dbPath = wanted.database;
  return connect(wanted);
}

void Archiver::ensureConnection() {
  if (connections_.connectionList().empty()) savePrivateServer();
}

bool Archiver::savePrivateServer() {
  ServerConnection own;
  own.name = kLocalConnectionName;
  own.host = kDefaultHost;
  own.user = kDefaultUser;
  own.socket = localServer_.socketPath();
  return connections_.saveConnection(own);
}

/// A private server that runs is there for one connect: to ask it first whether it does takes two
/// more, half the time of a short command.
bool Archiver::connectOwnServer(ServerConnection wanted, Faults& faults) {
  if (wanted.name != kLocalConnectionName || !localServer_.mayRun()) return false;
  wanted.host = kDefaultHost;
  wanted.user = kLocalUser;
  wanted.socket = localServer_.socketPath();
  faults = connections_.connect(wanted);
  return connections_.isConnected();
}

Result<void> Archiver::prepareServer(ServerConnection& wanted) {
  if (wanted.name != kLocalConnectionName) return {};
  const Result<LocalServer::Status> started =
      startServer_ ? startServer_(localServer_) : localServer_.start();
  if (!started) return Failure{started.error()};
  wanted.host = kDefaultHost;
  wanted.user = started->user;
  wanted.socket = started->socket;
  return {};
}

}  // namespace keldane
