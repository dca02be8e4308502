#include "app/panels/archive_panel.h"

#include <chrono>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "platform/local_main_queue.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class ArchivePanelTest : public ::testing::Test {
 protected:
  ArchivePanelTest() {
    archiver.database().dbPath = TestServer::shared().freshDatabase("panel");
    folder.write("work/x", "");
    folder.write("Desktop/x", "");
    archiver.process().workFolder = folder / "work";
    folder.write(
        "mail/1.eml",
        "From: ann@example.org\nSubject: one\nDate: Mon, 2 Jan 2023 03:04:05 +0000\n\nx\n");
    list.clearMessageViews = [] {};
  }
  static FakeEnvironment& at(FakeEnvironment& environment, const std::string& home) {
    environment.variables["HOME"] = home;
    return environment;
  }
  void importMail() {
    ui.chosenFiles = {{folder / "mail"}};
    chooser.openMbox();
    runToEnd();
  }
  void runToEnd() {
    panel.parseEmail();
    queue.runUntil([this] { return !archiver.archiveRun().isRunning(); },
                   std::chrono::milliseconds(1));
  }

  const TemporaryFolder folder;
  RecordingUserInterface ui;
  LocalMainQueue queue;
  RecordingToolRunner tools;
  FakeEnvironment environment;
  RecordingHostServices host;
  ProgressPanel progress{ui, queue};
  Archiver archiver{{progress, queue, tools, at(environment, folder.path()), host},
                    {.makeSession = [] { return TestServer::shared().connect(); },
                     .startServer = {},
                     .makeScheduleAgent = {}}};
  ResultTable list{{archiver.session(),
                    archiver.database(),
                    archiver.settings().user,
                    progress,
                    ui,
                    archiver.process(),
                    {}}};
  SettingsForm form;
  SourceChooser chooser{{archiver.process(), archiver.settings(), form, archiver.sources(),
                         archiver.database(), progress, ui}};
  SettingsPanel settings{archiver, form, chooser, ui};
  int terminated = 0;
  ArchivePanel panel{{archiver, settings, chooser, list, progress, ui, [this] { ++terminated; }}};
};

TEST_F(ArchivePanelTest, ShowsTheRunAndWhatItHasStored) {
  ui.alertAnswers = {kSecondButton};
  form.trashCheck = true;
  importMail();
  EXPECT_EQ(archiver.settings().archive.trashState, 1) << "a run saves what stands in the window";
  EXPECT_THAT(ui.calls, Contains("progress Looking for email files..."));
  EXPECT_THAT(ui.calls, Contains("sheet ProgressPanel"));
  EXPECT_THAT(ui.calls, Contains("close ProgressPanel"));
  // With the detail of the message at hand by the time the main thread gets to it.
  EXPECT_THAT(ui.calls, Contains(HasSubstr("count 0 ")));
  EXPECT_THAT(list.currentSql, HasSubstr("WHERE id>=1 AND id<=1 ORDER BY date_fld DESC"));
  EXPECT_EQ(list.emailIds.size(), 1U);
  EXPECT_THAT(ui.calls,
              Contains("title storePanel done storing email in " + archiver.database().dbPath));
  EXPECT_THAT(ui.alertLines(), ElementsAre("alert [Archive Log] Done Archiving Email"));
  EXPECT_THAT(ui.lines("text"), ElementsAre(HasSubstr("Archived: 1")));
  EXPECT_FALSE(archiver.sources().importMode);
  EXPECT_EQ(terminated, 0);
  panel.viewLogFile();
  EXPECT_THAT(ui.lines("text").back(), HasSubstr("    Archived: 1    Duplicates: 0"));
  folder.write("Library/Application Support/Keldane/Duplicates.log", "a\xe9");
  panel.viewDuplicateLog();
  EXPECT_EQ(ui.lines("text").back(), "text [Duplicates Log] aé");
}

TEST_F(ArchivePanelTest, TheSheetBeginsWithTheNewestDay) {
  importMail();
  panel.setStoreDate();
  EXPECT_EQ(panel.form.beginStoreYr + panel.form.beginStoreMo + panel.form.beginStoreDa,
            "20230102");
  EXPECT_EQ(ui.calls.back(), "sheet storeDatePanel");
  panel.cancelStore();
  EXPECT_EQ(ui.calls.back(), "close storeDatePanel");
  ASSERT_TRUE(archiver.session().query("DROP TABLE email"));
  ASSERT_TRUE(archiver.session().query("CREATE VIEW email AS SELECT 1"));
  ui.calls.clear();
  panel.setStoreDate();
  EXPECT_THAT(ui.calls, Not(Contains("sheet storeDatePanel"))) << "the newest day is not known";
}

TEST_F(ArchivePanelTest, TellsWhyNothingStarts) {
  ui.alerts.clear();
  for (const auto& [mailboxesState, title] :
       {std::pair(1, "No mailboxes selected"), std::pair(0, "No accounts selected")}) {
    archiver.settings().archive.mailboxesState = mailboxesState;
    panel.parseEmail();
    ASSERT_FALSE(ui.alerts.empty());
    EXPECT_EQ(ui.alerts.back().title, title);
  }
  EXPECT_FALSE(archiver.archiveRun().isRunning());
  EXPECT_THAT(panel.confirmationText(),
              HasSubstr("the In boxes and Sent boxes of your selected email accounts"));
}

TEST_F(ArchivePanelTest, UnattendedEndsTheProgramAndAsksNothing) {
  archiver.process().unattendedRun = 1;
  archiver.settings().archive.postbox = 1;
  archiver.settings().selectedAccounts = {folder / "mail/INBOX"};
  folder.write("mail/INBOX/2.eml", "From: a@b.c\nDate: Mon, 2 Jan 2023 03:04:05 +0000\n\nx\n\ny\n");
  panel.setStoreDate();
  queue.runUntil([this] { return terminated > 0; }, std::chrono::milliseconds(1));
  EXPECT_EQ(terminated, 1);
  EXPECT_EQ(archiver.archiveRun().lastReport()->sums.archived, 1);
  EXPECT_THAT(ui.alertLines(), IsEmpty());
  EXPECT_THAT(ui.lines("sheet"), IsEmpty());
}

}  // namespace
}  // namespace keldane
