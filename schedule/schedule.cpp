#include "schedule/schedule.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "platform/resource_file.h"
#include "settings/property_list.h"

namespace keldane {
namespace {

constexpr const char* kTemplate = "kdpro.schedule.plist";
constexpr const char* kWindowProgram = "KeldanePro";
constexpr std::string_view kMomentShape = "dddd-dd-dd dd:dd:dd";

/// What `deleteConnection` leaves behind the command.
constexpr std::string_view kLeftArgument = " 1\n";

bool isMoment(const std::string& text) {
  std::string shape = text;
  for (char& c : shape) {
    if (c >= '0' && c <= '9') c = 'd';
  }
  return shape == kMomentShape && leadingInt(text.substr(11)) < 24 &&
         leadingInt(text.substr(14)) < 60;
}

Faults failed(std::string text) { return {{Fault::About::schedule, std::move(text)}}; }

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

/// The command of an agent for a program: a word of the shell within XML. Every character of the
/// path means itself, and what is beyond ASCII stands as a reference, so that the text has as many
/// bytes as characters. `arguments` follows the word as it is.
std::string agentCommand(std::string_view program, std::string_view arguments) {
  return xmlText(toUtf8(shellWord(program))) + std::string(arguments);
}

/// The starts that an agent file holds, as the numbers that stand there; none when it cannot be
/// read.
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

/// The agent file: the template, closed, with one calendar entry for each start. The template stops
/// just behind the opening of the array of entries.
///
/// Where the starts repeat on chosen days, every entry carries the template's weekday 8: the
/// agent files of all earlier versions do.
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

}  // namespace

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

Schedule::Schedule(const Context& context)
    : context_(context), crontab_(context.tools, supportFolder(context.process)) {}

bool Schedule::isScheduled() const { return fileExists(scheduleAgentPath(context_.process)); }

InstalledSchedule Schedule::installed() const {
  InstalledSchedule schedule = context_.agent.installed();
  if (!schedule.times) {
    const Result<std::string> agent = readFile(scheduleAgentPath(context_.process));
    schedule.times = agent ? timesOfAgent(*agent) : std::vector<ScheduleTime>();
  }
  return schedule;
}

void Schedule::fillEmptyTime() {
  // A time control always shows one.
  std::string& time = context_.settings.user.schedTime;
  if (!isMoment(time)) time = localDateTime(context_.environment.now());
}

std::string Schedule::program() const {
  std::string running = context_.environment.executablePath();
  const std::string window = running.substr(0, running.rfind('/') + 1) + kWindowProgram;
  return ::access(window.c_str(), X_OK) == 0 ? window : running;
}

std::string Schedule::command() const {
  const std::vector<std::string>& arguments = context_.process.launchArguments;
  const std::string chosen = program();
  // Started by name from a terminal, or beside the window program: its own name says too little.
  const bool asLaunched = chosen == context_.environment.executablePath() && !arguments.empty() &&
                          arguments.front().starts_with('/');
  const bool hasArgument = asLaunched && context_.process.launchCommand.ends_with(kLeftArgument);
  return agentCommand(asLaunched ? arguments.front() : chosen,
                      hasArgument ? kLeftArgument : std::string_view());
}

std::string Schedule::readTemplate() const {
  const std::string running = context_.environment.executablePath();
  std::error_code none;
  const std::filesystem::path real = std::filesystem::canonical(running, none);
  const Result<std::string> bytes =
      readFile(resourceFile(none ? running : real.string(), kTemplate));
  if (bytes) return *bytes;
  std::fprintf(stderr, "%s is missing: %s\n", kTemplate, bytes.error().c_str());
  return {};
}

Result<void> Schedule::writeAgent(const std::string& text) const {
  const std::string path = scheduleAgentPath(context_.process);
  const std::string folder = path.substr(0, path.rfind('/'));
  if (::mkdir(folder.c_str(), 0700) != 0 && !isDirectory(folder)) {
    return Failure{folder + ": " + std::generic_category().message(errno)};
  }
  // Cut to the number of its characters: the command has none beyond ASCII, so nothing is lost.
  const std::string_view bytes = std::string_view(text).substr(0, utf16Length(text));
  return replaceFile(path, bytes);
}

Faults Schedule::schedule() {
  std::string scheduleTemplate = readTemplate();
  replaceAll(scheduleTemplate, "#kdcommand#", command());
  fillEmptyTime();
  Faults faults = context_.settings.savePreferences();
  context_.settings.getPrefs();
  if (Faults left = removeSchedule(); !left.empty()) {
    append(faults, std::move(left));
    return faults;
  }
  const UserSettings& user = context_.settings.user;
  const std::string text =
      scheduleTemplate.empty() ? std::string() : agentText(std::move(scheduleTemplate), user);
  if (const Result<void> written = writeAgent(text); !written) {
    append(faults, failed("The schedule could not be saved: " + written.error()));
    return faults;
  }
  const Result<void> loaded =
      context_.agent.load({scheduleAgentPath(context_.process), program(), scheduleTimes(user)});
  if (!loaded) append(faults, failed(loaded.error()));
  return faults;
}

Faults Schedule::removeSchedule() {
  Result<void> removed = context_.agent.unload();
  const std::string path = scheduleAgentPath(context_.process);
  if (::unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR && removed) {
    removed = Failure{path + ": " + std::generic_category().message(errno)};
  }
  if (context_.cleansCrontab) removeCrontab();
  if (!removed) return failed("The schedule could not be removed: " + removed.error());
  return {};
}

}  // namespace keldane
