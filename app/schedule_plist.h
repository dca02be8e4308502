#pragma once

#include <string>
#include <vector>

#include "app/settings_values.h"
#include "platform/schedule_agent.h"

namespace keldane {

/// The agent file: the template, closed, with one calendar entry for each start. The template stops
/// just behind the opening of the array of entries.
///
/// Kept: where the starts repeat on chosen days, every entry carries the weekday 8.
[[nodiscard]] std::string agentText(std::string scheduleTemplate, const UserSettings& user);

/// The starts that the settings mean, for a scheduler that does not read the agent file.
[[nodiscard]] std::vector<ScheduleTime> scheduleTimes(const UserSettings& user);

}  // namespace keldane
