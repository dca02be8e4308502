#include "platform/desktop_host_services.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/process_tool_runner.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using Desktop = DesktopHostServices::Desktop;
using Lines = std::vector<std::string>;

ToolOutcome says(std::string output, int status = 0) { return {status, std::move(output), ""}; }

TEST(DesktopHostServices, NotifiesWithoutMarkupAndOptions) {
  RecordingToolRunner tools;
  DesktopHostServices host(tools, Desktop::freedesktop, "/proc");
  host.notify("-x", "<b>3 & 4</b>");
  EXPECT_EQ(tools.lines(), Lines{"notify-send --app-name=Keldane Pro -- -x "
                                 "&lt;b&gt;3 &amp; 4&lt;/b&gt;"});
}

TEST(DesktopHostServices, GivesTextsToScriptsAsArguments) {
  RecordingToolRunner tools;
  DesktopHostServices host(tools, Desktop::mac, "");
  host.notify("Done", "\" & (do shell script \"id\")");
  ASSERT_EQ(tools.calls.size(), 1U);
  EXPECT_EQ(tools.calls[0].arguments, (Lines{"-", "Done", "\" & (do shell script \"id\")"}));
  EXPECT_EQ(tools.calls[0].input.find("do shell"), std::string::npos);
}

TEST(DesktopHostServices, OpensPathsAndNothingElse) {
  RecordingToolRunner tools;
  DesktopHostServices linux_(tools, Desktop::freedesktop, "/proc");
  DesktopHostServices mac(tools, Desktop::mac, "");
  EXPECT_TRUE(linux_.openFile("/tmp/a b.pdf"));
  EXPECT_TRUE(linux_.openFile("--help"));
  tools.outcomes = {says("", 1)};
  EXPECT_FALSE(mac.openFile("https://example.org"));
  EXPECT_EQ(tools.lines(), (Lines{"detached xdg-open /tmp/a b.pdf", "detached xdg-open ./--help",
                                  "open ./https://example.org"}));
  tools.missing = {"xdg-open"};
  EXPECT_FALSE(linux_.openFile("/tmp/a"));
}

TEST(DesktopHostServices, ListsProgramsByTheirExecutable) {
  const TemporaryFolder folder;
  const auto process = [&folder](const std::string& id, const std::string& executable) {
    std::filesystem::create_directories(folder / id);
    std::filesystem::create_symlink(executable, folder / (id + "/exe"));
  };
  process("310", "/opt/keldane/KeldanePro");
  process("42", "/usr/bin/KeldanePro (deleted)");
  folder.write("42/cmdline", std::string("KeldanePro\0--export-pdf=a\0", 26));
  process("self", "/usr/bin/other");
  std::filesystem::create_directories(folder / "77");  // ended, or not ours to see
  RecordingToolRunner tools;
  const DesktopHostServices host(tools, Desktop::freedesktop, folder.path());
  const std::vector<RunningApplication> found = host.runningApplications();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].processId, 42);
  EXPECT_EQ(found[0].executableName, "KeldanePro");
  EXPECT_EQ(found[0].firstArgument, "--export-pdf=a");
  EXPECT_EQ(found[1].processId, 310);
  EXPECT_EQ(found[1].firstArgument, "");
}

TEST(DesktopHostServices, ListsItsOwnProgram) {
  ProcessToolRunner tools;
  const DesktopHostServices host(tools);
  bool seen = false;
  for (const RunningApplication& application : host.runningApplications()) {
    if (application.processId != ::getpid()) continue;
    seen = true;
    EXPECT_EQ(application.executableName, "platform_test");
  }
  EXPECT_TRUE(seen);
}

TEST(DesktopHostServices, ReadsTheListOfPs) {
  RecordingToolRunner tools;
  const DesktopHostServices host(tools, Desktop::mac, "");
  tools.outcomes = {
      says("  312 /System/Applications/Mail.app/Contents/MacOS/Mail\n"
           " 4711 /Applications/Keldane Pro.app/Contents/MacOS/KeldanePro\n\n")};
  const std::vector<RunningApplication> found = host.runningApplications();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].bundleIdentifier, "com.apple.mail");
  EXPECT_EQ(found[0].executableName, "Mail");
  EXPECT_EQ(found[1].executableName, "KeldanePro");
  EXPECT_EQ(found[1].processId, 4711);
  EXPECT_EQ(found[1].bundleIdentifier, "");
}

TEST(DesktopHostServices, AsksMailForEachAccountsFolder) {
  RecordingToolRunner tools;
  DesktopHostServices host(tools, Desktop::mac, "");
  tools.outcomes = {says("{\"Home\", \"a \\\"b\\\"\", \"Gone\"}\n"),
                    says("alias Disk:Users:u:Library:Mail:V10:1-2\n"), says("file Disk:V10:3\n"),
                    says("", 1)};
  const Result<std::vector<MailAccount>> accounts = host.mailAccounts();
  ASSERT_TRUE(accounts);
  ASSERT_EQ(accounts->size(), 2U);
  EXPECT_EQ((*accounts)[0].name, "Home");
  EXPECT_EQ((*accounts)[0].path, "Disk:Users:u:Library:Mail:V10:1-2");
  EXPECT_EQ((*accounts)[1].name, "a \"b\"");
  EXPECT_EQ((*accounts)[1].path, "Disk:V10:3");
  EXPECT_EQ(tools.calls[2].input,
            "tell application \"Mail\" to get account directory of account \"a \\\"b\\\"\"");
}

TEST(DesktopHostServices, SaysThatMailCannotBeAsked) {
  RecordingToolRunner tools;
  DesktopHostServices host(tools, Desktop::freedesktop, "/proc");
  const Result<std::vector<MailAccount>> accounts = host.mailAccounts();
  ASSERT_FALSE(accounts);
  EXPECT_NE(accounts.error().find("cannot be asked here"), std::string::npos);
  host.requestMailAutomation();
  EXPECT_TRUE(tools.calls.empty());
  DesktopHostServices mac(tools, Desktop::mac, "");
  tools.outcomes = {says("", 1)};
  EXPECT_FALSE(mac.mailAccounts());
}

TEST(DesktopHostServices, EndsOneApplication) {
  RecordingToolRunner recorded;
  DesktopHostServices mac(recorded, Desktop::mac, "");
  mac.terminateApplication({"Mail", "com.apple.mail", 1});
  ASSERT_EQ(recorded.calls.size(), 1U);
  EXPECT_EQ(recorded.calls[0].arguments, (Lines{"-", "com.apple.mail"}));

  ProcessToolRunner tools;
  const Result<int> child = tools.startDetached({"sleep", {"60"}, "", ""}, "/dev/null");
  ASSERT_TRUE(child);
  DesktopHostServices host(tools, Desktop::freedesktop, "/proc");
  host.terminateApplication({"sleep", "", *child});
  int status = 0;
  ASSERT_EQ(::waitpid(*child, &status, 0), *child);
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

}  // namespace
}  // namespace keldane
