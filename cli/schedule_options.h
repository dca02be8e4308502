#pragma once

#include <string>
#include <vector>

#include "base/result.h"
#include "schedule/schedule_agent.h"
#include "settings/settings_values.h"

namespace keldane {

/// What `keldane schedule set` was asked for, as text; an empty one leaves the setting as it is.
struct ScheduleRequest {
  std::string time;        ///< "09:30"
  std::string days;        ///< "all", or names of days between commas
  std::string everyHours;  ///< hours between the starts of a day
  bool oncePerDay = false;
  std::string leaveLog;  ///< "yes" or "no"
};

/// Puts the request into the settings of the schedule. `today` ("2024-02-28") is the day that the
/// stored time stands on. Without a word about days, and with none chosen so far, it is every day.
/// Fails, with what is accepted, and leaves the settings as they were.
[[nodiscard]] Result<void> fillSchedule(UserSettings& user, const ScheduleRequest& request,
                                        const std::string& today);

/// The starts as the request would ask for them.
struct ScheduleSummary {
  std::string days;    ///< "all", names of days between commas, or "" for none
  std::string time;    ///< "09:30", of a schedule that starts once a day
  int everyHours = 0;  ///< hours between the starts of a day, counted from midnight
  std::string words;   ///< such as "mon,fri at 09:30"
};
[[nodiscard]] ScheduleSummary summaryOf(const std::vector<ScheduleTime>& times);

}  // namespace keldane
