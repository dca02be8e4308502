#include "app/panels/attachment_list.h"

#include "base/text.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kBytes("\x00\xFF%PDF\r\n", 8);
const std::string kQuestion =
    "alert [What do you want to do with this attachment?] Do you want to launch it or save it to a "
    "file?";

class AttachmentListTest : public ::testing::Test, protected ScriptedPanels {
 protected:
  void click(const std::string& name) {
    const std::string size = std::to_string(kBytes.size());
    scripted.answerOn("query SELECT type_fld,*", {{"a/b", name, size}});
    scripted.answerOn("query SELECT filename_fld,*", {{name, kBytes}});
    scripted.answerOn("query SELECT LENGTH(attach_fld),*", {{size, kBytes}});
    attachments.load(7, false);
    attachments.textViewClickedOnLink(0);
  }

  AttachmentList attachments{
      {session, process, settings.user, progress, ui, host, [] { return false; }}};
};

TEST_F(AttachmentListTest, ShowsTheMessagesOwnHtmlItself) {
  for (const auto& [name, shows] : {std::pair("htmlversion.html", true),
                                    {"htmlversion2.htm", true},
                                    {"attachment0.html", true},
                                    {"page.html", false},
                                    {"htmlversion.html.exe", false}}) {
    std::string shown;
    attachments.showHtmlVersion = [&shown](const std::string& path) { shown = path; };
    click(name);
    EXPECT_EQ(lastPathComponent(shown), shows ? name : "") << name;
  }
  EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(AttachmentListTest, AsksWhatToDoUnlessTheSettingsSaySo) {
  const std::string target = folder / "saved.pdf";
  folder.write("saved.pdf", "old");
  ui.savedFiles = {target};
  ui.alertAnswers = {1002, 1001, 1000, 1000};
  click("a.pdf");
  EXPECT_EQ(folder.read("saved.pdf"), "old") << "cancelled";
  click("a.pdf");
  EXPECT_EQ(folder.read("saved.pdf"), kBytes);
  EXPECT_THAT(host.calls, IsEmpty());
  ui.alertAnswers = {1000};
  click("a.pdf");
  EXPECT_THAT(
      ui.alertLines(),
      ElementsAre(kQuestion, kQuestion, "alert [Saved] The attachment has been saved", kQuestion));
  settings.user.launchAttachments = 1;
  click("a.pdf");
  EXPECT_EQ(ui.alertLines().size(), 4U);
  EXPECT_EQ(host.calls.size(), 2U);
  // What would run is asked about all the same.
  ui.alertAnswers = {1000};
  click("a.sh");
  EXPECT_EQ(host.calls.size(), 2U);
}

TEST_F(AttachmentListTest, OffersToSaveWhatCannotBeLaunched) {
  settings.user.launchAttachments = 1;
  host.openFailure = "no application";
  ui.alertAnswers = {1000};
  ui.savedFiles = {folder / "saved.pdf"};
  click("a.pdf");
  EXPECT_EQ(folder.read("saved.pdf"), kBytes);
  EXPECT_EQ(ui.alertLines().front(),
            "alert [Unable to launch this attachment.] Try saving it instead.");
}

}  // namespace
}  // namespace keldane
