#pragma once

#include <string>
#include <vector>

#include "archive/fault.h"
#include "base/result.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "platform/tool_runner.h"
#include "schedule/crontab_cleaner.h"
#include "schedule/schedule_agent.h"
#include "settings/settings.h"

namespace keldane {

/// The file whose presence says that there is a schedule.
[[nodiscard]] inline std::string scheduleAgentPath(const ProcessState& state) {
  return state.homePath + "/Library/LaunchAgents/keldanepro.schedule.plist";
}

/// The starts that the settings mean, for a scheduler that does not read the agent file.
[[nodiscard]] std::vector<ScheduleTime> scheduleTimes(const UserSettings& user);

/// Archiving by the clock, with no program that waits: an agent file tells the system's scheduler
/// to start this program with the argument 1. The agent holds times and command only; the run reads
/// all else from the settings, and changing those does not touch the agent. Main thread.
class Schedule {
 public:
  struct Context {
    Settings& settings;
    ScheduleAgent& agent;
    ToolRunner& tools;
    Environment& environment;
    ProcessState& process;
    /// Whether taking a schedule back also cleans the user's crontab.
    bool cleansCrontab = true;
  };
  explicit Schedule(const Context& context);

  /// Saves the settings and schedules by them; without a time, at that of now. There is a schedule
  /// then, unless one of the faults is about it.
  [[nodiscard]] Faults schedule();
  [[nodiscard]] Faults removeSchedule();
  void removeCrontab() { crontab_.removeCrontab(); }

  /// Whether there is an agent file.
  [[nodiscard]] bool isScheduled() const;
  /// The schedule as it is installed, whatever the settings say by now; with times always.
  [[nodiscard]] InstalledSchedule installed() const;

 private:
  void fillEmptyTime();
  [[nodiscard]] std::string program() const;
  [[nodiscard]] std::string command() const;
  [[nodiscard]] std::string readTemplate() const;
  [[nodiscard]] Result<void> writeAgent(const std::string& text) const;

  Context context_;
  CrontabCleaner crontab_;
};

}  // namespace keldane
