#include "schedule/schedule.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "platform/resource_file.h"
#include "schedule/schedule_plist.h"

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

}  // namespace

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
  std::string& time = context_.settings.form.schedTime;
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
  // Kept: cut to the number of its characters. The command has none beyond ASCII.
  const std::string_view bytes = std::string_view(text).substr(0, utf16Length(text));
  return replaceFile(path, bytes);
}

Faults Schedule::schedule() {
  std::string scheduleTemplate = readTemplate();
  replaceAll(scheduleTemplate, "#kdcommand#", command());
  fillEmptyTime();
  Faults faults = context_.settings.savePrefButton();
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
