#include "schedule/schedule_plist.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include <fmt/format.h>

#include "base/text.h"
#include "settings/property_list.h"

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

int numberOf(const PlistDict& entry, const char* key) {
  const auto found = entry.find(key);
  if (found == entry.end()) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(found->second.integer().value_or(0), 0, 99));
}

/// A word of the shell that means exactly the text.
std::string shellWord(std::string_view text) {
  constexpr std::string_view kPlain = "/._-+,:=@%~";
  std::string word;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain =
        byte >= 0x80 || std::isalnum(byte) != 0 || kPlain.find(c) != std::string_view::npos;
    if (c == '\n') {
      word += "'\n'";  // behind a backslash it would be no character at all
      continue;
    }
    if (!plain) word += '\\';
    word += c;
  }
  return word;
}

std::string xmlText(std::string_view text) {
  std::string xml;
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const std::size_t length = byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    if (byte >= 0x80) {
      char32_t code = byte & (0x7FU >> length);
      for (const char next : text.substr(at + 1, length - 1)) {
        code = code << 6 | (static_cast<unsigned char>(next) & 0x3FU);
      }
      xml += fmt::format("&#{};", static_cast<std::uint32_t>(code));
    } else if (byte == '&' || byte == '<' || byte == '>' || byte == '\r') {
      xml += fmt::format("&#{};", byte);
    } else {
      xml += text[at];
    }
    at += length;
  }
  return xml;
}

}  // namespace

std::string agentCommand(std::string_view program, std::string_view arguments) {
  return xmlText(toUtf8(shellWord(program))) + std::string(arguments);
}

std::vector<ScheduleTime> timesOfAgent(std::string_view agentText) {
  std::vector<ScheduleTime> times;
  // The library takes a number with a zero before it for an octal one, and these for none.
  std::string text(agentText);
  replaceAll(text, "<integer>08<", "<integer>8<");
  replaceAll(text, "<integer>09<", "<integer>9<");
  const Result<PlistValue> agent = parsePlist(text);
  if (!agent || agent->dict() == nullptr) return times;
  const auto found = agent->dict()->find("StartCalendarInterval");
  if (found == agent->dict()->end() || found->second.array() == nullptr) return times;
  for (const PlistValue& entry : *found->second.array()) {
    if (entry.dict() == nullptr) continue;
    times.push_back({numberOf(*entry.dict(), "Weekday"), numberOf(*entry.dict(), "Hour"),
                     numberOf(*entry.dict(), "Minute")});
  }
  return times;
}

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
