#include "app/panels/attachment_links.h"

#include "base/files.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kBytes("\x00\xFF%PDF\r\n", 8);

class AttachmentLinksTest : public ::testing::Test, protected ScriptedPanels {
 protected:
  AttachmentLinksTest() {
    settings.user.launchAttachments = 1;
    scripted.answerOn("query SELECT LENGTH(attach_fld),attach_fld FROM attachments WHERE id=7",
                      {{"13", "<p>A body</p>"}, {"8", kBytes}, {"1", "x"}, {"0", ""}});
  }
  bool click(const std::string& file, std::uint32_t id = 7) {
    return extraction.textViewClickedOnLink(id, work + "/" + file);
  }

  const std::string work = folder / "work";
  MessageViewer viewer{
      {session, list, settings.user, process, environment, ui, {}, [] { return false; }, {}}};
  AttachmentLinks extraction{{session, settings.user, progress, ui, host, viewer,
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
  EXPECT_EQ(folder.modeOf("work/1-KD-a-KD-b.pdf"), 0600U);
  EXPECT_EQ(folder.modeOf("work"), 0700U);
  EXPECT_THAT(host.calls, ElementsAre("open " + work + "/1-KD-a-KD-b.pdf"));
  EXPECT_THAT(ui.lines("progress"),
              ElementsAre("progress Retrieving attachment...", "progress end"));
  folder.write("work/2-KD-x", "older and longer than the attachment");
  EXPECT_TRUE(click("2-KD-x") && click("3-KD-empty"));
  EXPECT_EQ(folder.read("work/2-KD-x"), "x");
  EXPECT_EQ(folder.read("work/3-KD-empty"), "");
}

TEST_F(AttachmentLinksTest, OpensNothingThatIsNotThere) {
  EXPECT_FALSE(click("4-KD-a.pdf")) << "beyond the last";
  EXPECT_FALSE(click("1-KD-a.pdf", 0)) << "nobody's";
  EXPECT_FALSE(click("a.pdf")) << "no link";
  scripted.failOn("query *", "no such table");
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
  for (const auto& [file, shown] : {std::pair("0-KD-htmlversion.html", true),
                                    {"0-KD-htmlversion2.htm", true},
                                    {"0-KD-attachment0.html", true},
                                    {"0-KD-page.html", false},
                                    {"0-KD-htmlversion.html.exe", false}}) {
    viewer.views.htmlFile.clear();
    EXPECT_TRUE(click(file));
    EXPECT_EQ(viewer.views.htmlFile == work + "/" + file, shown) << file;
  }
}

TEST_F(AttachmentLinksTest, AsksWhatToDo) {
  settings.user.launchAttachments = 0;
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

TEST_F(AttachmentLinksTest, TellsWhenTheTargetCannotBeRemovedAndKeepsAFileSavedOntoItself) {
  settings.user.launchAttachments = 0;
  ui.alertAnswers = {1001, 1001};
  target = folder / "taken";
  folder.write("taken/file", "");
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_THAT(ui.alertLines().back(), "alert critical [Can't Remove] Unable to remove " + target);
  target = work + "/1-KD-a.pdf";
  EXPECT_TRUE(click("1-KD-a.pdf"));
  EXPECT_EQ(folder.read("work/1-KD-a.pdf"), kBytes);
}

}  // namespace
}  // namespace keldane
