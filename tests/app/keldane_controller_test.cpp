#include "app/keldane_controller.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "tests/app/controller_rig.h"

namespace keldane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

class KeldaneControllerTest : public ControllerRig {};

TEST_F(KeldaneControllerTest, AttendedStartWaitsForTheConnectionForm) {
  start();
  ui.onModal = [this](std::string_view) { controller->connectPanel().doConnect(); };
  controller->applicationDidFinishLaunching();
  EXPECT_THAT(ui.calls, Contains("modal connectPanel"));
  EXPECT_THAT(ui.calls, Contains("show storePanel"));
  EXPECT_THAT(session->statements(), Contains("SET SESSION wsrep_sync_wait=1,sql_mode=''"));
  EXPECT_THAT(host.calls, ElementsAre("requestMailAutomation"));
}

TEST_F(KeldaneControllerTest, OnlyAWholeStartTouchesTheCrontab) {
  const auto crontabCalls = [this] {
    const std::vector<std::string> lines = tools.lines();
    return std::count(lines.begin(), lines.end(), "/usr/bin/crontab -l");
  };
  start();
  static_cast<void>(archiver().connectUnattended());
  EXPECT_EQ(crontabCalls(), 0);
  controller->applicationDidFinishLaunching();
  EXPECT_EQ(crontabCalls(), 1);
  environment.argumentList = {"/opt/KeldanePro", "1"};
  start();
  controller->applicationDidFinishLaunching();
  EXPECT_EQ(crontabCalls(), 1) << "a stale trigger";
}

TEST_F(KeldaneControllerTest, ASecondCopyEndsItself) {
  start();
  host.running = {{"KeldanePro", "", 1}, {"Mail", "", 2}, {"KeldanePro", "", 4, "--export-pdf=a"}};
  controller->applicationDidFinishLaunching();
  queue.runLater();
  EXPECT_EQ(terminated, 0);
  host.running.push_back({"KeldanePro", "", 3});
  controller->applicationDidFinishLaunching();
  queue.runLater();
  EXPECT_EQ(terminated, 1);
}

TEST_F(KeldaneControllerTest, AGuardedMailFolderStopsTheStart) {
  // A file that is there and that nobody can open, not even the superuser.
  std::filesystem::create_directories(folder / "Library/Mail/V10");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string probe = folder / "Library/Mail/PersistenceInfo.plist";
  ASSERT_LT(probe.size(), sizeof address.sun_path);
  probe.copy(address.sun_path, probe.size());
  const int guard = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(guard, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(guard);

  for (const auto& [version, stops] :
       {std::pair("10.13.6", false), {"10.14.1", true}, {"14.1", true}, {"17.0", false}}) {
    SCOPED_TRACE(version);
    ui.calls.clear();
    environment.version = version;
    start();
    controller->applicationDidFinishLaunching();
    EXPECT_EQ(ui.alertLines().size(), stops ? 1U : 0U);
    EXPECT_EQ(ui.lines("modal").size(), stops ? 0U : 1U);
  }
}

TEST_F(KeldaneControllerTest, LeavesNoEmptyWorkFolder) {
  std::filesystem::create_directories(folder / "Desktop");
  start();
  const std::string empty = controller->process().workFolder;
  EXPECT_TRUE(isDirectory(empty));
  controller->settingsPanel().setDebugLog();
  EXPECT_EQ(controller->process().workFolder, folder / "Desktop/");
  controller->settingsPanel().setDebugLog();
  const std::string second = controller->process().workFolder;
  EXPECT_NE(empty, second);
  folder.write("tmp/" + std::string(lastPathComponent(second)) + "/mail.storelog", "a failure\n");
  controller->applicationWillTerminate();
  EXPECT_FALSE(fileExists(empty));
  EXPECT_TRUE(fileExists(second + "/mail.storelog"));
  EXPECT_TRUE(isDirectory(folder / "Desktop"));
}

TEST_F(KeldaneControllerTest, OnlyAConnectClosesTheConnectionForm) {
  start();
  EXPECT_TRUE(controller->windowShouldClose("settingsPanel"));
  EXPECT_FALSE(controller->windowShouldClose("connectPanel"));
  ui.visiblePanels.emplace("connectPanel");
  controller->connectPanel().doConnect();
  EXPECT_FALSE(controller->windowShouldClose("connectPanel")) << "a form that is back stays";
  controller->connectPanel().doConnect();
  EXPECT_TRUE(controller->windowShouldClose("connectPanel")) << "a connect without the form";
  EXPECT_FALSE(controller->windowShouldClose("connectPanel"));
}

TEST_F(KeldaneControllerTest, StartsAgainAfterItsEnd) {
  for (const auto& [program, launch] :
       {std::pair("/Applications/Keldane Pro.app/Contents/MacOS/KeldanePro",
                  "detached /usr/bin/open /Applications/Keldane Pro.app"),
        {"/opt/keldane/KeldanePro", "detached /opt/keldane/KeldanePro"}}) {
    SCOPED_TRACE(program);
    terminated = 0;
    environment.argumentList = {program};
    start();
    controller->quitAndRelaunch();
    EXPECT_EQ(terminated, 1);
    EXPECT_THAT(tools.lines(), Not(Contains(launch)));
    queue.runLater();
    EXPECT_THAT(tools.lines(), Contains(launch));
  }
}

}  // namespace
}  // namespace keldane
