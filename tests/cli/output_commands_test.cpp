#include <algorithm>
#include <filesystem>

#include "base/files.h"
#include "tests/cli/program_rig.h"

namespace keldane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::string mail(const char* sender, const char* subject, int day, const char* text) {
  return std::string("From: ") + sender + "\nTo: bob@example.org\nSubject: " + subject +
         "\nDate: Mon, " + std::to_string(day) + " Jan 2023 03:04:05 +0000\n\n" + text + "\n";
}
const std::string kInvoice = mail("ann@example.org", "Invoice 12", 2, "Please pay");

/// A home folder with an archive of three messages on the server of the tests.
class OutputCommands : public ProgramRig {
 protected:
  static void SetUpTestSuite() {
    ProgramRig::SetUpTestSuite();
    home_->write("mail/1.eml", kInvoice);
    home_->write("mail/2.eml", mail("eve@example.org", "Hello", 3, "you \x1B[2J"));
    home_->write("mail/3.eml", mail("carl@example.org", "Lunch", 4, "At noon?"));
    output({"archive", home() + "/mail"});
  }

  /// Makes a program of this name, for those who have `withTools` before them.
  static void makeTool(const std::string& name, const std::string& script) {
    home_->writeScript("bin/" + name, script + "\n");
  }
  static Words withTools() { return {"/usr/bin/env", "PATH=" + home() + "/bin:/usr/bin:/bin"}; }
  static std::size_t lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }
  static std::size_t filesBelow(const std::string& folder) {
    std::size_t files = 0;
    if (!isDirectory(folder)) return fileExists(folder) ? 1 : 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      files += entry.is_directory() ? 0 : 1;
    }
    return files;
  }
};

TEST_F(OutputCommands, SaveAndPrintTheMessagesThatAreNamed) {
  EXPECT_THAT(
      output({"save", "list", "-", "--and", "from=carl"}),
      AllOf(StartsWith("WHERE "), HasSubstr("\tcarl@example.org\tbob@example.org\tLunch\t")));
  EXPECT_EQ(output({"save", "source", "-", "1"}), kInvoice + "\n\n");
  std::string text = output({"save", "messages", "-", "1", "2"});
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  EXPECT_THAT(text, AllOf(StartsWith("\xFF\xFEID: 1\n"), HasSubstr("\xFF\xFEID: 2\n")));
  makeTool("lp", "cat > " + home() + "/printed");
  ASSERT_EQ(runBehind(withTools(), {"print", "2"}).exitStatus, 0);
  EXPECT_THAT(home_->read("printed"), AllOf(StartsWith("ID: 2\n"), Not(HasSubstr("\x1B"))));
  EXPECT_EQ(output({"print", "2", "--to", "-"}), home_->read("printed"));
  output({"list", "--limit", "1"});
  EXPECT_EQ(lines(output({"save", "list", "-", "--last-list"})), 3U);
  EXPECT_EQ(run({"print"}).exitStatus, 2) << "not the whole archive by an oversight";
  EXPECT_EQ(run({"save", "list", "-", "1", "--last-list"}).exitStatus, 2);
  EXPECT_EQ(run({"save", "list", "-", "1", "999"}).exitStatus, 1);
  EXPECT_EQ(run({"export", "eml", "-"}).exitStatus, 2);
}

TEST_F(OutputCommands, AnswersOpenInTheMailProgramOrAsALink) {
  EXPECT_THAT(runBehind({"/usr/bin/env", "PATH=/nowhere"}, {"reply", "1"}).output,
              StartsWith("mailto:ann@example.org?subject=Re%3A%20Invoice%2012&body="));
  makeTool("xdg-email", "printf '%s\\n' \"$@\" > " + home() + "/asked");
  ASSERT_EQ(runBehind(withTools(), {"forward", "1"}).exitStatus, 0);
  const std::string asked = home_->read("asked");
  EXPECT_THAT(asked, HasSubstr("\nFwd: Invoice 12\n"));
  const std::size_t path = asked.find("--attach\n") + 9;
  EXPECT_EQ(*readFile(asked.substr(path, asked.find('\n', path) - path)), kInvoice);
  EXPECT_EQ(run({"reply", "999"}).exitStatus, 1);
}

TEST_F(OutputCommands, DeletionsAskAndTakeTheWordsAlong) {
  home_->write("more/5.eml", mail("dora@example.org", "Zebra", 5, "stripes"));
  output({"archive", home() + "/more"});
  EXPECT_THAT(output({"find", "stripes"}), HasSubstr("Zebra"));
  const auto with = [](const Words& more) {
    Words words = {"delete", "--and", "from=dora"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  };
  EXPECT_EQ(run(with({})).exitStatus, 2) << "nobody can be asked";
  EXPECT_EQ(run({"delete", "--yes"}).exitStatus, 2) << "not the whole archive by an oversight";
  EXPECT_THAT(output(with({"--dry-run"})), AllOf(HasSubstr("Zebra"), HasSubstr("Would delete 1 ")));
  EXPECT_EQ(output(with({"--yes"})), "Deleted 1 message.\n");
  EXPECT_EQ(lines(output({"list", "--json"})), 3U);
  EXPECT_THAT(output({"find", "stripes", "--json"}), IsEmpty());
}

TEST_F(OutputCommands, AFullDiskIsToldAndLeavesNoFile) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer writes a file of its own before the program begins";
#endif
  const std::string target = home() + "/full";
  std::vector<Words> all = {{"save", "list", target},
                            {"save", "messages", target},
                            {"save", "source", target},
                            {"print", "1", "--to", target}};
  for (const char* format :
       {"tab", "comma", "mbox", "addresses", "sql", "eml", "maildir", "mboxrd", "json", "csv"}) {
    all.push_back({"export", format, target});
  }
  for (Words& words : all) {
    const std::string what = ::testing::PrintToString(words);
    // Every byte of a file is refused.
    const ToolOutcome outcome =
        runBehind({"/bin/sh", "-c", "ulimit -f 0; exec \"$@\"", "sh"}, words);
    EXPECT_EQ(outcome.exitStatus, 1) << what;
    EXPECT_THAT(outcome.errorText, AllOf(HasSubstr(target), HasSubstr("File too large"))) << what;
    EXPECT_EQ(filesBelow(target), 0U) << what;
    std::filesystem::remove_all(target);
    std::replace(words.begin(), words.end(), target, std::string("/dev/full"));
    EXPECT_EQ(run(words).exitStatus, 1) << what;
  }
}

}  // namespace
}  // namespace keldane
