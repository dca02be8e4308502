#include "app/keldane_controller.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string_view>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/natural_date.h"
#include "ingest/reading/strip_plist.h"
#include "ingest/sources/mail_store_probe.h"
#include "schedule/system_schedule_agent.h"

namespace keldane {
namespace {

constexpr std::chrono::nanoseconds kSingleInstanceDelay{500000000};
constexpr std::chrono::nanoseconds kRelaunchDelay{500000000};
constexpr std::string_view kWindowProgram = "KeldanePro";
constexpr const char* kFullDiskAccessText =
    "Make sure you have granted Full Disk Access to Keldane Pro in the Security and Privacy system "
    "preferences panel.";
constexpr std::array<std::string_view, 8> kGuardedSystems = {"10.14.", "10.15.", "11.", "12.",
                                                             "13.",    "14.",    "15.", "16."};

/// What starts another copy of the program at this path: of a bundle, the system's own opener.
ToolCall launchOf(const std::string& program) {
  constexpr std::string_view kInBundle = "/Contents/MacOS/";
  ToolCall call;
  call.program = program;
  const std::size_t inside = program.rfind(kInBundle);
  if (inside != std::string::npos) {
    call.program = "/usr/bin/open";
    call.arguments = {program.substr(0, inside)};
  }
  return call;
}

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
  sourceChooser_ = std::make_unique<SourceChooser>(SourceChooser::Context{
      process_, *settings_, sources_, *database_, *progress_, ports_.ui, ports_.host});
  LocalServer::Options serverOptions;
  serverOptions.folder = supportFolder(process_) + "/Server";
  localServer_ = std::make_unique<LocalServer>(serverOptions, ports_.tools, ports_.environment);
  resultList_ = std::make_unique<ResultList>(*session_, *progress_, ports_.ui, process_);
  resultList_->makesListViews = options_.keepsResultList;
  retrieveSheet_ =
      std::make_unique<RetrieveSheet>(*resultList_, process_, ports_.environment, ports_.ui);
  sqlEditor_ = std::make_unique<SqlEditor>(*retrieveSheet_, ports_.ui);
  savedSearches_ = std::make_unique<SavedSearches>(*prefs_, *retrieveSheet_, ports_.ui);
  browse_ = std::make_unique<Browse>(*retrieveSheet_, *savedSearches_, *resultList_, ports_.ui);
  pickLists_ = std::make_unique<PickLists>(*session_, *progress_, ports_.ui);
  messageViewer_ = std::make_unique<MessageViewer>(*session_, *resultList_, ports_.ui);
  attachmentExtraction_ =
      std::make_unique<AttachmentExtraction>(*session_, *progress_, ports_.ui, ports_.host);
  makeTagParts();
  makeSchedule();
  statistics_ = std::make_unique<StatisticsReport>(*session_, *progress_, ports_.ui, [this] {
    database_->openDatabase();
    // The report comes in any case.
    process_.cancelFlag = 0;
  });
  wireDatabase();
  wireConnections();
  wireSettings();
  wireRun();
  wireSearch();
  wireViewer();
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
    form.userTextField = started->user;
    form.socketTextField = started->socket;
    return true;
  };
  callbacks.forgetPostboxFolder = [this] { sourceChooser_->forgetPostboxFolder(); };
  callbacks.saveSelectedSources = [this] { sourceChooser_->saveSelectedSources(); };
  callbacks.getSettings = [this] { settings_->getSettings(); };
  callbacks.showAppearanceAndPostbox = [this] {
    settings_->form.selectEmailAppMatrix = settings_->archive.postbox;
    settings_->form.selectAppearanceMatrix = settings_->archive.appearanceState;
  };
  callbacks.resetPrefs = [this] {
    // An archive that has settings keeps them, however new this machine is.
    if (!settings_->archiveHasSettings()) settings_->resetPrefs();
  };
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
    tagRuleEditor_->loadRules();
    savedSearches_->load();
  };
  callbacks.accountRowsStale = [this] { sources_.acctRowsLoaded = false; };
  callbacks.rebuildSelection = [this] { sourceChooser_->rebuildSelection(); };
  callbacks.fillSelectionTable = [this] { sourceChooser_->fillSelectionTable(); };
  callbacks.ensureMailboxNames = [this] { sourceChooser_->ensureMailboxNames(); };
  callbacks.get500emails = [this] {
    if (options_.keepsResultList) resultList_->get500emails();
  };
  callbacks.quitAndRelaunch = [this] { quitAndRelaunch(); };
  settings_->setCallbacks(std::move(callbacks));
  resultList_->setCallbacks({
      .dateStyle =
          [this] {
            return DateStyle{settings_->user.dateFormat, settings_->user.separator};
          },
      .dbPath = [this] { return database_->dbPath; },
      .storeLog = [this](const std::string& line) { archiveRun_->writeStoreLog(line); },
      .clearMessageViews = [this] { messageViewer_->clearMessageViews(); },
  });
}

