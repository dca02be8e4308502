#include "query/attachment_extraction.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "platform/local_main_queue.h"
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

class AttachmentExtractionTest : public ::testing::Test {
 protected:
  AttachmentExtractionTest() : progress(ui, queue), extraction(session, progress, ui, host) {
    session.answerOn("query SELECT LENGTH(attach_fld),attach_fld FROM attachments WHERE id=7",
                     {{"13", "<p>A body</p>"}, {"8", kBytes}, {"1", "x"}, {"0", ""}});
    extraction.setCallbacks({
        .launchAttachments = [this] { return launches; },
        .showHtmlVersion = [this](const std::string& path) { shownHtml = path; },
        .chooseSaveFile =
            [this](const std::string& title, const std::string& name) {
              EXPECT_EQ(title, "Save Attachment");
              proposed = name;
              return target;
            },
    });
  }
  bool click(const std::string& file, std::uint32_t id = 7) {
    return extraction.textViewClickedOnLink(id, work + "/" + file);
  }

  TemporaryFolder folder;
  const std::string work = folder / "work";
  ScriptedSession session;
  RecordingUserInterface ui;
  LocalMainQueue queue;
  ProgressPanel progress;
  RecordingHostServices host;
  AttachmentExtraction extraction;
  bool launches = true;
  std::string shownHtml;
  std::string proposed;
  std::string target;
};

TEST_F(AttachmentExtractionTest, WritesTheBytesForTheUserAlone) {
  EXPECT_TRUE(click("1-KD-a-KD-b.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a-KD-b.pdf"), kBytes);
  EXPECT_EQ(modeOf(work + "/1-KD-a-KD-b.pdf"), 0600U);
  EXPECT_EQ(modeOf(work), 0700U);
  EXPECT_THAT(host.calls, ElementsAre("open " + work + "/1-KD-a-KD-b.pdf"));
  EXPECT_THAT(ui.lines("progress"),
              ElementsAre("progress Retrieving attachment...", "progress end"));
}

TEST_F(AttachmentExtractionTest, WritesShortValuesAsTheyAreStored) {
  EXPECT_TRUE(click("2-KD-x"));
  EXPECT_TRUE(click("3-KD-empty"));
  EXPECT_EQ(folder.read("work/2-KD-x"), "x");
  EXPECT_EQ(folder.read("work/3-KD-empty"), "");
}

TEST_F(AttachmentExtractionTest, WritesASecondClickOverTheFirst) {
  folder.write("work/1-KD-a.pdf", "older and longer than the attachment");
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a.pdf"), kBytes);
}

TEST_F(AttachmentExtractionTest, OpensNothingThatIsNotThere) {
  EXPECT_FALSE(click("4-KD-a.pdf")) << "beyond the last";
  EXPECT_FALSE(click("1-KD-a.pdf", 0)) << "nobody's";
  EXPECT_FALSE(click("a.pdf")) << "no link";
  session.failOn("query *", "no such table");
  EXPECT_FALSE(click("1-KD-a.pdf"));
  EXPECT_THAT(host.calls, IsEmpty());
  EXPECT_FALSE(fileExists(work + "/1-KD-a.pdf"));
}

TEST_F(AttachmentExtractionTest, TellsWhenTheFileCannotBeWritten) {
  folder.write("work", "a file in the folder's place");
  EXPECT_FALSE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Can't Open] Couldn't open " + work + "/1-KD-a.pdf"));
}

TEST_F(AttachmentExtractionTest, ShowsTheMessagesOwnHtmlItself) {
  struct Case {
    const char* file;
    bool shown;
  };
  for (const Case& each : {Case{"0-KD-htmlversion.html", true}, Case{"0-KD-htmlversion2.htm", true},
                           Case{"0-KD-attachment0.html", true}, Case{"0-KD-page.html", false},
                           Case{"0-KD-htmlversion.html.exe", false}}) {
    shownHtml.clear();
    EXPECT_TRUE(click(each.file));
    EXPECT_EQ(shownHtml == work + "/" + each.file, each.shown) << each.file;
  }
}

TEST_F(AttachmentExtractionTest, AsksWhatToDo) {
  launches = false;
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

TEST_F(AttachmentExtractionTest, OffersToSaveWhatCannotBeLaunched) {
  host.openFailure = "no application";
  ui.alertAnswers = {1000};
  target = folder / "missing/saved.pdf";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Unable to launch this attachment.] Try saving it instead.",
                          "alert [Can't save] Unable to save attachment"));
}

TEST_F(AttachmentExtractionTest, TellsWhenTheTargetCannotBeRemoved) {
  launches = false;
  ui.alertAnswers = {1001};
  target = folder / "taken";
  folder.write("taken/file", "");
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines().back(), "alert critical [Can't Remove] Unable to remove " + target);
}

TEST_F(AttachmentExtractionTest, KeepsTheFileWhenItIsSavedOntoItself) {
  launches = false;
  ui.alertAnswers = {1001};
  target = work + "/1-KD-a.pdf";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a.pdf"), kBytes);
}

TEST(SaveAttachments, NeverOverwritesAndNeverLeavesTheFolder) {
  TemporaryFolder folder;
  folder.write("out/a.pdf", "mine");
  ScriptedSession session;
  session.answerOn("query *", {{"a.pdf", "1"},
                               {"a.pdf", kBytes},
                               {"../../x", "3"},
                               {"/etc/passwd", "4"},
                               {"..", "5"},
                               {"", "6"},
                               {"", "7"}});
  const auto saved = saveAttachments(session, 9, folder / "out");
  ASSERT_TRUE(saved) << saved.error();
  const std::string out = folder / "out/";
  EXPECT_THAT(*saved,
              ElementsAre(out + "a-2.pdf", out + "a-3.pdf", out + "_._.._x", out + "_etc_passwd",
                          out + "_.", out + "noname", out + "noname-2"));
  EXPECT_EQ(folder.read("out/a.pdf"), "mine");
  EXPECT_EQ(folder.read("out/a-3.pdf"), kBytes);
  EXPECT_EQ(modeOf(out + "a-3.pdf"), 0600U);
  EXPECT_THAT(session.statements(),
              ElementsAre("SELECT filename_fld,attach_fld FROM attachments WHERE id=9"));
}

TEST(SaveAttachments, DoesNotWriteThroughALink) {
  TemporaryFolder folder;
  folder.write("out/other", "");
  const std::string victim = folder.write("victim", "mine");
  ASSERT_EQ(::symlink(victim.c_str(), (folder / "out/a").c_str()), 0);
  ScriptedSession session;
  session.answerOn("query *", {{"a", "theirs"}});
  ASSERT_TRUE(saveAttachments(session, 9, folder / "out"));
  EXPECT_EQ(folder.read("victim"), "mine");
  EXPECT_EQ(folder.read("out/a-2"), "theirs");
}

TEST(SaveAttachments, AsksForOneAloneAndTellsOfFailures) {
  TemporaryFolder folder;
  ScriptedSession session;
  ASSERT_TRUE(saveAttachments(session, 9, folder / "made", 2));
  EXPECT_THAT(session.statements().back(),
              "SELECT filename_fld,attach_fld FROM attachments WHERE id=9 LIMIT 2,1");
  EXPECT_EQ(modeOf(folder / "made"), 0700U);
  session.failOn("query *", "gone");
  EXPECT_FALSE(saveAttachments(session, 9, folder / "made"));
  folder.write("file", "");
  EXPECT_FALSE(saveAttachments(session, 9, folder / "file"));
}

}  // namespace
}  // namespace keldane
