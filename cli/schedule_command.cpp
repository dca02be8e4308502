#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/schedule_options.h"

namespace keldane {
namespace {

constexpr std::size_t kDayLength = 10;  // "2024-02-28"

void setSchedule(const ScheduleRequest& request, Program& program) {
  // Asked before the server is: what is wrong with the request is known without it.
  UserSettings trial = program.archiver().settings().user;
  const std::string today = localDateTime(program.environment.now()).substr(0, kDayLength);
  if (const Result<void> filled = fillSchedule(trial, request, today); !filled) {
    program.exitStatus = program.fail(filled.error());
    return;
  }
  Archiver* archiver = program.connected("", "", Opening::create);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  Settings& settings = archiver->settings();
  if (!fillSchedule(settings.user, request, today) ||
      !program.tell(archiver->schedule().schedule())) {
    program.exitStatus = kExitFailed;
    return;
  }
  const InstalledSchedule installed = archiver->schedule().installed();
  std::fputs(fmt::format("Scheduled: {}\n", summaryOf(*installed.times).words).c_str(), stdout);
}

void showSchedule(bool json, Program& program) {
  Archiver& archiver = program.archiver();
  const bool leavesLog = archiver.settings().user.leaveLogState != 0;
  const std::string agentFile = scheduleAgentPath(archiver.process());
  const bool written = archiver.schedule().isScheduled();
  const InstalledSchedule installed =
      written ? archiver.schedule().installed()
              : InstalledSchedule{std::vector<ScheduleTime>(), Failure{"there is no schedule"}};
  const ScheduleSummary summary = summaryOf(*installed.times);
  if (json) {
    printJson({{"scheduled", static_cast<bool>(installed.running)},
               {"written", written},
               {"problem", installed.running ? "" : installed.running.error()},
               {"time", summary.time},
               {"days", summary.days},
               {"everyHours", summary.everyHours},
               {"leaveLog", leavesLog},
               {"agentFile", agentFile}});
    return;
  }
  if (!written) {
    std::fputs("There is no schedule.\n", stdout);
    return;
  }
  const std::string state =
      installed.running
          ? "Scheduled: " + summary.words
          : fmt::format("Not running: {}\nWritten: {}", installed.running.error(), summary.words);
  std::fputs(fmt::format("{}\nLog left on the Desktop: {}\nAgent file: {}\n", state,
                         leavesLog ? "yes" : "no", printable(agentFile))
                 .c_str(),
             stdout);
}

void removeSchedule(Program& program) {
  Schedule& schedule = program.archiver().schedule();
  const bool wasScheduled = schedule.isScheduled();
  if (!program.tell(schedule.removeSchedule())) {
    program.exitStatus = kExitFailed;
    return;
  }
  std::fputs(wasScheduled ? "The schedule has been removed.\n" : "There is no schedule.\n", stdout);
}

}  // namespace

Command scheduleCommand(Program& program) {
  auto request = std::make_shared<ScheduleRequest>();
  auto json = std::make_shared<bool>(false);
  return {
      .name = "schedule",
      .help = "Archive by the clock, started by the system's scheduler",
      .commands = {
          {.name = "set",
           .help = "Schedule runs; what is not given stays as it is. Archives what `keldane "
                   "sources` has chosen",
           .options =
               {{"--time", &request->time, "Time of day of the run: 00:00 to 23:59", "HH:MM"},
                {"--days", &request->days,
                 "all, or some of sun,mon,tue,wed,thu,fri,sat (all when none has been "
                 "chosen)",
                 "DAYS"},
                {"--every", &request->everyHours,
                 "Repeat through the day, so many hours apart from midnight on: 1 to 23", "HOURS"},
                {.names = "--once",
                 .target = &request->oncePerDay,
                 .help = "Once a day, at the time given",
                 .excludes = {"--every"}},
                {"--leave-log", &request->leaveLog,
                 "yes or no: whether each run leaves its log on the Desktop", "yes|no"}},
           .run = [request, &program] { setSchedule(*request, program); }},
          {.name = "show",
           .help = "Show the schedule",
           .options = {{"--json", json.get(), "Print one JSON object"}},
           .run = [json, &program] { showSchedule(*json, program); }},
          {.name = "remove", .help = "Remove the schedule; its settings stay", .run = [&program] {
             removeSchedule(program);
           }}}};
}

}  // namespace keldane
