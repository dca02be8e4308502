#include "app/archiver.h"

#include <cstdio>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/sources/mail_store_probe.h"
#include "schedule/system_schedule_agent.h"

namespace keldane {
namespace {

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
      session_(options.makeSession ? options.makeSession() : makeMysqlSession()),
      prefs_(findPreferences(ports.environment, process_)),
      database_(*session_, ports.ui, process_),
      connections_(*session_, database_, prefs_, ports.ui, process_),
      settings_(*session_, database_, prefs_, ports.ui, process_),
      localServer_(serverOptions(process_), ports.tools, ports.environment),
      scheduleAgent_(options.makeScheduleAgent ? options.makeScheduleAgent()
                                               : makeScheduleAgent(ports.tools, process_.homePath)),
      schedule_({settings_, *scheduleAgent_, ports.tools, ports.environment, ports.ui, process_,
                 options.cleansCrontab}) {}

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
  settings_.getPrefs();
  prefs_.setInteger("diskAccessState", settings_.user.diskAccessState);
}

void Archiver::makeWorkFolder() {
  process_.workFolder =
      ports_.environment.temporaryFolder() + "keldane_" + ports_.environment.uniqueString();
  if (const Result<void> made = makeFolders(process_.workFolder); !made) {
    std::fprintf(stderr, "%s\n", made.error().c_str());
  }
  workFolders_.push_back(process_.workFolder);
}

void Archiver::removeWorkFiles(const std::array<std::string, 3>& files) {
  if (!process_.debugLogOn && fileExists(process_.logFilePath)) {
    for (const std::string& file : files) std::remove(file.c_str());
  }
  // The log of a run stays, and its folder with it.
  for (const std::string& folder : workFolders_) ::rmdir(folder.c_str());
}

bool Archiver::connectForCommand(const std::string& connectionName, const std::string& databaseName,
                                 Opening opening) {
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
  if (!databaseName.empty()) connections_.form.dbPathTextField = databaseName;
  takeConnectionsDatabase();
  connections_.doConnect();
  return connections_.isConnected();
}

bool Archiver::connectUnattended() {
  ensureConnection();
  database_.remembered = !prefs_.has("dbPath");
  takeConnectionsDatabase();
  connections_.doConnect();
  return connections_.isConnected();
}

void Archiver::takeConnectionsDatabase() {
  const std::string& own = connections_.form.dbPathTextField;
  if (!own.empty()) database_.dbPath = own;
}

void Archiver::ensureConnection() {
  if (connections_.connectionList().empty()) savePrivateServer();
}

bool Archiver::savePrivateServer() {
  connections_.form = {};
  connections_.form.connectNameTextField = kLocalConnectionName;
  connections_.form.hostTextField = "localhost";
  connections_.form.userTextField = "root";
  connections_.form.socketTextField = localServer_.socketPath();
  // Saving a connection goes on to a run when the start is unattended; this one is only noted.
  const int unattended = process_.unattendedRun;
  process_.unattendedRun = 0;
  const bool saved = connections_.saveConnection();
  process_.unattendedRun = unattended;
  return saved;
}

Result<void> Archiver::prepareServer(ConnectForm& form) {
  if (form.connectNameTextField != kLocalConnectionName) return {};
  const Result<LocalServer::Status> started = localServer_.start();
  if (!started) return Failure{started.error()};
  form.hostTextField = "localhost";
  form.userTextField = started->user;
  form.socketTextField = started->socket;
  return {};
}

}  // namespace keldane