void KeldaneController::wireRun() {
  ArchiveRun::Callbacks callbacks;
  callbacks.loadAccountRows = [this] { sourceChooser_->loadAccountRows(sources_.acctRows); };
  callbacks.getMailboxNames = [this] { sourceChooser_->getMailboxNames(); };
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

void KeldaneController::wireSearch() {
  RetrieveSheet::Callbacks sheet;
  sheet.doConnect = [this] {
    // A program that shows one list and ends has just connected.
    if (options_.keepsResultList || !connections_->isConnected()) connections_->doConnect();
  };
  sheet.openDatabase = [this] { database_->openDatabase(); };
  sheet.dbPath = [this] { return database_->dbPath; };
  sheet.isArchiving = [this] {
    return archiveRun_->isRunning() || archiveRun_->counters().processedCount != 0;
  };
  sheet.settings = [this] { return searchSettings(); };
  retrieveSheet_->setCallbacks(std::move(sheet));

  savedSearches_->setCallbacks({.getPrefs = [this] { settings_->getPrefs(); }});

  Browse::Callbacks browse;
  browse.browseSearchName = [this] { return settings_->archive.browseNameString; };
  browse.setBrowseSearchName = [this](const std::string& name) {
    settings_->archive.browseNameString = name;
  };
  browse.savePreferences = [this] { settings_->savePreferences(); };
  // The searches are this user's, the choice is the archive's: another user may have that one.
  browse.forgetsMissingSearch = [this] { return database_->opening == Opening::create; };
  browse.settings = [this] { return searchSettings(); };
  browse_->setCallbacks(std::move(browse));
}

void KeldaneController::wireViewer() {
  MessageViewer::Callbacks viewer;
  // Tags in the file of a message shown are not those of the message that a run is storing.
  viewer.stripPlist = [](std::string& source) {
    MessageTags tags;
    stripPlist(source, tags);
  };
  viewer.declaredCharsets = [this] { return settings_->user.declaredCharsets != 0; };
  viewer.parseDate = parseNaturalDate;
  viewer.now = [this] { return ports_.environment.now(); };
  viewer.dateFormat = [this] { return settings_->user.dateFormat; };
  viewer.openDatabase = [this] {
    connections_->doConfigure();
    database_->openDatabase();
  };
  viewer.isSessionTaken = [this] { return archiveRun_->isRunning(); };
  viewer.attachmentFolder = [this] { return process_.workFolder; };
  viewer.setTags = [this] { tagPanel_->setTags(); };
  messageViewer_->setCallbacks(std::move(viewer));

  attachmentExtraction_->setCallbacks({
      .launchAttachments = [this] { return settings_->user.launchAttachments != 0; },
      .showHtmlVersion = [this](const std::string& path) { messageViewer_->showHtmlVersion(path); },
      .chooseSaveFile = options_.chooseSaveFile,
  });
}

void KeldaneController::makeTagParts() {
  tagRuleEditor_ = std::make_unique<TagRuleEditor>(tagRulesList_, *prefs_, *settings_, ports_.ui);
  tagPanel_ =
      std::make_unique<TagPanel>(*session_, *resultList_, *settings_, *progress_, ports_.ui);
  DuplicateSweep::Callbacks sweep;
  sweep.dbPath = [this] { return database_->dbPath; };
  sweep.storeLog = [this](const std::string& line) { archiveRun_->writeStoreLog(line); };
  sweep.clearMessageViews = [this] { messageViewer_->clearMessageViews(); };
  sweep.stripPlist = [](std::string& source) {
    MessageTags tags;
    stripPlist(source, tags);
  };
  sweep.declaredCharsets = [this] { return settings_->user.declaredCharsets != 0; };
  duplicateSweep_ = std::make_unique<DuplicateSweep>(*session_, *resultList_, *progress_, ports_.ui,
                                                     std::move(sweep));
}

SearchContext KeldaneController::searchSettings() const {
  SearchContext context;
  context.limitSearchState = settings_->archive.limitSearchState;
  context.limitSearchSize = settings_->archive.limitSearchSize;
  context.sortOrder = settings_->user.sortOrder;
  context.sortFieldRow = settings_->user.sortFieldRow;
  context.sortFieldCol = settings_->user.sortFieldCol;
  return context;
}

MenuState KeldaneController::menuState(std::size_t selectedRows) const {
  return {settings_->archive.origState, retrieveSheet_->listMode, selectedRows};
}

void KeldaneController::makeSchedule() {
  scheduleAgent_ = options_.makeScheduleAgent ? options_.makeScheduleAgent()
                                              : makeScheduleAgent(ports_.tools, process_.homePath);
  schedule_ = std::make_unique<Schedule>(
      Schedule::Context{*settings_, *scheduleAgent_, ports_.tools, ports_.environment, ports_.ui,
                        process_, options_.cleansCrontab});
}

void KeldaneController::makeWorkFolder() {
  process_.workFolder =
      ports_.environment.temporaryFolder() + "keldane_" + ports_.environment.uniqueString();
  if (const Result<void> made = makeFolders(process_.workFolder); !made) {
    std::fprintf(stderr, "%s\n", made.error().c_str());
  }
  workFolders_.push_back(process_.workFolder);
}

void KeldaneController::removeWorkFiles(const std::array<std::string, 3>& files) {
  if (!process_.debugLogOn && fileExists(process_.logFilePath)) {
    for (const std::string& file : files) std::remove(file.c_str());
  }
  // The log of a run stays, and its folder with it.
  for (const std::string& folder : workFolders_) ::rmdir(folder.c_str());
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
  if (process_.unattendedRun != 0 && !schedule_->isScheduled()) {
    terminate();
    return;
  }
  connections_->getConnectionPrefs();
  settings_->getPrefs();
  prefs_->setInteger("diskAccessState", settings_->user.diskAccessState);
}

bool KeldaneController::fullDiskAccessRefused() {
  const std::string probe = process_.homePath + process_.mailRootSuffix + "/PersistenceInfo.plist";
  // Opened, because a guarded system grants the access and refuses the opening.
  if (!fileExists(probe) || std::ifstream(probe).is_open()) return false;
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
  schedule_->removeCrontab();
  if (process_.unattendedRun != 0) {
    ensureConnection();
    database_->remembered = !prefs_->has("dbPath");
    takeConnectionsDatabase();
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
  if (settings_->user.showOnStartupState != 0) openSplashScreen();
}

void KeldaneController::applicationWillTerminate() {
  const std::array<std::string, 3> workFiles = {process_.logFilePath, process_.tmpFilePath,
                                                process_.storeLogPath};
  archiveRun_->abandon();
  resultList_->dropAllViewsQuietly();
  removeWorkFiles(workFiles);
  session_->close();
}

bool KeldaneController::windowShouldClose(std::string_view window) {
  return window != "connectPanel" || connections_->takeConnectPanelMayClose();
}

void KeldaneController::quitKeldane() {
  if (ports_.ui.isPanelVisible("retrievePanel")) ports_.ui.closePanel("retrievePanel");
  terminate();
}

void KeldaneController::quitAndRelaunch() {
  if (!process_.launchArguments.empty()) {
    ports_.mainQueue.postAfter(
        kRelaunchDelay, [&tools = ports_.tools, call = launchOf(process_.launchArguments.front())] {
          const Result<int> started = tools.startDetached(call, "/dev/null");
          if (!started) std::fprintf(stderr, "%s\n", started.error().c_str());
        });
  }
  terminate();
}

void KeldaneController::openSplashScreen() {
  ports_.ui.showPanel("splashScreen");
  ports_.ui.setWindowTitle("splashScreen", "Getting Started");
}

void KeldaneController::showSplashScreen() {
  if (!ports_.ui.isPanelVisible("splashScreen")) openSplashScreen();
}

void KeldaneController::doneGettingStarted() {
  ports_.ui.closePanel("splashScreen");
  settings_->savePreferences();
}

bool KeldaneController::connectForCommand(const std::string& connectionName,
                                          const std::string& databaseName, Opening opening) {
  ensureConnection();
  database_->opening = opening;
  // Only a choice is remembered, and what a first archive is called.
  const bool asUsual = connectionName.empty() && databaseName.empty();
  database_->remembered = asUsual && opening == Opening::create && !prefs_->has("dbPath");
  if (!connectionName.empty()) {
    const std::vector<std::string> names = connections_->connectionNames();
    for (std::size_t row = 0; row < names.size(); ++row) {
      if (names[row] == connectionName) connections_->selectConnection(row);
    }
  }
  if (!databaseName.empty()) connections_->form.dbPathTextField = databaseName;
  takeConnectionsDatabase();
  connections_->doConnect();
  return connections_->isConnected();
}

void KeldaneController::takeConnectionsDatabase() {
  const std::string& own = connections_->form.dbPathTextField;
  if (!own.empty()) database_->dbPath = own;
}

void KeldaneController::ensureConnection() {
  if (connections_->connectionList().empty()) savePrivateServer();
}

bool KeldaneController::savePrivateServer() {
  connections_->form = {};
  connections_->form.connectNameTextField = kLocalConnectionName;
  connections_->form.hostTextField = "localhost";
  connections_->form.userTextField = "root";
  connections_->form.socketTextField = localServer_->socketPath();
  // Saving a connection goes on to a run when the start is unattended; this one is only noted.
  const int unattended = process_.unattendedRun;
  process_.unattendedRun = 0;
  const bool saved = connections_->saveConnection();
  process_.unattendedRun = unattended;
  return saved;
}

void KeldaneController::terminate() {
  terminated_ = true;
  if (ports_.terminate) ports_.terminate();
}

}  // namespace keldane
