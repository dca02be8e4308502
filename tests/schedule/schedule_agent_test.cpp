#include "schedule/schedule_agent.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "schedule/launchd_schedule_agent.h"
#include "schedule/systemd_schedule_agent.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(LaunchdScheduleAgent, TellsLaunchdInOrderAndLooksAtNoAnswer) {
  RecordingToolRunner tools;
  LaunchdScheduleAgent agent(tools);
  tools.outcomes.push_back({0, "501\n", ""});
  for (int i = 0; i < 4; ++i) tools.outcomes.push_back({5, "", "Load failed"});
  EXPECT_TRUE(agent.load({"/h/agent.plist", "/opt/KeldanePro", {}}));
  EXPECT_THAT(tools.lines(),
              ElementsAre("/usr/bin/id -u", "/bin/launchctl bootout gui/501\n /h/agent.plist",
                          "/bin/launchctl bootstrap gui/501\n /h/agent.plist",
                          "/bin/launchctl enable gui/501\n/keldanepro.schedule",
                          "/bin/launchctl load gui/501\n/keldanepro.schedule"));
  EXPECT_EQ(tools.calls.front().folder, ".");

  tools.calls.clear();
  tools.missing = {"/usr/bin/id"};
  EXPECT_TRUE(agent.unload());
  EXPECT_EQ(tools.calls.back().arguments,
            (std::vector<std::string>{"remove", "keldanepro.schedule"}));
}

class SystemdScheduleAgentTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::vector<std::string> unitFiles() const {
    std::vector<std::string> found;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(folder / ".config/systemd/user")) {
      if (!entry.is_directory()) found.push_back(entry.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  const std::string kUnits = ".config/systemd/user/";
  const std::vector<ScheduleTime> daily = {{0, 9, 30}};
  const TemporaryFolder folder;
  RecordingToolRunner tools;
  SystemdScheduleAgent agent{tools, folder.path()};
};

TEST_F(SystemdScheduleAgentTest, WritesATimerThatBeginsWithEachLogin) {
  const Result<void> loaded = agent.load(
      {"/h/agent", "/opt/my 100% $HOME mail/KeldanePro", {{0, 9, 5}, {1, 0, 0}, {7, 23, 59}}});
  ASSERT_TRUE(loaded) << loaded.error();
  EXPECT_EQ(folder.read(kUnits + "keldanepro-schedule.service"),
            "[Unit]\n"
            "Description=Keldane Pro archives the mail that has come\n"
            "\n"
            "[Service]\n"
            "Type=oneshot\n"
            "ExecStart=\"/opt/my 100%% $HOME mail/KeldanePro\" 1\n");
  EXPECT_EQ(folder.read(kUnits + "keldanepro-schedule.timer"),
            "[Unit]\n"
            "Description=Schedule of Keldane Pro\n"
            "\n"
            "[Timer]\n"
            "OnCalendar=*-*-* 09:05:00\n"
            "OnCalendar=Mon *-*-* 00:00:00\n"
            "OnCalendar=Sun *-*-* 23:59:00\n"
            "Persistent=true\n"
            "\n"
            "[Install]\n"
            "WantedBy=timers.target\n");
  // Reached through the link.
  EXPECT_THAT(folder.read(kUnits + "timers.target.wants/keldanepro-schedule.timer"),
              HasSubstr("OnCalendar"));
  EXPECT_EQ(folder.modeOf(kUnits + "keldanepro-schedule.service"), 0600U);
  EXPECT_EQ(folder.modeOf(kUnits + "keldanepro-schedule.timer"), 0600U);
  EXPECT_THAT(tools.lines(), ElementsAre("systemctl --user daemon-reload",
                                         "systemctl --user restart keldanepro-schedule.timer"));
  const InstalledSchedule installed = agent.installed();
  EXPECT_EQ(installed.times, (std::vector<ScheduleTime>{{0, 9, 5}, {1, 0, 0}, {7, 23, 59}}));
  EXPECT_TRUE(installed.running);
}

TEST(UnitCommand, LetsNoCharacterOfThePathMeanAnything) {
  constexpr const char* kShell = "/bin/sh -c \"exec \\\"$$0\\\" 1\" ";
  for (const auto& [program, command] :
       {std::pair("/a b/$c%d", "\"/a b/$c%%d\" 1"),
        {"/a'b$c", "\"/a'b$$c\""},
        {"/a\"\\b%", "\"/a\\\"\\\\b%%\""},
        {"/a\nExecStart=/b\t\x7f", "\"/a\\x0aExecStart=/b\\x09\\x7f\""}}) {
    const bool direct = std::string(command).ends_with(" 1");
    EXPECT_EQ(unitCommand(program), (direct ? "" : std::string(kShell)) + command);
  }
}

TEST_F(SystemdScheduleAgentTest, WithoutAServiceManagerTheFilesStayAndTheMessageHelps) {
  for (const auto& [missing, says] : {std::pair("systemctl", "cannot start systemctl"),
                                      {"no", "(Failed to connect to bus: No medium found)"}}) {
    SCOPED_TRACE(says);
    tools.missing = {missing};
    tools.outcomes = {{1, "", "Failed to connect to bus: No medium found\nsecond line"}};
    const Result<void> loaded = agent.load({"/h/agent", "/opt/KeldanePro", daily});
    ASSERT_FALSE(loaded);
    EXPECT_THAT(loaded.error(), HasSubstr(says));
    EXPECT_THAT(loaded.error(), HasSubstr("systemctl --user restart keldanepro-schedule.timer"));
    EXPECT_THAT(loaded.error(), HasSubstr("/opt/KeldanePro with the argument 1"));
    EXPECT_EQ(unitFiles().size(), 3U);
    tools.outcomes = {{3, "inactive\n", ""}};
    const InstalledSchedule installed = agent.installed();
    EXPECT_EQ(installed.times, daily);
    EXPECT_FALSE(installed.running);
  }
}

TEST_F(SystemdScheduleAgentTest, TakesEverythingBack) {
  EXPECT_TRUE(agent.unload());
  EXPECT_THAT(tools.lines(), IsEmpty());
  // A manager that cannot be reached is no reason to leave anything.
  for (const int status : {0, 1}) {
    ASSERT_TRUE(agent.load({"/h/agent", "/opt/KeldanePro", daily}));
    folder.write(kUnits + "other.timer", "of somebody else");
    tools.calls.clear();
    tools.outcomes = {{status, "", ""}, {status, "", ""}};
    EXPECT_TRUE(agent.unload());
    EXPECT_THAT(unitFiles(), ElementsAre("other.timer"));
    EXPECT_THAT(tools.lines(), Contains("systemctl --user stop keldanepro-schedule.timer"));
  }
}

TEST_F(SystemdScheduleAgentTest, AScheduleWithoutATimeHasNoTimer) {
  ASSERT_TRUE(agent.load({"/h/agent", "/opt/KeldanePro", daily}));
  EXPECT_TRUE(agent.load({"/h/agent", "/opt/KeldanePro", {}}));
  EXPECT_THAT(unitFiles(), IsEmpty());
}

TEST_F(SystemdScheduleAgentTest, TellsWhyTheFilesCannotBeWritten) {
  folder.write(".config", "in the way");
  const Result<void> loaded = agent.load({"/h/agent", "/opt/KeldanePro", daily});
  ASSERT_FALSE(loaded);
  EXPECT_THAT(loaded.error(), HasSubstr("Not a directory"));
  EXPECT_THAT(tools.lines(), IsEmpty());
}

}  // namespace
}  // namespace keldane
