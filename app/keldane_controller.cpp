#include "app/keldane_controller.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "app/panels/fault_alerts.h"
#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::chrono::nanoseconds kSingleInstanceDelay{500000000};
constexpr std::chrono::nanoseconds kRelaunchDelay{500000000};
constexpr std::string_view kWindowProgram = "KeldanePro";
/// The terminal program has the window program make pages, which is no window.
constexpr std::string_view kPdfOption = "--export-pdf";

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
      progress_(ports_.ui, ports_.mainQueue),
      archiver_({progress_, ports_.mainQueue, ports_.tools, ports_.environment, ports_.host},
                {.makeSession = options_.makeSession,
                 .startServer = options_.startServer,
                 .makeScheduleAgent = options_.makeScheduleAgent}) {
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
      SourceChooser::Context{archiver_.process(), archiver_.settings(), settingsForm_,
                             archiver_.sources(), archiver_.database(), progress_, ports_.ui});
  settingsPanel_ =
      std::make_unique<SettingsPanel>(archiver_, settingsForm_, *sourceChooser_, ports_.ui);
  folderTable_ = std::make_unique<FolderTable>(FolderTable::Context{
      archiver_.settings(), archiver_.process(), ports_.environment, progress_, ports_.ui});
  makeSearchPanels();
  makeMessagePanels();
  makeOutputPanels();
  tagRuleEditor_ = std::make_unique<TagRuleEditor>(archiver_.tagRules(), ports_.ui);
  wireSettings();
  archivePanel_ = std::make_unique<ArchivePanel>(
      ArchivePanel::Context{archiver_, *settingsPanel_, *sourceChooser_, *resultTable_, progress_,
                            ports_.ui, [this] { terminate(); }});
  archiver_.archiveRun().reconnect = [this] { return reconnect(); };
  makeWindowPanels();
  makeFindingPanels();
}

void KeldaneController::makeFindingPanels() {
  findField_ = std::make_unique<FindField>(
      FindField::Context{archiver_, *resultTable_, progress_, ports_.ui, ports_.environment});
  archivePanel_->runBegins = [this] { findField_->forgetIndex(); };
  foundMailPanel_ = std::make_unique<FoundMailPanel>(
      FoundMailPanel::Context{archiver_.process(), ports_.environment, *archivePanel_, progress_,
                              ports_.ui, [this] { sourceChooser_->openMbox(); }});
}

void KeldaneController::makeWindowPanels() {
  connectPanel_ = std::make_unique<ConnectPanel>(archiver_, ports_.ui);
  connectPanel_->connected = [this] { afterConnect(); };
  connectPanel_->reconnected = [this] {
    findField_->forgetIndex();
    if (resultTable_->emailRows.empty()) {
      resultTable_->get500emails();
    } else if (messageViewer_->selection.numberOfSelectedRows > 0) {
      messageViewer_->tableViewSelectionDidChange();
    }
    ports_.ui.changed("storePanel");
  };
  connectPanel_->setStoreDate = [this] { archivePanel_->setStoreDate(); };
  archiver_.database().reconnect = [this] {
    connectPanel_->doConnect();
    return Faults{};
  };
  schedulePanel_ = std::make_unique<SchedulePanel>(archiver_, *settingsPanel_, ports_.ui);
  databasePanel_ = std::make_unique<DatabasePanel>(archiver_, *settingsPanel_, ports_.ui);
  updatePanel_ = std::make_unique<UpdatePanel>(UpdatePanel::Context{
      ports_.mainQueue, ports_.ui, archiver_.process().appVersion, options_.newerVersion});
}

void KeldaneController::afterConnect() {
  findField_->forgetIndex();
  if (keptList_ == placeOfArchive()) return;
  sourceChooser_->forgetPostboxFolder();
  settingsPanel_->showPrefs();
  settingsPanel_->refresh();
  resultTable_->get500emails();
}

std::string KeldaneController::placeOfArchive() {
  const ServerConnection& server = archiver_.connections().current();
  return join({server.name, server.host, std::to_string(server.port), server.socket,
               archiver_.database().dbPath},
              "\n");
}

