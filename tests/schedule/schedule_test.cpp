#include "schedule/schedule.h"

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "platform/process_tool_runner.h"
#include "settings/property_list.h"
#include "tests/settings/settings_rig.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_tool_runner.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

auto says(const ::testing::Matcher<std::string>& text) {
  return ::testing::Field(&Fault::text, text);
}

constexpr const char* kAgent = "Library/LaunchAgents/keldanepro.schedule.plist";

class RecordingScheduleAgent : public ScheduleAgent {
 public:
  [[nodiscard]] Result<void> load(const ScheduledStart& start) override {
    calls.push_back("load " + start.agentPath + " " + start.program);
    agentThere = fileExists(start.agentPath);
    times = start.times;
    if (!failure.empty()) return Failure{failure};
    return {};
  }
  [[nodiscard]] Result<void> unload() override {
    calls.emplace_back("unload");
    return {};
  }
  [[nodiscard]] InstalledSchedule installed() override { return {}; }
  std::vector<std::string> calls;
  std::vector<ScheduleTime> times;
  bool agentThere = false;
  std::string failure;
};

class ScheduleTest : public ::testing::Test {
 protected:
  ScheduleTest() {
    rig.process.launchArguments = environment.argumentList;
    rig.process.launchCommand = "/opt/keldane/KeldanePro";
    ::mkdir((rig.folder / "Library").c_str(), 0700);
    rig.settings.user.schedTime = "2024-05-06 09:45:10";
  }
  void chooseDays(const std::vector<int>& boxes) {
    rig.settings.user.scheddays = {};
    for (const int box : boxes) rig.settings.user.scheddays.at(box) = 1;
  }
  [[nodiscard]] std::string agent() const { return rig.folder.read(kAgent); }

  SettingsRig rig;
  FakeEnvironment environment;
  RecordingToolRunner tools;
  RecordingScheduleAgent scheduler;
  Schedule schedule{{rig.settings, scheduler, tools, environment, rig.process}};
};

std::string numberBehind(std::string_view entry, const std::string& key) {
  const std::string opening = "<key>" + key + "</key>\n<integer>";
  const std::size_t at = entry.find(opening);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = entry.substr(at + opening.size());
  return std::string(rest.substr(0, rest.find('<')));
}

/// "weekday hour:minute" of each entry of an agent, as it is written; a daily one has no weekday.
std::vector<std::string> entriesOf(const std::string& text) {
  const Result<PlistValue> list = parsePlist(text);
  if (!list) return {list.error()};
  std::vector<std::string> found;
  const std::vector<std::string> parts = split(text, "<dict>\n<key>Hour");
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const std::string entry = "<key>Hour" + parts[i];
    const std::string weekday = numberBehind(entry, "Weekday");
    found.push_back(weekday + (weekday.empty() ? "" : " ") + numberBehind(entry, "Hour") + ":" +
                    numberBehind(entry, "Minute"));
  }
  EXPECT_EQ(list->dict()->at("StartCalendarInterval").array()->size(), found.size());
  return found;
}

/// "weekday hour:minute" of each.
std::string shown(const std::vector<ScheduleTime>& times) {
  std::vector<std::string> found;
  for (const auto& [weekday, hour, minute] : times) {
    found.push_back(fmt::format("{} {}:{}", weekday, hour, minute));
  }
  return join(found, ",");
}

