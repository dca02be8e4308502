#include "schedule/system_schedule_agent.h"

#ifdef __APPLE__
#include "schedule/launchd_schedule_agent.h"
#else
#include "schedule/systemd_schedule_agent.h"
#endif

namespace keldane {

std::unique_ptr<ScheduleAgent> makeScheduleAgent(ToolRunner& tools, const std::string& homePath) {
#ifdef __APPLE__
  static_cast<void>(homePath);
  return std::make_unique<LaunchdScheduleAgent>(tools);
#else
  return std::make_unique<SystemdScheduleAgent>(tools, homePath);
#endif
}

}  // namespace keldane
