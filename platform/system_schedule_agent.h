#pragma once

#include <memory>
#include <string>

#include "platform/schedule_agent.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The way to the scheduler of the system that this program was built for.
[[nodiscard]] std::unique_ptr<ScheduleAgent> makeScheduleAgent(ToolRunner& tools,
                                                               const std::string& homePath);

}  // namespace keldane
