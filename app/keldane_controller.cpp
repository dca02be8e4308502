#include "app/keldane_controller.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/mail_store_probe.h"
#include "ingest/tag_rule_plist.h"

namespace keldane {
namespace {

constexpr std::chrono::nanoseconds kSingleInstanceDelay{500000000};
constexpr std::string_view kWindowProgram = "KeldanePro";
constexpr const char* kFullDiskAccessText =
    "Make sure you have granted Full Disk Access to Keldane Pro in the Security and Privacy system "
    "preferences panel.";
constexpr std::array<std::string_view, 8> kGuardedSystems = {"10.14.", "10.15.", "11.", "12.",
                                                             "13.",    "14.",    "15.", "16."};

}  // namespace

KeldaneController::KeldaneController(Ports ports, Options options)
    : ports_(std::move(ports)), options_(std::move(options)) {}

KeldaneController::~KeldaneController() = default;

void KeldaneController::init() {
  process_.userName = ports_.environment.variable("USER").value_or("");
  process_.homePath = ports_.environment.variable("HOME").value_or("");
  process_.prefsFilePath = process_.homePath + "/Library/Preferences/com.varnwick.KeldanePro.plist";
  makeParts();
  if (const Result<void> loaded = prefs_->load(); !loaded) {
    ports_.ui.alert({"Settings", loaded.error(), AlertStyle::critical, {"OK"}});
  }
}

void KeldaneController::makeParts() {
  session_ = options_.makeSession ? options_.makeSession() : makeMysqlSession();
  prefs_ = std::make_unique<PreferencesFile>(process_.prefsFilePath);
  progress_ = std::make_unique<ProgressPanel>(ports_.ui, ports_.mainQueue);
  database_ = std::make_unique<ArchiveDatabase>(*session_, ports_.ui, process_);
  connections_ = std::make_unique<Connections>(*session_, *database_, *prefs_, ports_.ui, process_);
  settings_ = std::make_unique<Settings>(*session_, *database_, *prefs_, ports_.ui, process_);
  LocalServer::Options serverOptions;
  serverOptions.folder = supportFolder(process_) + "/Server";
  localServer_ = std::make_unique<LocalServer>(serverOptions, ports_.tools, ports_.environment);
  resultList_ = std::make_unique<ResultList>(*session_, *progress_, ports_.ui, process_);
  resultList_->makesListViews = options_.keepsResultList;
  wireDatabase();
  wireConnections();
  wireSettings();
  wireRun();
}

void KeldaneController::wireDatabase() {
  database_->setCallbacks({
      .reconnect = [this] { connections_->doConnect(); },
      .databaseDropped =
          [this] {
            settings_->savePreferences();
            settings_->getPrefs();
          },
      .forgetDatabase = [this](const std::string& name) { settings_->forgetDatabase(name); },
  });
}

void KeldaneController::wireConnections() {
  Connections::Callbacks callbacks;
  callbacks.prepareServer = [this](ConnectForm& form, std::string& error) {
    if (form.connectNameTextField != kLocalConnectionName) return true;
    const Result<LocalServer::Status> started = localServer_->start();
    if (!started) {
      error = started.error();
      return false;
    }
    form.hostTextField = "localhost";
    form.socketTextField = started->socket;
    return true;
  };
  callbacks.getSettings = [this] { settings_->getSettings(); };
  callbacks.showAppearanceAndPostbox = [this] {
    settings_->form.selectEmailAppMatrix = settings_->archive.postbox;
    settings_->form.selectAppearanceMatrix = settings_->archive.appearanceState;
  };
  callbacks.resetPrefs = [this] { settings_->resetPrefs(); };
  callbacks.savePreferences = [this] { settings_->savePreferences(); };
  callbacks.getPrefs = [this] { settings_->getPrefs(); };
  callbacks.getCategories = [this] { settings_->getCategories(); };
  callbacks.get500emails = [this] {
    if (options_.keepsResultList) resultList_->get500emails();
  };
  callbacks.setStoreDate = [this] { archiveRun_->setStoreDate(); };
  callbacks.connectFailed = options_.connectFailed;
  connections_->setCallbacks(std::move(callbacks));
}

void KeldaneController::wireSettings() {
  Settings::Callbacks callbacks;
  callbacks.markFirstRun = [this] { connections_->firstRun = true; };
  callbacks.makeWorkFolder = [this] { makeWorkFolder(); };
  callbacks.loadRulesAndSearches = [this] {
    const PlistValue* rules = prefs_->find("tagRules");
    if (rules != nullptr && rules->array() != nullptr) {
      tagRulesList_ = tagRulesFromPlist(*rules->array());
    }
  };
  callbacks.accountRowsStale = [this] { sources_.acctRowsLoaded = false; };
  callbacks.get500emails = [this] {
    if (options_.keepsResultList) resultList_->get500emails();
  };
  callbacks.quitAndRelaunch = [this] { terminate(); };
  settings_->setCallbacks(std::move(callbacks));
  resultList_->setCallbacks({
      .dateStyle =
          [this] {
            return DateStyle{settings_->user.dateFormat, settings_->user.separator};
          },
      .dbPath = [this] { return database_->dbPath; },
      .storeLog = [this](const std::string& line) { archiveRun_->writeStoreLog(line); },
      .clearMessageViews = {},
  });
}

void KeldaneController::wireRun() {
  ArchiveRun::Callbacks callbacks;
  callbacks.retrieve = [this](const std::string& sql) {
    if (!options_.keepsResultList) return;
    resultList_->currentSql = sql;
    resultList_->retrieve();
  };
  callbacks.clearResultList = [this] { resultList_->clear(); };
  callbacks.terminate = [this] { terminate(); };
  archiveRun_ = std::make_unique<ArchiveRun>(
      ArchiveRun::Context{*session_, process_, *database_, *connections_, *settings_, sources_,
                          tagRulesList_, *progress_, ports_.ui, ports_.mainQueue,
                          ports_.environment, ports_.host},
      std::move(callbacks));
}

std::string KeldaneController::agentPath() const {
  return process_.homePath + "/Library/LaunchAgents/keldanepro.schedule.plist";
}

void KeldaneController::makeWorkFolder() {
  process_.workFolder =
      ports_.environment.temporaryFolder() + "keldane_" + ports_.environment.uniqueString();
  if (const Result<void> made = makeFolders(process_.workFolder); !made) {
    std::fprintf(stderr, "%s\n", made.error().c_str());
  }
}

void KeldaneController::awakeFromNib() {
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
  if (process_.unattendedRun != 0 && !fileExists(agentPath())) {
    terminate();
    return;
  }
  connections_->getConnectionPrefs();
  settings_->getPrefs();
  prefs_->setInteger("diskAccessState", settings_->user.diskAccessState);
}

bool KeldaneController::fullDiskAccessRefused() {
  const std::string probe = process_.homePath + process_.mailRootSuffix + "/PersistenceInfo.plist";
  if (!fileExists(probe) || ::access(probe.c_str(), R_OK) == 0) return false;
  for (const std::string_view version : kGuardedSystems) {
    if (process_.systemVersion.starts_with(version)) return true;
  }
  return false;
}

void KeldaneController::applicationDidFinishLaunching() {
  if (terminated_) return;
  ports_.mainQueue.postAfter(kSingleInstanceDelay, [this] {
    int copies = 0;
    for (const RunningApplication& application : ports_.host.runningApplications()) {
      if (application.executableName == kWindowProgram) ++copies;
    }
    if (copies > 1) terminate();
  });
  ports_.host.requestMailAutomation();
  if (fullDiskAccessRefused()) {
    ports_.ui.alert({"Full Disk Access", kFullDiskAccessText, AlertStyle::critical, {"OK"}});
    return;
  }
  if (process_.unattendedRun != 0) {
    ensureConnection();
    connections_->doConnect();
    if (!connections_->isConnected()) return;
    connections_->doConfigure();
    ports_.ui.closePanel("storePanel");
    archiveRun_->setStoreDate();
    return;
  }
  connections_->newConnect();
  ports_.ui.showPanel("storePanel");
  connections_->doConfigure();
  if (settings_->archive.mailboxesState != 0) progress_->close();
  resultList_->get500emails();
  if (settings_->user.showOnStartupState != 0) ports_.ui.showPanel("splashScreen");
}

void KeldaneController::applicationWillTerminate() {
  archiveRun_->abandon();
  resultList_->dropAllViewsQuietly();
  if (!process_.debugLogOn) {
    for (const std::string& path : {process_.logFilePath, process_.tmpFilePath}) {
      if (!path.empty()) std::remove(path.c_str());
    }
  }
  session_->close();
}

bool KeldaneController::connectForCommand(const std::string& connectionName,
                                          const std::string& databaseName) {
  ensureConnection();
  if (!connectionName.empty()) {
    const std::vector<std::string> names = connections_->connectionNames();
    for (std::size_t row = 0; row < names.size(); ++row) {
      if (names[row] == connectionName) connections_->selectConnection(row);
    }
  }
  if (!databaseName.empty()) {
    database_->dbPath = databaseName;
    connections_->form.dbPathTextField = databaseName;
  }
  connections_->doConnect();
  return connections_->isConnected();
}

void KeldaneController::ensureConnection() {
  if (!connections_->connectionList().empty()) return;
  connections_->form = {};
  connections_->form.connectNameTextField = kLocalConnectionName;
  connections_->form.hostTextField = "localhost";
  connections_->form.userTextField = "root";
  connections_->form.socketTextField = localServer_->socketPath();
  // Saving a connection goes on to a run when the start is unattended; this one is only noted.
  const int unattended = process_.unattendedRun;
  process_.unattendedRun = 0;
  connections_->saveConnection();
  process_.unattendedRun = unattended;
}

void KeldaneController::terminate() {
  terminated_ = true;
  if (ports_.terminate) ports_.terminate();
}

}  // namespace keldane
