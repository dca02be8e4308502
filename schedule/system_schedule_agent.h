#pragma once

#include <memory>
#include <string>

#include "platform/tool_runner.h"
#include "schedule/schedule_agent.h"

namespace keldane {

/// The way to the scheduler of the system that this program was built for.
[[nodiscard]] std::unique_ptr<ScheduleAgent> makeScheduleAgent(ToolRunner& tools,
                                                               const std::string& homePath);

}  // namespace keldane
