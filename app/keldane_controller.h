#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/archiver.h"
#include "app/panels/archive_panel.h"
#include "app/panels/attachment_list.h"
#include "app/panels/connect_panel.h"
#include "app/panels/database_panel.h"
#include "app/panels/deletion_panel.h"
#include "app/panels/duplicates_panel.h"
#include "app/panels/export_panel.h"
#include "app/panels/find_field.h"
#include "app/panels/folder_table.h"
#include "app/panels/found_mail_panel.h"
#include "app/panels/menu_validation.h"
#include "app/panels/message_viewer.h"
#include "app/panels/open_message.h"
#include "app/panels/output_frame.h"
#include "app/panels/pdf_panel.h"
#include "app/panels/pick_lists.h"
#include "app/panels/print_panel.h"
#include "app/panels/progress_panel.h"
#include "app/panels/reply_panel.h"
#include "app/panels/result_table.h"
#include "app/panels/retrieve_sheet.h"
#include "app/panels/save_panel.h"
#include "app/panels/saved_searches_panel.h"
#include "app/panels/schedule_panel.h"
#include "app/panels/settings_panel.h"
#include "app/panels/source_chooser.h"
#include "app/panels/sql_editor.h"
#include "app/panels/sql_files.h"
#include "app/panels/statistics_panel.h"
#include "app/panels/tag_panel.h"
#include "app/panels/tag_rule_editor.h"
#include "app/panels/update_panel.h"
#include "app/user_interface.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The root of the window: makes its panels over one `Archiver`, wires them, holds the start and
/// stop sequences. The work itself is below.
///
/// Main thread only; the worker of a run reaches the main thread through the main queue.
class KeldaneController {
 public:
  struct Ports {
    UserInterface& ui;
    MainQueue& mainQueue;
    ToolRunner& tools;
    Environment& environment;
    HostServices& host;
    /// Ends the program after the present task.
    std::function<void()> terminate;
  };
  /// How a face wants to start. The window takes the defaults.
  struct Options {
    /// Makes the session; empty: one over the MySQL client.
    std::function<std::unique_ptr<ServerSession>()> makeSession;
    /// As in `Archiver::Options`.
    std::function<Result<LocalServer::Status>(LocalServer& server)> startServer;
    /// Makes the way to the system's scheduler; empty: that of this system.
    std::function<std::unique_ptr<ScheduleAgent>()> makeScheduleAgent;
    /// Connects with the saved connection, or the private server when none is saved, and asks only
    /// when that fails.
    bool connectsByItself = false;
    /// The version of this program that can be had in place of the given one, if any is newer.
    /// Called on a thread of its own, too. Empty: nobody can be asked.
    std::function<Result<std::string>(const std::string& version)> newerVersion;
  };

  KeldaneController(Ports ports, Options options);
  ~KeldaneController();
  KeldaneController(const KeldaneController&) = delete;
  KeldaneController& operator=(const KeldaneController&) = delete;

  // The start, in three steps, and the end.
  void init();
  void awakeFromNib();
  void applicationDidFinishLaunching();
  void applicationWillTerminate();

  /// Whether the user may close this window: always, but for `connectPanel`, which only a connect
  /// closes.
  [[nodiscard]] bool windowShouldClose(std::string_view window);
  void quitKeldane();
  /// Ends the program, and starts it again out of the main queue half a second later: a face that
  /// wants it back lets the queue run so long.
  void quitAndRelaunch();
  void showSplashScreen();
  void doneGettingStarted();

