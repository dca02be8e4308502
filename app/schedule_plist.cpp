#include "app/schedule_plist.h"

#include <algorithm>

#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kIntervalEntry =
    "<dict>\n<key>Hour</key>\n<integer>88</integer>\n<key>Minute</key>\n<integer>45</integer>\n"
    "</dict>\n";
constexpr const char* kWeekdayIntervalEntry =
    "<dict>\n<key>Hour</key>\n<integer>88</integer>\n<key>Minute</key>\n<integer>45</integer>\n"
    "<key>Weekday</key>\n<integer>8</integer>\n</dict>\n";
constexpr int kHours = 24;
constexpr int kUsualStep = 2;

/// Hours of the starts of one day; a step that leads nowhere is the usual one.
std::vector<int> repeatedHours(int step) {
  std::vector<int> hours;
  for (int hour = 0; hour<kHours; hour += step> 0 ? std::min(step, kHours) : kUsualStep) {
    hours.push_back(hour);
  }
  return hours;
}

/// Monday 1 to Sunday 7, from the boxes that begin with Sunday.
std::vector<int> chosenWeekdays(const UserSettings& user) {
  std::vector<int> days;
  for (int i = 1; i <= 7; ++i) {
    if (user.scheddays.at(static_cast<std::size_t>(i)) != 0) days.push_back(i == 1 ? 7 : i - 1);
  }
  return days;
}

void appendEntry(std::string& text, const char* entry, const std::string& hour,
                 const std::string& minute) {
  text += entry;
  replaceAll(text, "Hour</key>\n<integer>88", "Hour</key>\n<integer>" + hour);
  replaceAll(text, "Minute</key>\n<integer>45", "Minute</key>\n<integer>" + minute);
}

void appendEntries(std::string& text, const char* entry, const UserSettings& user) {
  if (user.hoursState == 0) {
    appendEntry(text, entry, user.schedHour, user.schedMinute);
    return;
  }
  for (const int hour : repeatedHours(user.hoursStep)) {
    appendEntry(text, entry, std::to_string(hour), "0");
  }
}

}  // namespace

std::string agentText(std::string scheduleTemplate, const UserSettings& user) {
  std::string text = std::move(scheduleTemplate);
  if (user.scheddays[0] != 0) {
    appendEntries(text, kIntervalEntry, user);
  } else {
    for (const int weekday : chosenWeekdays(user)) {
      appendEntries(text, kWeekdayIntervalEntry, user);
      if (user.hoursState != 0) continue;
      replaceAll(text, "Weekday</key>\n<integer>8",
                 "Weekday</key>\n<integer>" + std::to_string(weekday));
    }
  }
  return text + "</array>\n</dict>\n</plist>\n";
}

std::vector<ScheduleTime> scheduleTimes(const UserSettings& user) {
  std::vector<ScheduleTime> times;
  const std::vector<int> days = user.scheddays[0] != 0 ? std::vector<int>{0} : chosenWeekdays(user);
  for (const int day : days) {
    if (user.hoursState == 0) {
      times.push_back({day, leadingInt(user.schedHour), leadingInt(user.schedMinute)});
      continue;
    }
    for (const int hour : repeatedHours(user.hoursStep)) times.push_back({day, hour, 0});
  }
  return times;
}

}  // namespace keldane
