#include "app/panels/attachment_links.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "archive/archive_database.h"
#include "base/files.h"
#include "platform/local_main_queue.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kBytes("\x00\xFF%PDF\r\n", 8);

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 0777U;
}

class AttachmentLinksTest : public ::testing::Test {
 protected:
  AttachmentLinksTest() {
    settings.launchAttachments = 1;
    session.answerOn("query SELECT LENGTH(attach_fld),attach_fld FROM attachments WHERE id=7",
                     {{"13", "<p>A body</p>"}, {"8", kBytes}, {"1", "x"}, {"0", ""}});
  }
  bool click(const std::string& file, std::uint32_t id = 7) {
    return extraction.textViewClickedOnLink(id, work + "/" + file);
  }

  TemporaryFolder folder;
  const std::string work = folder / "work";
  ScriptedSession session;
  RecordingUserInterface ui;
  LocalMainQueue queue;
  ProgressPanel progress{ui, queue};
  RecordingHostServices host;
  ProcessState process;
  FakeEnvironment environment;
  UserSettings settings;
  ArchiveDatabase database{session, progress, process};
  ResultTable list{{session, database, settings, progress, ui, process, {}}};
  MessageViewer viewer{
      {session, list, settings, process, environment, ui, {}, [] { return false; }, {}}};
  AttachmentLinks extraction{{session, settings, progress, ui, host, viewer,
                              [this](const std::string& title, const std::string& name) {
                                EXPECT_EQ(title, "Save Attachment");
                                proposed = name;
                                return target;
                              }}};
  std::string proposed;
  std::string target;
};

TEST_F(AttachmentLinksTest, WritesTheBytesForTheUserAlone) {
  EXPECT_TRUE(click("1-KD-a-KD-b.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a-KD-b.pdf"), kBytes);
  EXPECT_EQ(modeOf(work + "/1-KD-a-KD-b.pdf"), 0600U);
  EXPECT_EQ(modeOf(work), 0700U);
  EXPECT_THAT(host.calls, ElementsAre("open " + work + "/1-KD-a-KD-b.pdf"));
  EXPECT_THAT(ui.lines("progress"),
              ElementsAre("progress Retrieving attachment...", "progress end"));
}

TEST_F(AttachmentLinksTest, WritesShortValuesAsTheyAreStored) {
  EXPECT_TRUE(click("2-KD-x"));
  EXPECT_TRUE(click("3-KD-empty"));
  EXPECT_EQ(folder.read("work/2-KD-x"), "x");
  EXPECT_EQ(folder.read("work/3-KD-empty"), "");
}

TEST_F(AttachmentLinksTest, WritesASecondClickOverTheFirst) {
  folder.write("work/1-KD-a.pdf", "older and longer than the attachment");
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a.pdf"), kBytes);
}

TEST_F(AttachmentLinksTest, OpensNothingThatIsNotThere) {
  EXPECT_FALSE(click("4-KD-a.pdf")) << "beyond the last";
  EXPECT_FALSE(click("1-KD-a.pdf", 0)) << "nobody's";
  EXPECT_FALSE(click("a.pdf")) << "no link";
  session.failOn("query *", "no such table");
  EXPECT_FALSE(click("1-KD-a.pdf"));
  EXPECT_THAT(host.calls, IsEmpty());
  EXPECT_FALSE(fileExists(work + "/1-KD-a.pdf"));
}

TEST_F(AttachmentLinksTest, TellsWhenTheFileCannotBeWritten) {
  folder.write("work", "a file in the folder's place");
  EXPECT_FALSE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Can't Open] Couldn't open " + work + "/1-KD-a.pdf"));
}

TEST_F(AttachmentLinksTest, ShowsTheMessagesOwnHtmlItself) {
  struct Case {
    const char* file;
    bool shown;
  };
  for (const Case& each : {Case{"0-KD-htmlversion.html", true}, Case{"0-KD-htmlversion2.htm", true},
                           Case{"0-KD-attachment0.html", true}, Case{"0-KD-page.html", false},
                           Case{"0-KD-htmlversion.html.exe", false}}) {
    viewer.views.htmlFile.clear();
    EXPECT_TRUE(click(each.file));
    EXPECT_EQ(viewer.views.htmlFile == work + "/" + each.file, each.shown) << each.file;
  }
}

TEST_F(AttachmentLinksTest, AsksWhatToDo) {
  settings.launchAttachments = 0;
  target = folder / "saved.pdf";
  folder.write("saved.pdf", "old");
  ui.alertAnswers = {1002, 1001, 1000};
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("saved.pdf"), "old") << "cancelled";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("saved.pdf"), kBytes);
  EXPECT_EQ(proposed, "a.pdf");
  EXPECT_THAT(host.calls, IsEmpty());
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(host.calls.size(), 1U);
  const std::string question =
      "alert [What do you want to do with this attachment?] Do you want to launch it or save it "
      "to a file?";
  EXPECT_THAT(
      ui.alertLines(),
      ElementsAre(question, question, "alert [Saved] The attachment has been saved", question));
}

TEST_F(AttachmentLinksTest, OffersToSaveWhatCannotBeLaunched) {
  host.openFailure = "no application";
  ui.alertAnswers = {1000};
  target = folder / "missing/saved.pdf";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Unable to launch this attachment.] Try saving it instead.",
                          "alert [Can't save] Unable to save attachment"));
}

TEST_F(AttachmentLinksTest, TellsWhenTheTargetCannotBeRemoved) {
  settings.launchAttachments = 0;
  ui.alertAnswers = {1001};
  target = folder / "taken";
  folder.write("taken/file", "");
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines().back(), "alert critical [Can't Remove] Unable to remove " + target);
}

TEST_F(AttachmentLinksTest, KeepsTheFileWhenItIsSavedOntoItself) {
  settings.launchAttachments = 0;
  ui.alertAnswers = {1001};
  target = work + "/1-KD-a.pdf";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a.pdf"), kBytes);
}

}  // namespace
}  // namespace keldane
