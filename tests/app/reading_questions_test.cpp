#include <gtest/gtest.h>

#include "app/panels/attachment_list.h"
#include "app/panels/link_question.h"
#include "tests/support/recording_user_interface.h"

namespace keldane {
namespace {

TEST(LinksOfAMessage, OpenOnlyWhereTheyLeadToPagesAndPeopleAndTheUserSaysSo) {
  const std::tuple<const char*, int, bool> rows[] = {
      {"https://club.example/a?b=c", kFirstButton, true},
      {"HTTP://club.example/", kFirstButton, true},
      {"mailto:ann@club.example", kFirstButton, true},
      {"https://club.example/", kSecondButton, false},
      {"javascript:alert(1)", kFirstButton, false},
      {"data:text/html,x", kFirstButton, false},
      {"file:///etc/passwd", kFirstButton, false},
      {"smb://host/share/run.exe", kFirstButton, false},
      {"club.example", kFirstButton, false},
  };
  for (const auto& [target, answer, opens] : rows) {
    RecordingUserInterface ui;
    ui.alertAnswers = {answer};
    EXPECT_EQ(mayOpenLink(target, ui), opens) << target;
    ASSERT_EQ(ui.alerts.size(), 1U) << target;
    EXPECT_NE(ui.alerts[0].text.find(target), std::string::npos);
  }
}

TEST(ProgramsAmongAttachments, AreKnownByTheirNames) {
  for (const char* name : {"a.exe", "A.EXE", "a.pdf.scr", "run", "a.sh ", "a.", "page.html"}) {
    EXPECT_TRUE(isProgramName(name)) << name;
  }
  for (const char* name : {"a.pdf", "exe.txt", "picture.JPG", "a.tar.gz"}) {
    EXPECT_FALSE(isProgramName(name)) << name;
  }
}

}  // namespace
}  // namespace keldane
