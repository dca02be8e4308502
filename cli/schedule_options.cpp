#include "cli/schedule_options.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr int kMostHours = 23;
/// In the order of the panel's boxes.
constexpr std::array<std::string_view, 8> kDayNames = {"all", "sun", "mon", "tue",
                                                       "wed", "thu", "fri", "sat"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

Result<void> fillTime(SettingsForm& form, const std::string& time, const std::string& today) {
  const bool shaped = time.size() == 5 && time[2] == ':' && isDigit(time[0]) && isDigit(time[1]) &&
                      isDigit(time[3]) && isDigit(time[4]);
  if (!shaped || time > "23:59" || time[3] > '5') {
    return Failure{fmt::format("\"{}\" is no time of day; write 00:00 to 23:59", time)};
  }
  form.schedTime = today + " " + time + ":00";
  return {};
}

Result<void> fillDays(SettingsForm& form, const std::string& days) {
  std::array<bool, 8> checks{};
  for (const std::string& name : split(days, ",")) {
    const auto* const day = std::find_if(
        kDayNames.begin(), kDayNames.end(),
        [&](std::string_view known) { return compareNoCase(trimWhitespace(name), known) == 0; });
    if (day == kDayNames.end()) {
      return Failure{
          fmt::format("\"{}\" is no day; write all, or some of sun,mon,tue,wed,thu,fri,sat", name)};
    }
    checks.at(static_cast<std::size_t>(day - kDayNames.begin())) = true;
  }
  // As the panel has it: with all, each of them.
  if (checks[0]) checks.fill(true);
  form.schedChecks = checks;
  return {};
}

Result<void> fillHours(SettingsForm& form, const ScheduleRequest& request) {
  if (request.oncePerDay) form.everyHourCheck = false;
  const std::string& hours = request.everyHours;
  if (hours.empty()) return {};
  const bool digits = hours.size() <= 2 && std::all_of(hours.begin(), hours.end(), isDigit);
  if (!digits || leadingInt(hours) < 1 || leadingInt(hours) > kMostHours) {
    return Failure{fmt::format("\"{}\" is no number of hours; write 1 to {}", hours, kMostHours)};
  }
  form.everyHourCheck = true;
  form.hoursTextField = form.hoursStepper = std::to_string(leadingInt(hours));
  return {};
}

Result<void> fillLeaveLog(SettingsForm& form, const std::string& leaveLog) {
  if (leaveLog != "yes" && leaveLog != "no") {
    return Failure{fmt::format("\"{}\" is neither yes nor no", leaveLog)};
  }
  form.leaveLogCheck = leaveLog == "yes";
  return {};
}

}  // namespace

Result<void> fillScheduleForm(SettingsForm& form, const ScheduleRequest& request,
                              const std::string& today) {
  SettingsForm filled = form;
  Result<void> done = fillHours(filled, request);
  if (done && !request.time.empty()) done = fillTime(filled, request.time, today);
  if (done && !request.days.empty()) done = fillDays(filled, request.days);
  if (done && !request.leaveLog.empty()) done = fillLeaveLog(filled, request.leaveLog);
  if (!done) return done;
  if (filled.schedTime.empty() && !filled.everyHourCheck) {
    return Failure{"when? --time 09:30 gives a time of day, --every 2 the hours between starts"};
  }
  if (filled.schedChecks == std::array<bool, 8>{}) filled.schedChecks.fill(true);
  form = filled;
  return {};
}

std::string scheduleDays(const UserSettings& user) {
  if (user.scheddays[0] != 0) return "all";
  std::vector<std::string> names;
  for (std::size_t i = 1; i < kDayNames.size(); ++i) {
    if (user.scheddays.at(i) != 0) names.emplace_back(kDayNames.at(i));
  }
  return join(names, ",");
}

std::string scheduleTimeOfDay(const UserSettings& user) {
  if (user.schedHour.empty() || user.schedMinute.empty()) return {};
  return user.schedHour + ":" + user.schedMinute;
}

std::string scheduleInWords(const UserSettings& user) {
  const std::string days = scheduleDays(user);
  const std::string when = days == "all" ? "every day" : days.empty() ? "on no day" : days;
  if (user.hoursState == 0) return when + " at " + scheduleTimeOfDay(user);
  return fmt::format("{}, every {} hours from midnight", when, user.hoursStep);
}

}  // namespace keldane
