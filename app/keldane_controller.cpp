#include "app/keldane_controller.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "app/panels/fault_alerts.h"
#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/natural_date.h"
#include "ingest/reading/strip_plist.h"

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
    : ports_(std::move(ports)),
      options_(std::move(options)),
      progress_(std::make_unique<ProgressPanel>(ports_.ui, ports_.mainQueue)),
      archiver_({ports_.ui, *progress_, ports_.tools, ports_.environment},
                {options_.cleansCrontab, options_.makeSession, options_.makeScheduleAgent}) {
  makeParts();
}

KeldaneController::~KeldaneController() = default;

void KeldaneController::init() {
  if (const Result<void> loaded = archiver_.preferences().load(); !loaded) {
    ports_.ui.alert({"Settings", loaded.error(), AlertStyle::critical, {"OK"}});
  }
}

void KeldaneController::makeParts() {
  sourceChooser_ = std::make_unique<SourceChooser>(
      SourceChooser::Context{archiver_.process(), archiver_.settings(), archiver_.sources(),
                             archiver_.database(), *progress_, ports_.ui, ports_.host});
  resultList_ =
      std::make_unique<ResultList>(archiver_.session(), *progress_, ports_.ui, archiver_.process());
  resultList_->makesListViews = options_.keepsResultList;
  retrieveSheet_ = std::make_unique<RetrieveSheet>(*resultList_, archiver_.process(),
                                                   ports_.environment, ports_.ui);
  sqlEditor_ = std::make_unique<SqlEditor>(*retrieveSheet_, ports_.ui);
  savedSearches_ =
      std::make_unique<SavedSearches>(archiver_.preferences(), *retrieveSheet_, ports_.ui);
  browse_ = std::make_unique<Browse>(*retrieveSheet_, *savedSearches_, *resultList_, ports_.ui);
  pickLists_ = std::make_unique<PickLists>(archiver_.session(), *progress_, ports_.ui);
  messageViewer_ = std::make_unique<MessageViewer>(archiver_.session(), *resultList_, ports_.ui);
  attachmentExtraction_ = std::make_unique<AttachmentExtraction>(archiver_.session(), *progress_,
                                                                 ports_.ui, ports_.host);
  makeTagParts();
  statistics_ =
      std::make_unique<StatisticsReport>(archiver_.session(), *progress_, ports_.ui, [this] {
        tell(archiver_.database().openDatabase());
        // The report comes in any case.
        archiver_.process().cancelFlag = 0;
      });
  wireSettings();
  wireRun();
  wireSearch();
  wireViewer();
  makeWindowPanels();
}

void KeldaneController::makeWindowPanels() {
  connectPanel_ = std::make_unique<ConnectPanel>(archiver_, ports_.ui);
  connectPanel_->comesBack = options_.asksForConnection;
  connectPanel_->connected = [this] { afterConnect(); };
  connectPanel_->setStoreDate = [this] { archiveRun_->setStoreDate(); };
  if (options_.asksForConnection) {
    archiver_.database().reconnect = [this] {
      connectPanel_->doConnect();
      return Faults{};
    };
  }
  settingsPanel_ = std::make_unique<SettingsPanel>(archiver_, *sourceChooser_, ports_.ui);
  settingsPanel_->get500emails = [this] {
    if (options_.keepsResultList) resultList_->get500emails();
  };
  settingsPanel_->quitAndRelaunch = [this] { quitAndRelaunch(); };
  schedulePanel_ = std::make_unique<SchedulePanel>(archiver_, *settingsPanel_, ports_.ui);
  databasePanel_ = std::make_unique<DatabasePanel>(archiver_, ports_.ui);
}

void KeldaneController::afterConnect() {
  sourceChooser_->forgetPostboxFolder();
  if (options_.keepsResultList) resultList_->get500emails();
}

bool KeldaneController::reconnect() {
  if (options_.asksForConnection) {
    connectPanel_->doConnect();
  } else {
    tell(archiver_.reconnect());
    if (!archiver_.connections().isConnected()) archiver_.process().cancelFlag = 1;
  }
  return archiver_.connections().isConnected();
}

void KeldaneController::tell(const Faults& faults) {
  showFaults(faults, archiver_.process(), ports_.ui);
}

