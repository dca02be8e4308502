#include "schedule/systemd_schedule_agent.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kService = "keldanepro-schedule.service";
constexpr const char* kTimer = "keldanepro-schedule.timer";
constexpr std::array<const char*, 8> kDays = {"",     "Mon ", "Tue ", "Wed ",
                                              "Thu ", "Fri ", "Sat ", "Sun "};

template <typename... Values>
std::string formatted(const char* format, Values... values) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

/// One word of a unit's command.
std::string quoted(std::string_view text) {
  std::string word = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') word += '\\';
    if (c == '%') word += '%';
    if (isControl(c)) {
      word += formatted("\\x%02x", static_cast<unsigned char>(c));
    } else {
      word += c;
    }
  }
  return word + "\"";
}

std::string serviceText(const std::string& program) {
  return "[Unit]\n"
         "Description=Keldane Pro archives the mail that has come\n\n"
         "[Service]\n"
         "Type=oneshot\n"
         "ExecStart=" +
         unitCommand(program) + "\n";
}

std::string timerText(const std::vector<ScheduleTime>& times) {
  std::string text =
      "[Unit]\n"
      "Description=Schedule of Keldane Pro\n\n"
      "[Timer]\n";
  for (const ScheduleTime& time : times) {
    text += "OnCalendar=";
    text += kDays.at(static_cast<std::size_t>(time.weekday));
    text += formatted("*-*-* %02d:%02d:00\n", time.hour, time.minute);
  }
  text +=
      "Persistent=true\n\n"
      "[Install]\n"
      "WantedBy=timers.target\n";
  return text;
}

/// The times of a timer that `timerText` has made, or that a user has changed in its manner.
std::vector<ScheduleTime> timesOf(const std::string& timer) {
  std::vector<ScheduleTime> times;
  for (const std::string& line : split(timer, "\n")) {
    for (std::size_t day = 0; day < kDays.size(); ++day) {
      ScheduleTime time{static_cast<int>(day), 0, 0};
      const std::string shape = std::string("OnCalendar=") + kDays.at(day) + "*-*-* %2d:%2d:00";
      if (std::sscanf(line.c_str(), shape.c_str(), &time.hour, &time.minute) == 2) {
        times.push_back(time);
      }
    }
  }
  return times;
}

/// A failure to remove a file that is there.
Result<void> removeIfThere(const std::string& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR) return {};
  return Failure{path + ": " + std::generic_category().message(errno)};
}

std::string firstLine(std::string_view text) {
  const std::string_view trimmed = trimWhitespace(text);
  return printable(trimmed.substr(0, trimmed.find('\n')));
}

}  // namespace

std::string unitCommand(const std::string& program) {
  const bool direct = program.find_first_of("\"'\\") == std::string::npos &&
                      std::none_of(program.begin(), program.end(), isControl);
  if (direct) return quoted(program) + " 1";
  // The service manager refuses such a name for a program, but not for an argument. Of arguments it
  // takes "$" for the beginning of a variable.
  std::string argument = program;
  replaceAll(argument, "$", "$$");
  return "/bin/sh -c \"exec \\\"$$0\\\" 1\" " + quoted(argument);
}

SystemdScheduleAgent::SystemdScheduleAgent(ToolRunner& tools, const std::string& homePath)
    : tools_(tools),
      folder_(homePath + "/.config/systemd/user"),
      servicePath_(folder_ + "/" + kService),
      timerPath_(folder_ + "/" + kTimer),
      wantsFolder_(folder_ + "/timers.target.wants"),
      linkPath_(wantsFolder_ + "/" + kTimer) {}

Result<void> SystemdScheduleAgent::systemctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "--user");
  const Result<ToolOutcome> outcome = tools_.run({"systemctl", std::move(arguments), "", ""});
  if (!outcome) return Failure{printable(outcome.error())};
  if (outcome->exitStatus == 0) return {};
  const std::string reason = firstLine(outcome->errorText);
  return Failure{reason.empty() ? formatted("systemctl ended with %d", outcome->exitStatus)
                                : reason};
}

Result<void> SystemdScheduleAgent::writeUnits(const ScheduledStart& start) const {
  if (Result<void> made = makeFolders(wantsFolder_); !made) return made;
  if (Result<void> put = replaceFile(servicePath_, serviceText(start.program)); !put) return put;
  if (Result<void> put = replaceFile(timerPath_, timerText(start.times)); !put) return put;
  // As the service manager itself links a timer that is to begin with each login; put here, so that
  // it holds also where the manager cannot be asked.
  if (Result<void> gone = removeIfThere(linkPath_); !gone) return gone;
  if (::symlink((std::string("../") + kTimer).c_str(), linkPath_.c_str()) != 0) {
    return Failure{linkPath_ + ": " + std::generic_category().message(errno)};
  }
  return {};
}

Result<void> SystemdScheduleAgent::load(const ScheduledStart& start) {
  if (start.times.empty()) return unload();
  if (const Result<void> written = writeUnits(start); !written) {
    return Failure{"The timer could not be written: " + written.error()};
  }
  Result<void> told = systemctl({"daemon-reload"});
  if (told) told = systemctl({"restart", kTimer});
  if (told) return {};
  return Failure{"The service manager of your session could not be told of the schedule (" +
                 told.error() + "). The timer is written in " + timerPath_ +
                 " and begins with your next login; to begin at once, run: systemctl --user "
                 "daemon-reload && systemctl --user restart " +
                 kTimer +
                 ". On a system without this service manager, let a scheduler of your own start " +
                 printable(start.program) + " with the argument 1."};
}

Result<void> SystemdScheduleAgent::unload() {
  if (!fileExists(timerPath_) && !fileExists(servicePath_)) return removeIfThere(linkPath_);
  // A manager that cannot be asked learns of it when it next looks at the files; a start until then
  // finds no agent file and ends at once.
  static_cast<void>(systemctl({"stop", kTimer}));
  for (const std::string& path : {linkPath_, timerPath_, servicePath_}) {
    if (Result<void> gone = removeIfThere(path); !gone) return gone;
  }
  static_cast<void>(systemctl({"daemon-reload"}));
  return {};
}

InstalledSchedule SystemdScheduleAgent::installed() {
  InstalledSchedule schedule;
  const Result<std::string> timer = readFile(timerPath_);
  schedule.times = timesOf(timer ? *timer : std::string());
  if (!timer) {
    schedule.running = Failure{"there is no timer: " + timer.error()};
  } else if (const Result<void> active = systemctl({"is-active", "--quiet", kTimer}); !active) {
    schedule.running = Failure{"the service manager of your session does not run its timer (" +
                               active.error() + ")"};
  }
  return schedule;
}

}  // namespace keldane