/// For the message at hand, whose list stays if the same archive answers again.
void KeldaneController::openAgain() {
  keptList_ = placeOfArchive();
  archiver_.connections().doConfigure();
  tell(archiver_.database().openDatabase());
  keptList_.clear();
}

bool KeldaneController::reconnect() {
  connectPanel_->doConnect();
  return archiver_.connections().isConnected();
}

void KeldaneController::tell(const Faults& faults) {
  showFaults(faults, archiver_.process(), ports_.ui);
}

void KeldaneController::wireSettings() {
  settingsPanel_->get500emails = [this] { resultTable_->get500emails(); };
  settingsPanel_->quitAndRelaunch = [this] { quitAndRelaunch(); };
  settingsPanel_->loadRulesAndSearches = [this] {
    tagRuleEditor_->loadRules();
    savedSearchesPanel_->load();
  };
  settingsPanel_->fillCategoryMenus = [this](const std::vector<std::string>& categories) {
    tagPanel_->setCatButton.fill(categories);
    tagRuleEditor_->ruleCatButton.fill(categories);
  };
  savedSearchesPanel_->savePreferences = [this] { settingsPanel_->savePreferences(); };
  savedSearchesPanel_->getPrefs = [this] { settingsPanel_->getPrefs(); };
}

void KeldaneController::makeSearchPanels() {
  Archiver& core = archiver_;
  resultTable_ = std::make_unique<ResultTable>(listContext());
  resultTable_->clearMessageViews = [this] { messageViewer_->clearMessageViews(); };
  retrieveSheet_ = std::make_unique<RetrieveSheet>(RetrieveSheet::Context{
      *resultTable_, core.database(), core.preferences(), core.settings(), core.process(),
      ports_.environment, ports_.ui, [this] { connectPanel_->doConnect(); },
      [this] { tell(archiver_.database().openDatabase()); },
      [this] { return archiver_.archiveRun().isRunning(); },
      [this] { settingsPanel_->savePreferences(); }});
  sqlEditor_ = std::make_unique<SqlEditor>(*retrieveSheet_, ports_.ui);
  sqlFiles_ = std::make_unique<SqlFiles>(SqlFiles::Context{
      core, *resultTable_, progress_, ports_.ui, ports_.tools, ports_.environment, ports_.host});
  savedSearchesPanel_ = std::make_unique<SavedSearchesPanel>(core.preferences(), core.settings(),
                                                             *retrieveSheet_, ports_.ui);
  pickLists_ = std::make_unique<PickLists>(core.session(), progress_, ports_.ui);
  duplicatesPanel_ = std::make_unique<DuplicatesPanel>(
      DuplicatesPanel::Context{core.session(), core.database(), core.settings().user, *resultTable_,
                               progress_, ports_.ui, listContext().storeLog});
  statisticsPanel_ =
      std::make_unique<StatisticsPanel>(core.session(), progress_, ports_.ui, [this] {
        tell(archiver_.database().openDatabase());
        // The report comes in any case.
        archiver_.process().cancelFlag = 0;
      });
}

ResultTable::Context KeldaneController::listContext() {
  return {archiver_.session(),
          archiver_.database(),
          archiver_.settings().user,
          progress_,
          ports_.ui,
          archiver_.process(),
          [this](const std::string& line) { archiver_.archiveRun().writeStoreLog(line); }};
}

MessageViewer::Context KeldaneController::viewerContext(ResultTable& table) {
  return {archiver_.session(),
          table,
          archiver_.settings().user,
          archiver_.process(),
          ports_.environment,
          ports_.ui,
          [this] { openAgain(); },
          [this] { return archiver_.archiveRun().isRunning(); },
          [this] { tagPanel_->setTags(); }};
}

AttachmentList::Context KeldaneController::attachmentContext() {
  return {archiver_.session(),
          archiver_.process(),
          archiver_.settings().user,
          progress_,
          ports_.ui,
          ports_.host,
          [this] { return archiver_.archiveRun().isRunning(); }};
}

