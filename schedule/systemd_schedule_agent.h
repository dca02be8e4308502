#pragma once

#include <string>
#include <vector>

#include "platform/tool_runner.h"
#include "schedule/schedule_agent.h"

namespace keldane {

/// The schedule as a timer of the user's service manager: two unit files of mode 0600 below
/// `.config/systemd/user`, and the link that lets the timer begin with each login. A start that the
/// machine has slept through is made up for.
///
/// Where the service manager cannot be reached the files stay for when it can.
class SystemdScheduleAgent : public ScheduleAgent {
 public:
  SystemdScheduleAgent(ToolRunner& tools, const std::string& homePath);

  /// Without any time it is an `unload`: a timer must have one.
  [[nodiscard]] Result<void> load(const ScheduledStart& start) override;
  [[nodiscard]] Result<void> unload() override;
  [[nodiscard]] InstalledSchedule installed() override;

 private:
  [[nodiscard]] Result<void> writeUnits(const ScheduledStart& start) const;
  /// What `systemctl --user` answered; its reason when that was no success.
  [[nodiscard]] Result<void> systemctl(std::vector<std::string> arguments);

  ToolRunner& tools_;
  const std::string folder_;
  const std::string servicePath_;
  const std::string timerPath_;
  const std::string wantsFolder_;
  const std::string linkPath_;
};

/// The command of a unit that starts this program with the argument 1. Quoted, so that blanks,
/// quotes, backslashes, control characters, "%" and "$" in the path mean themselves.
[[nodiscard]] std::string unitCommand(const std::string& program);

}  // namespace keldane
