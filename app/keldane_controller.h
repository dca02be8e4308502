#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/archive_database.h"
#include "app/connections.h"
#include "app/local_server.h"
#include "app/preferences_file.h"
#include "app/process_state.h"
#include "app/progress_panel.h"
#include "app/server_session.h"
#include "app/settings.h"
#include "ingest/archive_run.h"
#include "ingest/mail_sources.h"
#include "ingest/tag_rules.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/tool_runner.h"
#include "platform/user_interface.h"
#include "query/result_list.h"

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
    /// Called in place of the modal connection form when a connect has failed.
    std::function<void(const std::string& error)> connectFailed;
    /// Makes the session; empty: one over the MySQL client.
    std::function<std::unique_ptr<ServerSession>()> makeSession;
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

  /// The start of a terminal command: as far as `awakeFromNib`, then a connect with the saved
  /// connection, or with the private server when there is none, in place of the connection form.
  /// Answers whether the session stands.
  [[nodiscard]] bool connectForCommand(const std::string& connectionName = "",
                                       const std::string& databaseName = "");

  /// Saves the private server among the connections and selects it, when none is saved yet.
  void ensureConnection();

  ProcessState& process() { return process_; }
  ServerSession& session() { return *session_; }
  PreferencesFile& preferences() { return *prefs_; }
  ArchiveDatabase& database() { return *database_; }
  Connections& connections() { return *connections_; }
  Settings& settings() { return *settings_; }
  LocalServer& localServer() { return *localServer_; }
  SourceSelection& sources() { return sources_; }
  std::vector<TagRule>& tagRulesList() { return tagRulesList_; }
  ResultList& resultList() { return *resultList_; }
  ArchiveRun& archiveRun() { return *archiveRun_; }
  [[nodiscard]] bool terminated() const { return terminated_; }

 private:
  void makeParts();
  void wireDatabase();
  void wireConnections();
  void wireSettings();
  void wireRun();
  void terminate();
  void makeWorkFolder();
  [[nodiscard]] bool fullDiskAccessRefused();
  [[nodiscard]] std::string agentPath() const;

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
  std::unique_ptr<LocalServer> localServer_;
  std::unique_ptr<ResultList> resultList_;
  std::unique_ptr<ArchiveRun> archiveRun_;
  bool terminated_ = false;
};

}  // namespace keldane