  UserInterface& userInterface() { return ports_.ui; }
  /// The core beneath.
  Archiver& archiver() { return archiver_; }
  // Of the core, for those who still come through here.
  ProcessState& process() { return archiver_.process(); }
  ServerSession& session() { return archiver_.session(); }
  PreferencesFile& preferences() { return archiver_.preferences(); }
  ArchiveDatabase& database() { return archiver_.database(); }
  Connections& connections() { return archiver_.connections(); }
  Settings& settings() { return archiver_.settings(); }
  Schedule& schedule() { return archiver_.schedule(); }
  LocalServer& localServer() { return archiver_.localServer(); }
  MailSources& sources() { return archiver_.sources(); }
  SourceChooser& sourceChooser() { return *sourceChooser_; }
  FolderTable& folderTable() { return *folderTable_; }
  TagRuleList& tagRules() { return archiver_.tagRules(); }
  TagRuleEditor& tagRuleEditor() { return *tagRuleEditor_; }
  TagPanel& tagPanel() { return *tagPanel_; }
  DuplicatesPanel& duplicatesPanel() { return *duplicatesPanel_; }
  ResultTable& resultTable() { return *resultTable_; }
  RetrieveSheet& retrieveSheet() { return *retrieveSheet_; }
  SqlEditor& sqlEditor() { return *sqlEditor_; }
  SqlFiles& sqlFiles() { return *sqlFiles_; }
  SavedSearchesPanel& savedSearchesPanel() { return *savedSearchesPanel_; }
  PickLists& pickLists() { return *pickLists_; }
  /// What the menu items depend on, with so many rows of the list selected.
  [[nodiscard]] MenuState menuState(std::size_t selectedRows) const;
  MessageViewer& messageViewer() { return *messageViewer_; }
  /// For a message in a window of its own. Must not outlive this.
  [[nodiscard]] std::unique_ptr<OpenMessage> openMessage();
  FindField& findField() { return *findField_; }
  FoundMailPanel& foundMailPanel() { return *foundMailPanel_; }
  AttachmentList& attachmentList() { return *attachmentList_; }
  SavePanel& savePanel() { return *savePanel_; }
  PrintPanel& printPanel() { return *printPanel_; }
  ExportPanel& exportPanel() { return *exportPanel_; }
  PdfPanel& pdfPanel() { return *pdfPanel_; }
  DeletionPanel& deletionPanel() { return *deletionPanel_; }
  ReplyPanel& replyPanel() { return *replyPanel_; }
  StatisticsPanel& statisticsPanel() { return *statisticsPanel_; }
  ArchiveRun& archiveRun() { return archiver_.archiveRun(); }
  ArchivePanel& archivePanel() { return *archivePanel_; }
  ConnectPanel& connectPanel() { return *connectPanel_; }
  SettingsPanel& settingsPanel() { return *settingsPanel_; }
  SchedulePanel& schedulePanel() { return *schedulePanel_; }
  DatabasePanel& databasePanel() { return *databasePanel_; }
  UpdatePanel& updatePanel() { return *updatePanel_; }
  [[nodiscard]] bool terminated() const { return terminated_; }

 private:
  void makeParts();
  void makeWindowPanels();
  void afterConnect();
  void openAgain();
  [[nodiscard]] std::string placeOfArchive();
  [[nodiscard]] bool reconnect();
  void tell(const Faults& faults);
  void wireSettings();
  void makeFindingPanels();
  void makeSearchPanels();
  void makeMessagePanels();
  [[nodiscard]] ResultTable::Context listContext();
  [[nodiscard]] MessageViewer::Context viewerContext(ResultTable& table);
  [[nodiscard]] AttachmentList::Context attachmentContext();
  void makeOutputPanels();
  void terminate();
  void openSplashScreen();

  Ports ports_;
  Options options_;
  ProgressPanel progress_;
  Archiver archiver_;
  std::string keptList_;  ///< where the list was read that is to be kept; empty: none
  SettingsForm settingsForm_;
  std::unique_ptr<SourceChooser> sourceChooser_;
  std::unique_ptr<FolderTable> folderTable_;
  std::unique_ptr<ResultTable> resultTable_;
  std::unique_ptr<RetrieveSheet> retrieveSheet_;
  std::unique_ptr<SqlEditor> sqlEditor_;
  std::unique_ptr<SqlFiles> sqlFiles_;
  std::unique_ptr<SavedSearchesPanel> savedSearchesPanel_;
  std::unique_ptr<PickLists> pickLists_;
  std::unique_ptr<TagRuleEditor> tagRuleEditor_;
  std::unique_ptr<TagPanel> tagPanel_;
  std::unique_ptr<DuplicatesPanel> duplicatesPanel_;
  std::unique_ptr<MessageViewer> messageViewer_;
  std::unique_ptr<AttachmentList> attachmentList_;
  std::unique_ptr<FindField> findField_;
  std::unique_ptr<FoundMailPanel> foundMailPanel_;
  std::unique_ptr<StatisticsPanel> statisticsPanel_;
  std::unique_ptr<OutputFrame> outputFrame_;
  std::unique_ptr<SavePanel> savePanel_;
  std::unique_ptr<PrintPanel> printPanel_;
  std::unique_ptr<ExportPanel> exportPanel_;
  std::unique_ptr<PdfPanel> pdfPanel_;
  std::unique_ptr<DeletionPanel> deletionPanel_;
  std::unique_ptr<ReplyPanel> replyPanel_;
  std::unique_ptr<ArchivePanel> archivePanel_;
  std::unique_ptr<ConnectPanel> connectPanel_;
  std::unique_ptr<SettingsPanel> settingsPanel_;
  std::unique_ptr<SchedulePanel> schedulePanel_;
  std::unique_ptr<DatabasePanel> databasePanel_;
  std::unique_ptr<UpdatePanel> updatePanel_;
  bool terminated_ = false;
};

}  // namespace keldane
