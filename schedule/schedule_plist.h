#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "schedule/schedule_agent.h"
#include "settings/settings_values.h"

namespace keldane {

/// The agent file: the template, closed, with one calendar entry for each start. The template stops
/// just behind the opening of the array of entries.
///
/// Kept: where the starts repeat on chosen days, every entry carries the weekday 8.
[[nodiscard]] std::string agentText(std::string scheduleTemplate, const UserSettings& user);

/// The starts that the settings mean, for a scheduler that does not read the agent file.
[[nodiscard]] std::vector<ScheduleTime> scheduleTimes(const UserSettings& user);

/// The starts that an agent file holds, as the numbers that stand there; none when it cannot be
/// read.
[[nodiscard]] std::vector<ScheduleTime> timesOfAgent(std::string_view agentText);

/// The command of an agent for a program: a word of the shell within XML. Every character of the
/// path means itself, and what is beyond ASCII stands as a reference, so that the text has as many
/// bytes as characters. `arguments` follows the word as it is.
[[nodiscard]] std::string agentCommand(std::string_view program, std::string_view arguments);

}  // namespace keldane
