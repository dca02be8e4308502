#pragma once

#include <string>
#include <vector>

#include "platform/tool_runner.h"
#include "schedule/schedule_agent.h"

namespace keldane {

/// The schedule as a per-user agent of launchd, which reads the agent file itself. Never fails:
/// what launchd answers is not looked at, because it takes every file of the folder up at the next
/// login.
class LaunchdScheduleAgent : public ScheduleAgent {
 public:
  explicit LaunchdScheduleAgent(ToolRunner& tools) : tools_(tools) {}

  [[nodiscard]] Result<void> load(const ScheduledStart& start) override;
  [[nodiscard]] Result<void> unload() override;
  [[nodiscard]] InstalledSchedule installed() override;

 private:
  [[nodiscard]] std::string userId();
  void launchctl(std::vector<std::string> arguments);

  ToolRunner& tools_;
};

}  // namespace keldane
