#include <gtest/gtest.h>

#include "app/panels/attachment_list.h"
#include "app/panels/link_question.h"
#include "tests/support/recording_user_interface.h"

namespace keldane {
namespace {

struct Link {
  const char* name;
  const char* target;
  int answer;
  bool opens;
};

class LinksOfAMessage : public ::testing::TestWithParam<Link> {};

TEST_P(LinksOfAMessage, OpenOnlyWhereTheyLeadToPagesAndPeopleAndTheUserSaysSo) {
  RecordingUserInterface ui;
  ui.alertAnswers = {GetParam().answer};
  EXPECT_EQ(mayOpenLink(GetParam().target, ui), GetParam().opens);
  ASSERT_EQ(ui.alerts.size(), 1U);
  EXPECT_NE(ui.alerts[0].text.find(GetParam().target), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Targets, LinksOfAMessage,
    ::testing::Values(Link{"Page", "https://club.example/a?b=c", kFirstButton, true},
                      Link{"PageInCapitals", "HTTP://club.example/", kFirstButton, true},
                      Link{"Person", "mailto:ann@club.example", kFirstButton, true},
                      Link{"Refused", "https://club.example/", kSecondButton, false},
                      Link{"Script", "javascript:alert(1)", kFirstButton, false},
                      Link{"Data", "data:text/html,x", kFirstButton, false},
                      Link{"File", "file:///etc/passwd", kFirstButton, false},
                      Link{"Program", "smb://host/share/run.exe", kFirstButton, false},
                      Link{"Bare", "club.example", kFirstButton, false}),
    [](const auto& row) { return std::string(row.param.name); });

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
