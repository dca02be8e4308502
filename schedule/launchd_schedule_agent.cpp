#include "schedule/launchd_schedule_agent.h"

#include <utility>

namespace keldane {
namespace {

constexpr const char* kLabel = "keldanepro.schedule";

}  // namespace

std::string LaunchdScheduleAgent::userId() {
  const Result<ToolOutcome> answer = tools_.run({"/usr/bin/id", {"-u"}, ".", ""});
  return answer ? answer->output : std::string();
}

void LaunchdScheduleAgent::launchctl(std::vector<std::string> arguments) {
  static_cast<void>(tools_.run({"/bin/launchctl", std::move(arguments), "", ""}));
}

Result<void> LaunchdScheduleAgent::load(const ScheduledStart& start) {
  // The answer's line end stays in it, as in all that earlier versions have sent.
  const std::string domain = "gui/" + userId();
  const std::string service = domain + "/" + kLabel;
  launchctl({"bootout", domain, start.agentPath});
  launchctl({"bootstrap", domain, start.agentPath});
  launchctl({"enable", service});
  launchctl({"load", service});
  return {};
}

Result<void> LaunchdScheduleAgent::unload() {
  static_cast<void>(userId());  // as loading does, though nothing here needs the answer
  launchctl({"remove", kLabel});
  return {};
}

InstalledSchedule LaunchdScheduleAgent::installed() {
  const Result<ToolOutcome> listed = tools_.run({"/bin/launchctl", {"list", kLabel}, "", ""});
  if (listed && listed->exitStatus == 0) return {};
  return {std::nullopt, Failure{"launchd does not know of it and will look at your next login"}};
}

}  // namespace keldane