std::unique_ptr<OpenMessage> KeldaneController::openMessage() {
  return std::make_unique<OpenMessage>(
      listContext(), [this](ResultTable& table) { return viewerContext(table); },
      attachmentContext());
}

void KeldaneController::makeMessagePanels() {
  Archiver& core = archiver_;
  messageViewer_ = std::make_unique<MessageViewer>(viewerContext(*resultTable_));
  attachmentList_ = std::make_unique<AttachmentList>(attachmentContext());
  attachmentList_->showHtmlVersion = [this](const std::string& path) {
    messageViewer_->showHtmlVersion(path);
  };
  tagPanel_ = std::make_unique<TagPanel>(core.session(), *resultTable_, core.settings(), progress_,
                                         ports_.ui);
  tagPanel_->tagsChanged = [this] { messageViewer_->readTagsAgain(); };
}

void KeldaneController::makeOutputPanels() {
  Archiver& core = archiver_;
  outputFrame_ = std::make_unique<OutputFrame>(OutputFrame::Context{
      core.session(), *resultTable_, core.settings(), progress_, ports_.ui, ports_.host,
      [this](const std::string& line) { archiver_.archiveRun().writeStoreLog(line); }});
  savePanel_ = std::make_unique<SavePanel>(*outputFrame_, retrieveSheet_->whereSql);
  printPanel_ =
      std::make_unique<PrintPanel>(*outputFrame_, *messageViewer_, statisticsPanel_->statsTextView);
  exportPanel_ = std::make_unique<ExportPanel>(*outputFrame_);
  pdfPanel_ = std::make_unique<PdfPanel>(*outputFrame_, *messageViewer_);
  deletionPanel_ = std::make_unique<DeletionPanel>(*outputFrame_, core.process());
  replyPanel_ =
      std::make_unique<ReplyPanel>(*outputFrame_, *messageViewer_, ports_.tools, core.process());
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
  settingsPanel_->showPrefs();
  settingsPanel_->refresh();
  if (!archiver_.connections().connectionList().empty()) connectPanel_->setConnection();
}

void KeldaneController::applicationDidFinishLaunching() {
  if (terminated_) return;
  ports_.mainQueue.postAfter(kSingleInstanceDelay, [this] {
    int copies = 0;
    for (const RunningApplication& application : ports_.host.runningApplications()) {
      const bool makesPdf = application.firstArgument.starts_with(kPdfOption);
      if (application.executableName == kWindowProgram && !makesPdf) ++copies;
    }
    if (copies > 1) terminate();
  });
  ports_.host.requestMailAutomation();
  if (archiver_.fullDiskAccessRefused()) {
    ports_.ui.alert({"Full Disk Access", kFullDiskAccessText, AlertStyle::critical, {"OK"}});
    return;
  }
  archiver_.schedule().removeCrontab();
  if (archiver_.process().unattendedRun != 0) {
    // Another copy may have been seen meanwhile.
    if (!connectPanel_->connectSaved() || terminated_) return;
    archiver_.connections().doConfigure();
    ports_.ui.closePanel("storePanel");
    archivePanel_->setStoreDate();
    return;
  }
  if (archiver_.settings().archive.updatesState != 0) updatePanel_->checkForUpdatesInBackground();
  if (options_.connectsByItself) {
    (void)connectPanel_->connectSaved();
  } else {
    connectPanel_->newConnect();
  }
  // The panel may have been left by quitting.
  if (terminated_) return;
  ports_.ui.showPanel("storePanel");
  archiver_.connections().doConfigure();
  if (archiver_.settings().archive.mailboxesState != 0) progress_.close();
  resultTable_->get500emails();
  if (archiver_.settings().user.showOnStartupState != 0) openSplashScreen();
}

void KeldaneController::applicationWillTerminate() {
  archiver_.close([this] { resultTable_->dropAllViewsQuietly(); });
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
  settingsPanel_->savePreferences();
  settingsPanel_->refresh();
}

void KeldaneController::terminate() {
  terminated_ = true;
  if (ports_.terminate) ports_.terminate();
}

}  // namespace keldane