TEST_F(ScheduleTest, WritesTheAgentToTheByte) {
  environment.argumentList = {"/opt/my mail/KeldanePro"};
  rig.process.launchArguments = environment.argumentList;
  chooseDays({1, 2});
  EXPECT_THAT(schedule.schedule(), IsEmpty());
  EXPECT_EQ(agent(), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
<key>Label</key>
<string>keldanepro.schedule</string>
<key>ProgramArguments</key>
<array>
<string>/bin/sh</string>
<string>-c</string>
<string>exec /opt/my\ mail/KeldanePro 1</string>
</array>
<key>StartCalendarInterval</key>
<array>
<dict>
<key>Hour</key>
<integer>09</integer>
<key>Minute</key>
<integer>45</integer>
<key>Weekday</key>
<integer>7</integer>
</dict>
<dict>
<key>Hour</key>
<integer>09</integer>
<key>Minute</key>
<integer>45</integer>
<key>Weekday</key>
<integer>1</integer>
</dict>
</array>
</dict>
</plist>
)");
  EXPECT_EQ(rig.folder.modeOf(kAgent), 0600U);
}

TEST_F(ScheduleTest, EntriesFollowTheBoxes) {
  const struct {
    const char* name;
    std::vector<int> boxes;
    const char* step;  ///< of the hours; empty: once a day
    const char* entries;
    const char* times;
  } rows[] = {
      {"all days, the single ones ignored", {0, 3}, "", "09:45", "0 9:45"},
      {"no day", {}, "", "", ""},
      {"Sunday is 7, Saturday 6", {1, 7}, "", "7 09:45,6 09:45", "7 9:45,6 9:45"},
      {"all days, every five hours",
       {0},
       "5",
       "0:0,5:0,10:0,15:0,20:0",
       "0 0:0,0 5:0,0 10:0,0 15:0,0 20:0"},
      {"chosen days, repeated, keep the weekday 8",
       {1, 2},
       "12",
       "8 0:0,8 12:0,8 0:0,8 12:0",
       "7 0:0,7 12:0,1 0:0,1 12:0"},
      {"a step beyond the day", {0}, "2147483647", "0:0", "0 0:0"},
      {"a step back",
       {0},
       "-9",
       "0:0,2:0,4:0,6:0,8:0,10:0,12:0,14:0,16:0,18:0,20:0,22:0",
       "0 0:0,0 2:0,0 4:0,0 6:0,0 8:0,0 10:0,0 12:0,0 14:0,0 16:0,0 18:0,0 20:0,0 22:0"},
  };
  for (const auto& row : rows) {
    const bool everyHour = *row.step != '\0';
    SCOPED_TRACE(row.name);
    chooseDays(row.boxes);
    rig.settings.user.hoursState = everyHour ? 1 : 0;
    rig.settings.user.hoursStep = everyHour ? std::stoi(row.step) : 2;
    EXPECT_THAT(schedule.schedule(), IsEmpty());
    EXPECT_EQ(join(entriesOf(agent()), ","), row.entries);
    EXPECT_EQ(shown(scheduler.times), row.times);
    const auto installed = schedule.installed().times;
    ASSERT_TRUE(installed);
    EXPECT_EQ(installed->size(), scheduler.times.size());
    if (!everyHour) {
      EXPECT_EQ(shown(*installed), row.times);
    }
  }
}

TEST_F(ScheduleTest, SavesHandsOverAndTakesBack) {
  rig.folder.write(kAgent, "of before");
  EXPECT_THAT(schedule.schedule(), IsEmpty());
  EXPECT_THAT(scheduler.calls,
              ElementsAre("unload", "load " + rig.folder / kAgent + " /opt/keldane/KeldanePro"));
  EXPECT_TRUE(scheduler.agentThere);
  EXPECT_EQ(rig.prefs.text("schedDateValue"), "2024-05-06 09:45:10");
  EXPECT_THAT(tools.lines(), ElementsAre("/usr/bin/crontab -l", "/usr/bin/crontab -"));
  EXPECT_THAT(schedule.removeSchedule(), IsEmpty());
  EXPECT_FALSE(schedule.isScheduled());
  EXPECT_EQ(scheduler.calls.back(), "unload");
  EXPECT_EQ(tools.lines().size(), 4U);
}

