// Messages read from a real server, with the steps that the program is wired with.

#include <fmt/format.h>

#include "app/panels/attachment_list.h"
#include "app/panels/message_viewer.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string hex(const std::string& bytes) {
  std::string text = "X'";
  for (const char c : bytes) text += fmt::format("{:02X}", static_cast<unsigned char>(c));
  return text + "'";
}

class MessageReadingTest : public ::testing::Test, protected ServerPanels {
 protected:
  /// Shows the message as if it had been selected in a list.
  void show(std::uint32_t id, const std::string& date) {
    list.emailRows = {{id, 0, date, "", "", "", ""}};
    viewer.selection = {1, 0};
    viewer.tableViewSelectionDidChange();
  }
  void store(const std::string& source, const std::string& body) {
    run("INSERT INTO email (id,from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) VALUES(3,'f','t',\"<script>\",'2006-01-02 22:04:05','INBOX'," +
        hex(body) + ",'','','')");
    run("INSERT INTO origemail VALUES(3," + hex(source) + ")");
  }
  void attach(const std::string& name, const std::string& bytes) {
    run("INSERT INTO attachments (id,type_fld,filename_fld,attach_fld) VALUES(3,'a/b'," +
        hex(name) + "," + hex(bytes) + ")");
  }

  MessageViewer viewer{
      {session, list, settings.user, process, environment, ui, {}, [] { return false; }, {}}};
  AttachmentList attachments{
      {session, process, settings.user, progress, ui, host, [] { return false; }}};
};

TEST_F(MessageReadingTest, ShowsAFileOfTheMailClient) {
  store(
      "217\nFrom: a@x.example\nTo: b@x.example\nSubject: <script>\nContent-Type: text/html; "
      "charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n<p>gr=C3=B6=C3=9Fe</p>\n"
      "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"x\">\n"
      "<plist><dict/></plist>\n",
      "<p>größe</p>");
  show(3, "02.01.2006*");
  EXPECT_TRUE(viewer.views.htmlShowing);
  EXPECT_THAT(viewer.views.htmlText, HasSubstr("<b>Subject:</b> &lt;script&gt;"));
  EXPECT_THAT(viewer.views.htmlText, HasSubstr("<b>Date:</b> 02.01.2006</div>"));
  EXPECT_THAT(viewer.views.htmlText, HasSubstr("<p>größe</p>"));
  EXPECT_THAT(viewer.views.htmlText, Not(HasSubstr("plist")));
  EXPECT_EQ(viewer.views.sizeTextField, "size: 0.3 KB");
  show(4, "");
  EXPECT_EQ(viewer.attachOwnerId, 0U) << "no such message";
}

TEST_F(MessageReadingTest, TakesHostileAttachmentsOutToTheByte) {
  store("From: a@x.example\nSubject: x\n\nText\n", "Text");
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  std::string large;
  while (large.size() < 3000000) large += all;
  const std::vector<std::string> names = {
      "../../x", "/etc/passwd", "same", "same", "<b>&</b>\n", "", std::string(127, 'x')};
  for (std::size_t i = 0; i < names.size(); ++i) {
    attach(names[i], i == 1 ? large : all.substr(0, 250 + i));
  }
  show(3, "");
  const std::vector<AttachmentStrip::Link> links = viewer.views.attachmentView.links;
  ASSERT_EQ(links.size(), names.size());
  attachments.load(viewer.attachOwnerId, false);
  for (std::size_t i = 0; i < links.size(); ++i) {
    const std::string file = links[i].path.substr((folder / "").size());
    EXPECT_TRUE(file.starts_with("work/" + std::to_string(i) + "-KD-")) << file;
    const std::string written = attachments.writeForUse(i);
    ASSERT_TRUE(written.starts_with(folder / "work/")) << written;
    EXPECT_EQ(folder.read(written.substr((folder / "").size())),
              i == 1 ? large : all.substr(0, 250 + i));
  }
  const auto one = saveAttachments(session, 3, folder / "one", 1);
  ASSERT_TRUE(one && one->size() == 1);
  EXPECT_EQ(folder.read("one/_etc_passwd"), large);
  const auto listed = listAttachments(session, 3);
  ASSERT_TRUE(listed && listed->size() == names.size());
  EXPECT_EQ((*listed)[1].sizeBytes, large.size());
}

}  // namespace
}  // namespace keldane