void KeldaneController::wireSettings() {
  Settings::Callbacks callbacks;
  callbacks.loadRulesAndSearches = [this] {
    tagRuleEditor_->loadRules();
    savedSearches_->load();
  };
  callbacks.accountRowsStale = [this] { archiver_.sources().acctRowsLoaded = false; };
  archiver_.settings().setCallbacks(std::move(callbacks));
  resultList_->setCallbacks({
      .dateStyle =
          [this] {
            return DateStyle{archiver_.settings().user.dateFormat,
                             archiver_.settings().user.separator};
          },
      .dbPath = [this] { return archiver_.database().dbPath; },
      .storeLog = [this](const std::string& line) { archiveRun_->writeStoreLog(line); },
      .clearMessageViews = [this] { messageViewer_->clearMessageViews(); },
  });
}

void KeldaneController::wireRun() {
  ArchiveRun::Callbacks callbacks;
  callbacks.loadAccountRows = [this] {
    sourceChooser_->loadAccountRows(archiver_.sources().acctRows);
  };
  callbacks.getMailboxNames = [this] { sourceChooser_->getMailboxNames(); };
  callbacks.retrieve = [this](const std::string& sql) {
    if (!options_.keepsResultList) return;
    resultList_->currentSql = sql;
    resultList_->retrieve();
  };
  callbacks.clearResultList = [this] { resultList_->clear(); };
  callbacks.terminate = [this] { terminate(); };
  callbacks.tell = [this](const Faults& faults) { tell(faults); };
  callbacks.reconnect = [this] { return reconnect(); };
  archiveRun_ = std::make_unique<ArchiveRun>(
      ArchiveRun::Context{archiver_.session(), archiver_.process(), archiver_.database(),
                          archiver_.connections(), archiver_.settings(), archiver_.sources(),
                          archiver_.tagRulesList(), *progress_, ports_.ui, ports_.mainQueue,
                          ports_.environment, ports_.host},
      std::move(callbacks));
}

void KeldaneController::wireSearch() {
  RetrieveSheet::Callbacks sheet;
  sheet.doConnect = [this] {
    // A program that shows one list and ends has just connected.
    if (options_.keepsResultList || !archiver_.connections().isConnected())
      connectPanel_->doConnect();
  };
  sheet.openDatabase = [this] { tell(archiver_.database().openDatabase()); };
  sheet.dbPath = [this] { return archiver_.database().dbPath; };
  sheet.isArchiving = [this] {
    return archiveRun_->isRunning() || archiveRun_->counters().processedCount != 0;
  };
  sheet.settings = [this] { return searchSettings(); };
  retrieveSheet_->setCallbacks(std::move(sheet));

  savedSearches_->setCallbacks({.getPrefs = [this] { archiver_.settings().getPrefs(); }});

  Browse::Callbacks browse;
  browse.browseSearchName = [this] { return archiver_.settings().archive.browseNameString; };
  browse.setBrowseSearchName = [this](const std::string& name) {
    archiver_.settings().archive.browseNameString = name;
  };
  browse.savePreferences = [this] { tell(archiver_.settings().savePreferences()); };
  // The searches are this user's, the choice is the archive's: another user may have that one.
  browse.forgetsMissingSearch = [this] { return archiver_.database().opening == Opening::create; };
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
  viewer.declaredCharsets = [this] { return archiver_.settings().user.declaredCharsets != 0; };
  viewer.parseDate = parseNaturalDate;
  viewer.now = [this] { return ports_.environment.now(); };
  viewer.dateFormat = [this] { return archiver_.settings().user.dateFormat; };
  viewer.openDatabase = [this] {
    archiver_.connections().doConfigure();
    tell(archiver_.database().openDatabase());
  };
  viewer.isSessionTaken = [this] { return archiveRun_->isRunning(); };
  viewer.attachmentFolder = [this] { return archiver_.process().workFolder; };
  viewer.setTags = [this] { tagPanel_->setTags(); };
  messageViewer_->setCallbacks(std::move(viewer));

  attachmentExtraction_->setCallbacks({
      .launchAttachments = [this] { return archiver_.settings().user.launchAttachments != 0; },
      .showHtmlVersion = [this](const std::string& path) { messageViewer_->showHtmlVersion(path); },
      .chooseSaveFile = options_.chooseSaveFile,
  });
}

