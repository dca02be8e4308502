#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "ingest/archive_run.h"
#include "ingest/sources/mail_sources.h"
#include "ingest/storing/tag_rule_list.h"
#include "platform/environment.h"
#include "platform/host_services.h"
#include "platform/main_queue.h"
#include "platform/process_state.h"
#include "platform/progress.h"
#include "platform/tool_runner.h"
#include "schedule/schedule.h"
#include "schedule/schedule_agent.h"
#include "server/connections.h"
#include "server/local_server.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"

namespace keldane {

class RunIndex;

/// What to tell a user of a system that guards the mail store.
inline constexpr const char* kFullDiskAccessText =
    "Make sure you have granted Full Disk Access to Keldane Pro in the Security and Privacy system "
    "preferences panel.";

/// The root of the core: owns the process's state, the one session, the preferences and what works
/// on them. The window, the terminal and an unattended run all stand on one of these.
///
/// Main thread only.
class Archiver {
 public:
  struct Ports {
    Progress& progress;
    MainQueue& mainQueue;
    ToolRunner& tools;
    Environment& environment;
    HostServices& host;
  };
  struct Options {
    /// Taking a schedule back cleans the user's crontab too. A terminal command leaves it alone.
    bool cleansCrontab = true;
    /// Makes the session; empty: one over the MySQL client.
    std::function<std::unique_ptr<ServerSession>()> makeSession;
    /// Starts the private server, which takes seconds; empty: by its `start`.
    std::function<Result<LocalServer::Status>(LocalServer& server)> startServer;
    /// Makes the way to the system's scheduler; empty: that of this system.
    std::function<std::unique_ptr<ScheduleAgent>()> makeScheduleAgent;
  };

  Archiver(Ports ports, const Options& options);
  ~Archiver();
  Archiver(const Archiver&) = delete;
  Archiver& operator=(const Archiver&) = delete;

  /// Looks around: system, mail store, work folder, arguments. False for a start by a schedule that
  /// is no longer there: the program has nothing to do.
  [[nodiscard]] bool start();
  /// Reads connections and settings out of the preferences.
  void loadPreferences();
  /// Reads the user's settings and the tag rules anew.
  void getPrefs();
  /// The end: abandons a run under way, takes away the work files of runs, and closes the session
  /// after `lastStatements`.
  void close(const std::function<void()>& lastStatements = {});

  /// The whole connect: starts the private server when it is the one that is wanted, opens the
  /// session and the database, and brings the settings of the archive. A server that goes away
  /// meanwhile is connected to again. `Connections::isConnected` tells whether the session stands.
  [[nodiscard]] Faults connect(const ServerConnection& wanted);
  /// The same with the connection of the last time.
  [[nodiscard]] Faults reconnect();
  /// The same as a terminal command does: with the saved connection, or with the private server
  /// when there is none. The names, where they are given, hold for this process alone. The database
  /// is the one named, the connection's own, or the one of the last time, in this order.
  [[nodiscard]] Faults connectForCommand(const std::string& connectionName = "",
                                         const std::string& databaseName = "",
                                         Opening opening = Opening::create);
  /// The same for a run by the schedule.
  [[nodiscard]] Faults connectUnattended();

  /// Saves the private server among the connections and selects it, when none is saved yet.
  void ensureConnection();
  /// The same whatever is saved. False when the preferences could not be written.
  bool savePrivateServer();
  void setDebugLog(bool on);
  /// A system that guards the mail store has not let this program in.
  [[nodiscard]] bool fullDiskAccessRefused() const;

  ProcessState& process() { return process_; }
  ServerSession& session() { return *session_; }
  PreferencesFile& preferences() { return prefs_; }
  ArchiveDatabase& database() { return database_; }
  Connections& connections() { return connections_; }
  Settings& settings() { return settings_; }
  [[nodiscard]] const Settings& settings() const { return settings_; }
  Schedule& schedule() { return schedule_; }
  LocalServer& localServer() { return localServer_; }
  MailSources& sources() { return sources_; }
  TagRuleList& tagRules() { return tagRules_; }
  ArchiveRun& archiveRun() { return archiveRun_; }

 private:
  [[nodiscard]] Faults connectOnce(ServerConnection wanted);
  [[nodiscard]] Faults connectTo(const ServerConnection& wanted);
  [[nodiscard]] bool connectOwnServer(ServerConnection wanted, Faults& faults);
  [[nodiscard]] Result<void> prepareServer(ServerConnection& wanted);
  void resetPrefs();
  void makeWorkFolder();
  void removeWorkFiles(const std::array<std::string, 3>& files);

  Ports ports_;
  const std::function<Result<LocalServer::Status>(LocalServer& server)> startServer_;
  ProcessState process_;
  std::unique_ptr<ServerSession> session_;
  PreferencesFile prefs_;
  ArchiveDatabase database_;
  Connections connections_;
  Settings settings_;
  LocalServer localServer_;
  std::unique_ptr<ScheduleAgent> scheduleAgent_;
  Schedule schedule_;
  ServerConnection wanted_;  ///< of the last connect
  TagRuleList tagRules_;
  MailSources sources_;
  std::unique_ptr<RunIndex> runIndex_;
  ArchiveRun archiveRun_;
  /// Folders made for the files of runs, one each time the debug log went off.
  std::vector<std::string> workFolders_;
};

}  // namespace keldane
