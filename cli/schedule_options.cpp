#include "cli/schedule_options.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr int kHours = 24;
constexpr int kMostHours = 23;
/// In the order of `UserSettings::scheddays`.
constexpr std::array<std::string_view, 8> kDayNames = {"all", "sun", "mon", "tue",
                                                       "wed", "thu", "fri", "sat"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

Result<void> fillTime(UserSettings& user, const std::string& time, const std::string& today) {
  const bool shaped = time.size() == 5 && time[2] == ':' && isDigit(time[0]) && isDigit(time[1]) &&
                      isDigit(time[3]) && isDigit(time[4]);
  if (!shaped || time > "23:59" || time[3] > '5') {
    return Failure{fmt::format("\"{}\" is no time of day; write 00:00 to 23:59", time)};
  }
  user.schedTime = today + " " + time + ":00";
  return {};
}

Result<void> fillDays(UserSettings& user, const std::string& days) {
  std::array<int, 8> checks{};
  for (const std::string& name : split(days, ",")) {
    const auto* const day = std::find_if(
        kDayNames.begin(), kDayNames.end(),
        [&](std::string_view known) { return compareNoCase(trimWhitespace(name), known) == 0; });
    if (day == kDayNames.end()) {
      return Failure{
          fmt::format("\"{}\" is no day; write all, or some of sun,mon,tue,wed,thu,fri,sat", name)};
    }
    checks.at(static_cast<std::size_t>(day - kDayNames.begin())) = 1;
  }
  // With all, each of them.
  if (checks[0] != 0) checks.fill(1);
  user.scheddays = checks;
  return {};
}

Result<void> fillHours(UserSettings& user, const ScheduleRequest& request) {
  if (request.oncePerDay) user.hoursState = 0;
  const std::string& hours = request.everyHours;
  if (hours.empty()) return {};
  const bool digits = hours.size() <= 2 && std::all_of(hours.begin(), hours.end(), isDigit);
  if (!digits || leadingInt(hours) < 1 || leadingInt(hours) > kMostHours) {
    return Failure{fmt::format("\"{}\" is no number of hours; write 1 to {}", hours, kMostHours)};
  }
  user.hoursState = 1;
  user.hoursStep = leadingInt(hours);
  return {};
}

Result<void> fillLeaveLog(UserSettings& user, const std::string& leaveLog) {
  if (leaveLog != "yes" && leaveLog != "no") {
    return Failure{fmt::format("\"{}\" is neither yes nor no", leaveLog)};
  }
  user.leaveLogState = leaveLog == "yes" ? 1 : 0;
  return {};
}

}  // namespace

Result<void> fillSchedule(UserSettings& user, const ScheduleRequest& request,
                          const std::string& today) {
  UserSettings filled = user;
  Result<void> done = fillHours(filled, request);
  if (done && !request.time.empty()) done = fillTime(filled, request.time, today);
  if (done && !request.days.empty()) done = fillDays(filled, request.days);
  if (done && !request.leaveLog.empty()) done = fillLeaveLog(filled, request.leaveLog);
  if (!done) return done;
  if (filled.schedTime.empty() && filled.hoursState == 0) {
    return Failure{"when? --time 09:30 gives a time of day, --every 2 the hours between starts"};
  }
  if (filled.scheddays == std::array<int, 8>{}) filled.scheddays.fill(1);
  user = std::move(filled);
  return {};
}

ScheduleSummary summaryOf(const std::vector<ScheduleTime>& times) {
  ScheduleSummary summary;
  std::set<int> days;
  std::set<std::pair<int, int>> clock;
  for (const ScheduleTime& time : times) {
    days.insert(time.weekday);
    clock.insert({time.hour, time.minute});
  }
  std::vector<std::string> names;
  for (const int day : days) {
    // Monday is 1 there, and Sunday is the first of the week here.
    const auto place = static_cast<std::size_t>(day == 7 ? 1 : day + 1);
    names.push_back(day == 0                   ? "all"
                    : place < kDayNames.size() ? std::string(kDayNames.at(place))
                                               : fmt::format("weekday {}", day));
  }
  if (days.count(7) != 0) std::rotate(names.begin(), names.end() - 1, names.end());
  summary.days = join(names, ",");
  if (times.empty()) {
    summary.words = "on no day";
    return summary;
  }
  const std::string when = summary.days == "all" ? "every day" : summary.days;
  std::vector<std::string> moments;
  for (const auto& [hour, minute] : clock) {
    moments.push_back(fmt::format("{:02}:{:02}", hour, minute));
  }
  const int step = clock.size() < 2 ? 0 : std::next(clock.begin())->first;
  const bool repeats = step > 0 && *clock.begin() == std::pair(0, 0) &&
                       static_cast<int>(clock.size()) == (kHours + step - 1) / step;
  if (repeats) {
    summary.everyHours = step;
    summary.words = fmt::format("{}, every {} hours from midnight", when, step);
    return summary;
  }
  if (moments.size() == 1) summary.time = moments.front();
  summary.words = when + " at " + join(moments, ", ");
  return summary;
}

}  // namespace keldane