void KeldaneController::makeTagParts() {
  tagRuleEditor_ = std::make_unique<TagRuleEditor>(
      archiver_.tagRulesList(), archiver_.preferences(), archiver_.settings(), ports_.ui);
  tagPanel_ = std::make_unique<TagPanel>(archiver_.session(), *resultList_, archiver_.settings(),
                                         *progress_, ports_.ui);
  DuplicateSweep::Callbacks sweep;
  sweep.dbPath = [this] { return archiver_.database().dbPath; };
  sweep.storeLog = [this](const std::string& line) { archiveRun_->writeStoreLog(line); };
  sweep.clearMessageViews = [this] { messageViewer_->clearMessageViews(); };
  sweep.stripPlist = [](std::string& source) {
    MessageTags tags;
    stripPlist(source, tags);
  };
  sweep.declaredCharsets = [this] { return archiver_.settings().user.declaredCharsets != 0; };
  duplicateSweep_ = std::make_unique<DuplicateSweep>(archiver_.session(), *resultList_, *progress_,
                                                     ports_.ui, std::move(sweep));
}

SearchContext KeldaneController::searchSettings() const {
  SearchContext context;
  context.limitSearchState = archiver_.settings().archive.limitSearchState;
  context.limitSearchSize = archiver_.settings().archive.limitSearchSize;
  context.sortOrder = archiver_.settings().user.sortOrder;
  context.sortFieldRow = archiver_.settings().user.sortFieldRow;
  context.sortFieldCol = archiver_.settings().user.sortFieldCol;
  return context;
}

MenuState KeldaneController::menuState(std::size_t selectedRows) const {
  return {archiver_.settings().archive.origState, retrieveSheet_->listMode, selectedRows};
}

void KeldaneController::awakeFromNib() {
  if (!archiver_.start()) {
    terminate();
    return;
  }
  archiver_.loadPreferences();
  if (!archiver_.connections().connectionList().empty()) connectPanel_->setConnection();
}

bool KeldaneController::fullDiskAccessRefused() {
  const std::string probe =
      archiver_.process().homePath + archiver_.process().mailRootSuffix + "/PersistenceInfo.plist";
  // Opened, because a guarded system grants the access and refuses the opening.
  if (!fileExists(probe) || std::ifstream(probe).is_open()) return false;
  for (const std::string_view version : kGuardedSystems) {
    if (archiver_.process().systemVersion.starts_with(version)) return true;
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
  archiver_.schedule().removeCrontab();
  if (archiver_.process().unattendedRun != 0) {
    if (!connectPanel_->connectUnattended()) return;
    archiver_.connections().doConfigure();
    ports_.ui.closePanel("storePanel");
    archiveRun_->setStoreDate();
    return;
  }
  connectPanel_->newConnect();
  ports_.ui.showPanel("storePanel");
  archiver_.connections().doConfigure();
  if (archiver_.settings().archive.mailboxesState != 0) progress_->close();
  resultList_->get500emails();
  if (archiver_.settings().user.showOnStartupState != 0) openSplashScreen();
}

void KeldaneController::applicationWillTerminate() {
  const std::array<std::string, 3> workFiles = {archiver_.process().logFilePath,
                                                archiver_.process().tmpFilePath,
                                                archiver_.process().storeLogPath};
  archiveRun_->abandon();
  resultList_->dropAllViewsQuietly();
  archiver_.removeWorkFiles(workFiles);
  archiver_.session().close();
}

bool KeldaneController::windowShouldClose(std::string_view window) {
  return window != "connectPanel" || connectPanel_->takeMayClose();
}

void KeldaneController::quitKeldane() {
  if (ports_.ui.isPanelVisible("retrievePanel")) ports_.ui.closePanel("retrievePanel");
  terminate();
}

void KeldaneController::quitAndRelaunch() {
  if (!archiver_.process().launchArguments.empty()) {
    ports_.mainQueue.postAfter(
        kRelaunchDelay,
        [&tools = ports_.tools, call = launchOf(archiver_.process().launchArguments.front())] {
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
  tell(archiver_.settings().savePreferences());
}

void KeldaneController::terminate() {
  terminated_ = true;
  if (ports_.terminate) ports_.terminate();
}

}  // namespace keldane
