#include "desktop/window_program.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <QApplication>
#include <QTimer>

#include "base/files.h"
#include "desktop/addresses_dialog.h"
#include "desktop/attach_type_sheet.h"
#include "desktop/commands.h"
#include "desktop/connect_dialog.h"
#include "desktop/duplicates_dialog.h"
#include "desktop/first_page.h"
#include "desktop/fonts.h"
#include "desktop/found_mail_dialog.h"
#include "desktop/getting_started.h"
#include "desktop/id_dialog.h"
#include "desktop/main_window.h"
#include "desktop/message_pane.h"
#include "desktop/message_pdf.h"
#include "desktop/progress_window.h"
#include "desktop/qt_page_printer.h"
#include "desktop/qt_text.h"
#include "desktop/retrieve_dialog.h"
#include "desktop/saved_searches_dialog.h"
#include "desktop/schedule_view.h"
#include "desktop/settings_dialog.h"
#include "desktop/sql_dialog.h"
#include "desktop/statistics_dialogs.h"
#include "desktop/store_date_sheet.h"
#include "desktop/tag_dialog.h"
#include "desktop/tag_rule_dialogs.h"
#include "desktop/text_window.h"
#include "platform/package_version.h"

namespace keldane {
namespace {

constexpr const char* kStateFile = "/Library/Application Support/Keldane/Window.ini";
/// Panels that open where they were and as large as they were; `storePanel` keeps more than that.
constexpr const char* kPlacedPanels[] = {"settingsPanel", "connectPanel", "ProgressPanel",
                                         "SQLPanel",      "IdPanel",      "tagPanel",
                                         "statsWindow",   "origWindow",   "savedSearchesPanel"};

bool isPlaced(const QString& panel) {
  return std::any_of(std::begin(kPlacedPanels), std::end(kPlacedPanels),
                     [&panel](const char* one) { return panel == QLatin1String(one); });
}

QString geometryKey(const QWidget& window) { return window.objectName() + "/geometry"; }

}  // namespace

WindowProgram::WindowProgram(int argc, char** argv) : environment_(argc, argv), host_(tools_) {
  KeldaneController::Options options;
  options.connectsByItself = true;
  options.makeSession = [this] { return makeSession(); };
  options.newerVersion = [](const std::string& version) {
    ProcessToolRunner tools;
    return newerPackage(tools, version);
  };
  options.startServer = [this](LocalServer& server) {
    Result<LocalServer::Status> started = Failure{""};
    runPatiently(waiting(ProgressWindow::tr("Starting the private server...")),
                 [&](const auto& cancelled) { started = server.start(cancelled); });
    return started;
  };
  controller_ = std::make_unique<KeldaneController>(
      KeldaneController::Ports{ui_, queue_, tools_, environment_, host_,
                               [] { QCoreApplication::quit(); }},
      std::move(options));
  const std::string home = environment_.variable("HOME").value_or("");
  state_ = std::make_unique<QSettings>(userPath(home + kStateFile), QSettings::IniFormat);
  mainWindow_ = std::make_unique<MainWindow>(*controller_, *state_);
  ui_.setMainWindow(*mainWindow_);
  ui_.addPanel(*mainWindow_);
  makePanels();
  makePrinter();
  mainWindow_->addCommands(windowCommands(*controller_, *mainWindow_));
  mainWindow_->dropped = [this](const std::vector<std::string>& paths) { archiveDropped(paths); };
  FirstPage& first = mainWindow_->firstPage();
  first.archiveMyMail = [this] { controller_->foundMailPanel().findMail(); };
  first.openFiles = [this] { controller_->sourceChooser().openMbox(); };
  mainWindow_->reconnect = [this] { controller_->connectPanel().reconnect(); };
  mainWindow_->isBusy = [this] { return session_->isWaiting(); };
  first.connectToServer = [this] { controller_->connectPanel().newConnect(); };
}

WindowProgram::~WindowProgram() {
  if (controller_->process().unattendedRun == 0) {
    mainWindow_->saveState();
    savePlaces();
  }
  controller_->applicationWillTerminate();
}

PatientSession::Waiting WindowProgram::waiting(const QString& title) {
  PatientSession::Waiting waiting;
  waiting.goesOn = [this, title](bool canEnd) {
    return progress_ == nullptr || progress_->waits(canEnd, title);
  };
  waiting.over = [this] {
    if (progress_ != nullptr) progress_->waited();
  };
  return waiting;
}

std::unique_ptr<ServerSession> WindowProgram::makeSession() {
  PatientSession::Waiting waiting = this->waiting(ProgressWindow::tr("Waiting for the server..."));
  waiting.lostChanged = [this](bool isLost) {
    if (mainWindow_) mainWindow_->showLoss(isLost);
  };
  auto session = std::make_unique<PatientSession>(makeMysqlSession, std::move(waiting));
  session_ = session.get();
  return session;
}

void WindowProgram::savePlaces() {
  for (const std::unique_ptr<PanelView>& panel : panels_) {
    const QWidget& window = panel->window();
    // One that was never shown has no place of its own.
    const bool wasShown = window.testAttribute(Qt::WA_WState_Created);
    if (wasShown && isPlaced(window.objectName())) {
      state_->setValue(geometryKey(window), window.saveGeometry());
    }
  }
}

void WindowProgram::add(std::unique_ptr<PanelView> panel) {
  QWidget& window = panel->window();
  if (isPlaced(window.objectName())) {
    window.restoreGeometry(state_->value(geometryKey(window)).toByteArray());
  }
  ui_.addPanel(*panel);
  panels_.push_back(std::move(panel));
}

void WindowProgram::makePanels() {
  QWidget* over = mainWindow_.get();
  auto progress = std::make_unique<ProgressWindow>(over);
  progress->cancel = [this] { controller_->archivePanel().cancelParse(); };
  progress->canCancel = [this] { return controller_->archiveRun().isRunning(); };
  ui_.setProgressWindow(*progress);
  progress_ = progress.get();
  add(std::move(progress));

  auto text = std::make_unique<TextWindow>(over);
  text->source = [this] { return qtText(controller_->messageViewer().views.origTextView); };
  text->textFont = [this](const QFont& fixed) {
    return fontOf(controller_->settings().user.bodyFont, fixed);
  };
  ui_.setTextWindow(*text);
  add(std::move(text));

  add(std::make_unique<StoreDateSheet>(controller_->archivePanel(), over));
  add(std::make_unique<ConnectDialog>(*controller_, over));
  add(std::make_unique<FoundMailDialog>(controller_->foundMailPanel(), over));
  auto settings = std::make_unique<SettingsDialog>(*controller_, over);
  new ScheduleView(*controller_, *settings);  // owned by the window that it is a tab of
  auto* rules = new TagRulesView(controller_->tagRuleEditor(), settings.get());
  settings->addView(rules, TagRulesView::tr("Tag Rules"), [] {}, {});
  settings->addTable("tagRulesTableView", [rules] { rules->refresh(); });
  add(std::make_unique<TagRuleSheetDialog>(controller_->tagRuleEditor(), settings.get()));
  add(std::make_unique<FoundFoldersDialog>(controller_->folderTable(), settings.get()));
  add(std::move(settings));
  auto retrieve = std::make_unique<RetrieveDialog>(*controller_, over);
  add(std::make_unique<AttachTypeSheet>(controller_->retrieveSheet(), retrieve.get()));
  add(std::make_unique<SqlDialog>(*controller_, over));
  add(std::make_unique<SavedSearchesDialog>(*controller_, over));
  add(std::move(retrieve));
  add(std::make_unique<TagDialog>(controller_->tagPanel(), over));
  add(std::make_unique<AddressesDialog>(controller_->exportPanel(), over));
  add(std::make_unique<IdDialog>(controller_->sqlFiles(), over));
  add(std::make_unique<DuplicatesDialog>(controller_->duplicatesPanel(), over));
  add(std::make_unique<StatisticsRequestDialog>(controller_->statisticsPanel(), over));
  add(std::make_unique<GettingStartedWindow>(
      controller_->settingsPanel().form.showOnStartupCheck,
      [this] { controller_->doneGettingStarted(); }, over));
  auto statistics = std::make_unique<StatisticsWindow>(
      controller_->statisticsPanel(), [this] { controller_->printPanel().printStats(); }, over);
  printer_ = std::make_unique<QtPagePrinter>(*mainWindow_);
  printer_->drawPictures = [window = statistics.get()](QPrinter& printer, QPainter& painter) {
    return window->printPictures(printer, painter);
  };
  add(std::move(statistics));
}

void WindowProgram::makePrinter() {
  printer_->drawHtml = [this](QPrinter& printer, QPainter& painter) {
    return mainWindow_->messagePane().printHtml(printer, painter);
  };
  printer_->textFont = [this] { return fontOf(controller_->settings().user.bodyFont); };
  controller_->printPanel().setPrinter(printer_.get());
  controller_->pdfPanel().layouts = [this](bool asText, const auto& run) {
    MessagePdf pdf({controller_->session(), controller_->settings().user, environment_}, asText);
    run([&pdf](const ListedMessage& message) { return pdf.layOut(message); });
  };
}

void WindowProgram::start() {
  QTimer::singleShot(0, mainWindow_.get(), [this] {
    controller_->init();
    controller_->awakeFromNib();
    if (controller_->terminated()) return;
    if (controller_->process().unattendedRun == 0) {
      // The window is there while the server starts, which at first takes some seconds.
      ui_.showPanel("storePanel");
      QCoreApplication::processEvents();
    }
    controller_->applicationDidFinishLaunching();
    if (controller_->process().unattendedRun == 0) mainWindow_->restoreSort();
    mainWindow_->refresh();
  });
}

void WindowProgram::archiveDropped(const std::vector<std::string>& paths) {
  if (paths.empty()) return;
  const QString what = paths.size() == 1 ? userPath(paths.front())
                                         : tr("%n files and folders", "", int(paths.size()));
  const int answer = ui_.alert({plainText(tr("Archive what was dropped?")),
                                plainText(messageLine(plainText(what))),
                                AlertStyle::informational,
                                {"Archive", "Cancel"}});
  if (answer == kFirstButton) controller_->archivePanel().archivePaths(paths);
}

}  // namespace keldane
