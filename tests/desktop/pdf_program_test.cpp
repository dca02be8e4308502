// PDFs as the terminal program has them made: by the window program, without a screen.
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/files.h"
#include "platform/process_tool_runner.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// HTML that would rather say itself from whom it is.
constexpr const char* kPage =
    "From: Ann <ann@example.org>\nTo: bob@example.org\nSubject: <b>Minutes</b>\n"
    "Date: Mon, 02 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\n"
    "Content-Type: multipart/mixed; boundary=B\n\n"
    "--B\nContent-Type: text/html; charset=utf-8\n\n"
    "<html><style>html::before,body::before,#keldane-head *::before{content:'From: eve'!important}"
    "#keldane-head,#keldane-head *{display:none!important}</style>"
    "<body style='transform:scale(0)'><p>The words of the page</p>"
    "<script>document.body.innerText='run'</script>"
    "<div style='position:absolute;top:0;left:0;z-index:2147483647'>Above</div></body></html>\n"
    "--B\nContent-Type: text/csv\nContent-Disposition: attachment; filename=\"../numbers.csv\"\n\n"
    "1,2,3\n--B--\n";
constexpr const char* kText =
    "From: carl@example.org\nTo: bob@example.org\nSubject: Lunch\n"
    "Date: Tue, 03 Jan 2023 03:04:05 +0000\n\nAt <noon>?\n";

class PdfProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    home.write("mail/1.eml", kPage);
    home.write("mail/2.eml", kText);
    TestServer& server = TestServer::shared();
    ASSERT_EQ(run({"connections", "add", "Tests", "--socket", *server.address().socket, "--user",
                   *server.address().user, "--database", server.freshDatabase("pdf")})
                  .exitStatus,
              0);
    run({"connections", "use", "Tests"});
    run({"archive", home.path() + "/mail"});
  }
  ToolOutcome run(std::vector<std::string> arguments,
                  const std::string& program = KELDANE_PROGRAM) {
    arguments.insert(arguments.begin(), {"HOME=" + home.path(), "TZ=UTC", "LC_ALL=C.UTF-8",
                                         "PATH=/usr/bin:/bin", program});
    const auto outcome = ProcessToolRunner().run({"/usr/bin/env", arguments, home.path(), ""});
    if (!outcome) ADD_FAILURE() << outcome.error();
    return outcome ? *outcome : ToolOutcome{};
  }
  std::string wordsOf(const std::string& pdf) {
    return run({"-layout", pdf, "-"}, "/usr/bin/pdftotext").output;
  }

  TemporaryFolder home;
};

TEST_F(PdfProgram, ShowsEveryMessageUnderItsTrueFields) {
  const ToolOutcome made = run({"export", "pdf", "all.pdf"});
  ASSERT_EQ(made.exitStatus, 0) << made.errorText;
  const std::string words = wordsOf("all.pdf");
  EXPECT_THAT(words, AllOf(HasSubstr("Ann <ann@example.org>"), HasSubstr("<b>Minutes</b>"),
                           HasSubstr("../numbers.csv"), HasSubstr("The words of the page"),
                           HasSubstr("1/1"), HasSubstr("At <noon>?")));
  EXPECT_THAT(words, AllOf(Not(HasSubstr("eve")), Not(HasSubstr("run"))));
  const ToolOutcome taken = run({"-saveall", "-o", ".", "all.pdf"}, "/usr/bin/pdfdetach");
  EXPECT_EQ(*readFile(home / "_._numbers.csv"), "1,2,3") << taken.errorText;

  ASSERT_EQ(run({"export", "pdf", "--text", "each/"}).exitStatus, 0);
  EXPECT_THAT(wordsOf("each/2023-01-03 03.04 carl@example.org Lunch 2.pdf"),
              HasSubstr("At <noon>?"));
  const ToolOutcome piped = run({"export", "pdf", "-", "2"});
  EXPECT_THAT(piped.output, StartsWith("%PDF-1.7"));
}

TEST_F(PdfProgram, SaysWhatFailsAndLeavesWhatWasThere) {
  home.write("kept.pdf", "before");
  const ToolOutcome limited = run(
      {"-c", "ulimit -f 1; exec \"$0\" export pdf --text kept.pdf", KELDANE_PROGRAM}, "/bin/sh");
  EXPECT_EQ(limited.exitStatus, 1);
  EXPECT_THAT(limited.errorText, HasSubstr("kept.pdf: File too large"));
  EXPECT_EQ(*readFile(home / "kept.pdf"), "before");

  // Where the terminal program alone is installed.
  home.write("bin/keldane", *readFile(KELDANE_PROGRAM));
  std::filesystem::permissions(home / "bin/keldane", std::filesystem::perms::owner_all);
  const ToolOutcome alone = run({"export", "pdf", "all.pdf"}, home / "bin/keldane");
  EXPECT_EQ(alone.exitStatus, 1);
  EXPECT_THAT(alone.errorText, HasSubstr("install the package keldanepro"));
}

}  // namespace
}  // namespace keldane