TEST_F(ScheduleTest, TellsWhenTheSystemDidNotTakeItOrTheAgentCannotBeWritten) {
  scheduler.failure = "no service manager";
  EXPECT_THAT(schedule.schedule(), ElementsAre(says("no service manager")));
  EXPECT_TRUE(schedule.isScheduled());
  std::filesystem::remove_all(rig.folder / "Library/LaunchAgents");
  scheduler.calls.clear();
  rig.folder.write("Library/LaunchAgents", "a file in the way");
  EXPECT_THAT(schedule.schedule(),
              ElementsAre(says(HasSubstr("The schedule could not be saved: "))));
  EXPECT_THAT(scheduler.calls, ElementsAre("unload"));
}

TEST_F(ScheduleTest, CommandOfTheAgent) {
  rig.folder.writeScript("both/KeldanePro", "");
  struct Case {
    const char* name;
    std::string program;
    std::string launchCommand;
    std::string command;
  };
  const std::string both = rig.folder / "both/";
  for (const Case& row :
       {Case{"as it was launched", "/opt/my programs/K", "/opt/my\\ programs/K",
             "exec /opt/my\\ programs/K 1</string>"},
        Case{"behind a deleted connection", "/opt/K", "/opt/K 1\n", "exec /opt/K 1\n 1</string>"},
        Case{"beside the window program", both + "keldane", both + "keldane",
             "exec " + both + "KeldanePro 1</string>"},
        Case{"with marks of the shell and of XML", "/opt/a&b <c>'d;e$f\"g/K", "",
             "exec /opt/a\\&#38;b\\ \\&#60;c\\&#62;\\'d\\;e\\$f\\\"g/K 1</string>"}}) {
    SCOPED_TRACE(row.name);
    environment.argumentList = {row.program};
    rig.process.launchArguments = environment.argumentList;
    rig.process.launchCommand = row.launchCommand;
    EXPECT_THAT(schedule.schedule(), IsEmpty());
    EXPECT_THAT(agent(), HasSubstr(row.command));
  }
}

TEST_F(ScheduleTest, TheCommandStartsTheProgramWhateverItsPathIs) {
  const std::string folderName =
      "K\xC3\xA4tchen's <new> $HOME; `mail` & \"co\"\n*\\ \xF0\x9F\x93\xA7";
  rig.folder.writeScript(folderName + "/K", "echo \"started $1 of $#\"");
  environment.argumentList = {rig.folder / folderName + "/K"};
  rig.process.launchArguments = environment.argumentList;
  EXPECT_THAT(schedule.schedule(), IsEmpty());
  const Result<PlistValue> list = parsePlist(agent());
  ASSERT_TRUE(list) << agent();
  ToolCall call;
  for (const PlistValue& word : *list->dict()->at("ProgramArguments").array()) {
    call.arguments.push_back(*word.text());
  }
  call.program = call.arguments.front();
  call.arguments.erase(call.arguments.begin());
  const Result<ToolOutcome> outcome = ProcessToolRunner().run(call);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->output, "started 1 of 1\n") << outcome->errorText;
}

TEST_F(ScheduleTest, AnEmptyOrOddTimeIsThePresentOne) {
  chooseDays({0});
  for (const char* time : {"", "2024-05-06 24:00:00", "</integer> </array> "}) {
    SCOPED_TRACE(time);
    rig.settings.user.schedTime = time;
    EXPECT_THAT(schedule.schedule(), IsEmpty());
    EXPECT_EQ(rig.settings.user.schedTime, localDateTime(environment.seconds));
    EXPECT_EQ(entriesOf(agent()).size(), 1U);
  }
}

TEST_F(ScheduleTest, ATerminalCommandLeavesTheCrontabAlone) {
  Schedule terminal{{rig.settings, scheduler, tools, environment, rig.process, false}};
  EXPECT_THAT(terminal.schedule(), IsEmpty());
  EXPECT_THAT(terminal.removeSchedule(), IsEmpty());
  EXPECT_THAT(tools.lines(), IsEmpty());
}

}  // namespace
}  // namespace keldane
