#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "ingest/archive_run.h"
#include "ingest/sources/mail_sources.h"
#include "ingest/sources/source_chooser.h"
#include "ingest/storing/tag_rule_editor.h"
#include "ingest/storing/tag_rules.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/process_state.h"
#include "platform/progress_panel.h"
#include "platform/tool_runner.h"
#include "platform/user_interface.h"
#include "query/attachment_extraction.h"
#include "query/browse.h"
#include "query/duplicate_sweep.h"
#include "query/menu_validation.h"
#include "query/message_viewer.h"
#include "query/pick_lists.h"
#include "query/result_list.h"
#include "query/retrieve_sheet.h"
#include "query/saved_searches.h"
#include "query/sql_editor.h"
#include "query/statistics.h"
#include "query/tag_panel.h"
#include "schedule/schedule.h"
#include "schedule/schedule_agent.h"
#include "server/connections.h"
#include "server/local_server.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"

namespace keldane {

/// The root that everything hangs from: makes the components, wires them, holds the start and stop
/// sequences, and is the one door for the faces. The work itself is in the components.
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
    /// The result list is kept filled: the newest messages after a connect, the new ones after a
    /// run. A terminal command that shows no list does without, and leaves no view on the server.
    bool keepsResultList = true;
    /// Taking a schedule back cleans the user's crontab too. A terminal command leaves it alone.
    bool cleansCrontab = true;
    /// Called in place of the modal connection form when a connect has failed.
    std::function<void(const std::string& error)> connectFailed;
    /// Makes the session; empty: one over the MySQL client.
    std::function<std::unique_ptr<ServerSession>()> makeSession;
    /// Makes the way to the system's scheduler; empty: that of this system.
    std::function<std::unique_ptr<ScheduleAgent>()> makeScheduleAgent;
    /// Asks the user where to save a file, with the title of the panel and the name to propose;
    /// empty when he cancels. A face without it saves no attachment.
    std::function<std::string(const std::string& title, const std::string& name)> chooseSaveFile;
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

  /// The start of a terminal command: as far as `awakeFromNib`, then a connect with the saved
  /// connection, or with the private server when there is none, in place of the connection form.
  /// The names, where they are given, hold for this command alone. The database is the one named,
  /// the connection's own, or the one of the last time, in this order. Answers whether the session
  /// stands.
  [[nodiscard]] bool connectForCommand(const std::string& connectionName = "",
                                       const std::string& databaseName = "",
                                       Opening opening = Opening::create);

  /// Saves the private server among the connections and selects it, when none is saved yet.
  void ensureConnection();
  /// The same whatever is saved. False when the preferences could not be written.
  bool savePrivateServer();

  ProcessState& process() { return process_; }
  ServerSession& session() { return *session_; }
  PreferencesFile& preferences() { return *prefs_; }
  ArchiveDatabase& database() { return *database_; }
  Connections& connections() { return *connections_; }
  Settings& settings() { return *settings_; }
  Schedule& schedule() { return *schedule_; }
  LocalServer& localServer() { return *localServer_; }
  SourceSelection& sources() { return sources_; }
  SourceChooser& sourceChooser() { return *sourceChooser_; }
  std::vector<TagRule>& tagRulesList() { return tagRulesList_; }
  TagRuleEditor& tagRuleEditor() { return *tagRuleEditor_; }
  TagPanel& tagPanel() { return *tagPanel_; }
  DuplicateSweep& duplicateSweep() { return *duplicateSweep_; }
  ResultList& resultList() { return *resultList_; }
  RetrieveSheet& retrieveSheet() { return *retrieveSheet_; }
  SqlEditor& sqlEditor() { return *sqlEditor_; }
  SavedSearches& savedSearches() { return *savedSearches_; }
  Browse& browse() { return *browse_; }
  PickLists& pickLists() { return *pickLists_; }
  /// The settings that a search statement depends on.
  [[nodiscard]] SearchContext searchSettings() const;
  /// What the menu items depend on, with so many rows of the list selected.
  [[nodiscard]] MenuState menuState(std::size_t selectedRows) const;
  MessageViewer& messageViewer() { return *messageViewer_; }
  AttachmentExtraction& attachmentExtraction() { return *attachmentExtraction_; }
  StatisticsReport& statistics() { return *statistics_; }
  ArchiveRun& archiveRun() { return *archiveRun_; }
  [[nodiscard]] bool terminated() const { return terminated_; }

 private:
  void makeParts();
  void wireDatabase();
  void wireConnections();
  void wireSettings();
  void wireRun();
  void wireSearch();
  void makeTagParts();
  void makeSchedule();
  void wireViewer();
  void terminate();
  void takeConnectionsDatabase();
  void makeWorkFolder();
  void removeWorkFiles(const std::array<std::string, 3>& files);
  void openSplashScreen();
  [[nodiscard]] bool fullDiskAccessRefused();

  Ports ports_;
  Options options_;
  ProcessState process_;
  SourceSelection sources_;
  std::vector<TagRule> tagRulesList_;
  std::unique_ptr<ServerSession> session_;
  std::unique_ptr<PreferencesFile> prefs_;
  std::unique_ptr<ProgressPanel> progress_;
  std::unique_ptr<ArchiveDatabase> database_;
  std::unique_ptr<Connections> connections_;
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<ScheduleAgent> scheduleAgent_;
  std::unique_ptr<Schedule> schedule_;
  std::unique_ptr<SourceChooser> sourceChooser_;
  std::unique_ptr<LocalServer> localServer_;
  std::unique_ptr<ResultList> resultList_;
  std::unique_ptr<RetrieveSheet> retrieveSheet_;
  std::unique_ptr<SqlEditor> sqlEditor_;
  std::unique_ptr<SavedSearches> savedSearches_;
  std::unique_ptr<Browse> browse_;
  std::unique_ptr<PickLists> pickLists_;
  std::unique_ptr<TagRuleEditor> tagRuleEditor_;
  std::unique_ptr<TagPanel> tagPanel_;
  std::unique_ptr<DuplicateSweep> duplicateSweep_;
  std::unique_ptr<MessageViewer> messageViewer_;
  std::unique_ptr<AttachmentExtraction> attachmentExtraction_;
  std::unique_ptr<StatisticsReport> statistics_;
  std::unique_ptr<ArchiveRun> archiveRun_;
  /// Folders made for the files of runs, one each time the debug log went off.
  std::vector<std::string> workFolders_;
  bool terminated_ = false;
};

}  // namespace keldane
