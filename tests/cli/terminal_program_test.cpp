#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

#include "base/files.h"
#include "base/text.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Words = std::vector<std::string>;

constexpr const char* kInvoice =
    "From: Ann <ann@example.org>\nTo: bob@example.org\nSubject: Invoice 12\n"
    "Date: Mon, 2 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\n"
    "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
    "Please pay\n--b\nContent-Type: application/pdf\n"
    "Content-Disposition: attachment; filename=\"../../bill\x1B[31m.pdf\"\n"
    "Content-Transfer-Encoding: base64\n\nAAECAw==\n--b--\n";
// Its subject and its body try to steer a terminal, its subject also a page.
constexpr const char* kHostile =
    "From: eve@example.org\nTo: bob@example.org\n"
    "Subject: =?utf-8?q?=1B=5D0;owned=07=C2=9B2J=3Cscript=3E?=\n"
    "Date: Tue, 3 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\nContent-Type: text/html\n\n"
    "<html><body>Hello \x1B[2J<b>you</b></body></html>\n";
constexpr const char* kThird =
    "From: carl@example.org\nTo: bob@example.org\nSubject: Lunch\n"
    "Date: Wed, 4 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\nContent-Type: text/plain\n\n"
    "At noon?\n";

/// A home folder with an archive of three messages on the server of the tests.
class TerminalProgram : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    home_ = std::make_unique<TemporaryFolder>();
    home_->write("mail/1.eml", kInvoice);
    home_->write("mail/2.eml", kHostile);
    home_->write("mail/3.eml", kThird);
    home_->write("mail/4.eml", kThird);
    home_->write("mail/notes.txt", "no mail");
    TestServer& server = TestServer::shared();
    run({"connections", "add", "Tests", "--socket", *server.address().socket, "--user",
         *server.address().user, "--database", server.freshDatabase("terminal")});
    run({"connections", "use", "Tests"});
    firstArchive_ = run({"archive", home() + "/mail", "--json"});
  }
  static void TearDownTestSuite() { home_.reset(); }

  static std::string home() { return home_->path(); }

  static ToolOutcome run(const Words& arguments) {
    ToolCall call{"/usr/bin/env", {"HOME=" + home(), "TZ=UTC", KELDANE_PROGRAM}, home(), ""};
    call.arguments.insert(call.arguments.end(), arguments.begin(), arguments.end());
    const Result<ToolOutcome> outcome = ProcessToolRunner().run(call);
    if (!outcome) ADD_FAILURE() << outcome.error();
    return outcome ? *outcome : ToolOutcome{};
  }
  /// What it printed; its end must be a good one.
  static std::string output(const Words& arguments) {
    const ToolOutcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, 0) << arguments[0] << ": " << outcome.errorText;
    return outcome.output;
  }
  /// The values of one name in lines of JSON.
  static std::vector<nlohmann::json> values(const std::string& lines, const char* name) {
    std::vector<nlohmann::json> found;
    for (const std::string& line : split(lines, "\n")) {
      if (!line.empty()) found.push_back(nlohmann::json::parse(line)[name]);
    }
    return found;
  }
  static std::vector<nlohmann::json> subjects(Words arguments) {
    arguments.push_back("--json");
    return values(output(arguments), "subject");
  }

  /// What it writes to a terminal of this width.
  static std::string onTerminal(const Words& arguments, unsigned short columns,
                                const std::string& pager) {
    int terminal = -1;
    winsize size{};
    size.ws_row = 24;
    size.ws_col = columns;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
      ::setenv("HOME", home().c_str(), 1);
      ::setenv("TERM", "xterm", 1);
      ::setenv("PAGER", pager.c_str(), 1);
      ::unsetenv("NO_COLOR");
      Words words = {KELDANE_PROGRAM};
      words.insert(words.end(), arguments.begin(), arguments.end());
      std::vector<char*> argv;
      for (std::string& word : words) argv.push_back(word.data());
      argv.push_back(nullptr);
      ::execv(KELDANE_PROGRAM, argv.data());
      ::_exit(127);
    }
    std::string text;
    std::array<char, 4096> buffer{};
    while (true) {
      const ssize_t got = ::read(terminal, buffer.data(), buffer.size());
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    ::close(terminal);
    EXPECT_EQ(status, 0) << text;
    return text;
  }

  static std::unique_ptr<TemporaryFolder> home_;
  static ToolOutcome firstArchive_;
};

std::unique_ptr<TemporaryFolder> TerminalProgram::home_;
ToolOutcome TerminalProgram::firstArchive_;

TEST_F(TerminalProgram, ArchivesOnceAndAccountsForEveryFile) {
  EXPECT_EQ(firstArchive_.exitStatus, 0) << firstArchive_.errorText;
  const auto first = nlohmann::json::parse(firstArchive_.output);
  EXPECT_EQ(first["archived"], 3);
  EXPECT_EQ(first["duplicates"], 1);
  EXPECT_EQ(first["ledger"]["met"], 5);
  EXPECT_EQ(first["ledger"]["dropped"], 1);
  const auto again = nlohmann::json::parse(output({"archive", home() + "/mail", "--json"}));
  EXPECT_EQ(again["archived"], 0);
  EXPECT_EQ(again["duplicates"], 4);
  EXPECT_THAT(output({"logs", "ledger", "--only", "dropped"}), HasSubstr("notes.txt"));
  EXPECT_EQ(nlohmann::json::parse(output({"status", "--json"}))["messages"], 3);
}

TEST_F(TerminalProgram, FindsNarrowsAndKeepsSearches) {
  EXPECT_THAT(subjects({"list"}),
              ElementsAre("Lunch", "\x1B]0;owned\x07\u009B2J<script>", "Invoice 12"));
  EXPECT_THAT(subjects({"search", "--and", "to=bob", "--and-not", "subject=lunch", "--sort", "id",
                        "--and-not", "from=eve"}),
              ElementsAre("Invoice 12"));
  EXPECT_THAT(subjects({"search", "--since", "2023-01-03", "--sort", "date"}),
              ElementsAre(HasSubstr("owned"), "Lunch"));
  EXPECT_THAT(subjects({"search", "--within-last-list", "--and", "body=noon"}),
              ElementsAre("Lunch"));
  EXPECT_THAT(subjects({"search", "--has-attachment", "--type", "documents"}),
              ElementsAre("Invoice 12"));
  output({"search", "--and", "from=carl", "--save", "From Carl"});
  EXPECT_THAT(subjects({"search", "--saved", "From Carl"}), ElementsAre("Lunch"));
  output({"searches", "set-browse", "From Carl"});
  EXPECT_THAT(subjects({"browse"}), ElementsAre("Lunch"));
  output({"searches", "reset-browse"});
  EXPECT_THAT(subjects({"browse"}), ::testing::SizeIs(3));
}

TEST_F(TerminalProgram, TellsOfOutputThatWasLost) {
  const auto redirected = [](const std::string& where) {
    const std::string command =
        "HOME='" + home() + "' '" KELDANE_PROGRAM "' search --json " + where;
    return ProcessToolRunner().run({"/bin/sh", {"-c", command}, "", ""}).value();
  };
  if (std::filesystem::exists("/dev/full")) {
    const ToolOutcome full = redirected("> /dev/full");
    EXPECT_EQ(full.exitStatus, 1);
    EXPECT_THAT(full.errorText, HasSubstr("could not be written whole: No space left"));
  }
  EXPECT_EQ(redirected(">&-").exitStatus, 1);
  // A reader that has had enough is no failure.
  EXPECT_THAT(redirected("| true").errorText, IsEmpty());
}

TEST_F(TerminalProgram, TellsBadWordsFromFailures) {
  struct Case {
    Words arguments;
    int status;
    const char* text;
  };
  const Case cases[] = {
      {{}, 2, "subcommand"},
      {{"search", "--and", "colour=red"}, 2, "none of from, to"},
      {{"search", "--since", "2023-13"}, 2, "2023-13"},
      {{"search", "--limit", "few"}, 2, "neither a number nor none"},
      {{"search", "--sql", "WHERE nothing = 1"}, 1, "Unknown column"},
      {{"search", "--saved", "Missing"}, 1, "Missing"},
      {{"show", "99"}, 1, "99"},
      {{"tag", "99", "--category", "Tax"}, 1, "nothing is changed"},
      {{"archive", "missing.mbox"}, 1, "missing.mbox"},
      {{"list", "--connection", "Elsewhere"}, 1, "Elsewhere"},
      {{"settings", "set", "attachSize", "much"}, 1, "attachSize"},
      {{"list", "--database", "typo"}, 1, "there is no database \"typo\" on this server"},
      {{"list", "--database", "my mail"}, 1, "cannot be the name of a database"},
      {{"connections", "add", "Tests"}, 1, "--replace"},
      {{"rules", "add", "--name", "x", "--category", "c"}, 1, "--when"},
      {{"rules", "add", "--name", "x", "--when", "from contains x"}, 1, "--category"},
  };
  for (const Case& each : cases) {
    const ToolOutcome outcome = run(each.arguments);
    const std::string what = ::testing::PrintToString(each.arguments);
    EXPECT_EQ(outcome.exitStatus, each.status) << what;
    EXPECT_THAT(outcome.errorText, HasSubstr(each.text)) << what;
    EXPECT_THAT(outcome.output, IsEmpty()) << what;
  }
}

/// Words in the first column of one paragraph of a help text.
Words firstWords(const std::string& help, const std::string& title) {
  Words words;
  const std::size_t begin = help.find(title + ":\n");
  if (begin == std::string::npos) return words;
  for (const std::string& line :
       split(help.substr(begin, help.find("\n\n", begin) - begin), "\n")) {
    // What goes on from the line above stands further in.
    if (!line.starts_with("  ") || line.starts_with("   ")) continue;
    if (title == "Options" && line[2] != '-') continue;
    std::string word = line.substr(2, line.find_first_of(" :", 2) - 2);
    if (word.starts_with("-h,")) continue;
    words.push_back(word.substr(word.find(',') == std::string::npos ? 0 : word.find(',') + 1));
  }
  return words;
}

TEST_F(TerminalProgram, TheManualKnowsEveryCommandAndOption) {
  std::string manual = readFile(KELDANE_MANUAL).value();
  removeAll(manual, "\\");
  std::vector<Words> commands = {{}};
  for (std::size_t i = 0; i < commands.size(); ++i) {
    Words words = commands[i];
    words.push_back("--help");
    const std::string help = output(words);
    words.pop_back();
    std::string name;
    for (const std::string& word : words) name += (name.empty() ? "" : " ") + word;
    EXPECT_THAT(manual, HasSubstr(name));
    for (const std::string& option : firstWords(help, "Options")) {
      EXPECT_THAT(manual, HasSubstr(option)) << name;
    }
    for (const std::string& command : firstWords(help, "Subcommands")) {
      commands.push_back(words);
      commands.back().push_back(command);
    }
  }
  EXPECT_GT(commands.size(), 40U);
}

TEST_F(TerminalProgram, ShowsAMessageInEachOfItsForms) {
  EXPECT_THAT(output({"show", "1"}),
              AllOf(StartsWith("ID: 1\nDATE: 2023-01-02 03:04:05\n"), HasSubstr("Please pay")));
  EXPECT_EQ(output({"show", "1", "--source"}), kInvoice);
  EXPECT_THAT(output({"show", "1", "--headers"}),
              AllOf(HasSubstr("Subject: Invoice 12"), Not(HasSubstr("Please pay"))));
  const std::string id =
      values(output({"search", "--and", "from=eve", "--json"}), "id").at(0).dump();
  EXPECT_THAT(output({"show", id, "--html"}),
              AllOf(HasSubstr("&lt;script&gt;"), Not(HasSubstr("<script>")), HasSubstr("<b>you")));
}

TEST_F(TerminalProgram, SavedAttachmentsStayInTheirFolderAndOverwriteNothing) {
  const std::string folder = home() + "/a/b/out";
  for (int i = 0; i < 2; ++i) output({"attachments", "1", "--save", folder});
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home() + "/a")) {
    if (entry.is_directory()) continue;
    ++files;
    EXPECT_EQ(entry.path().parent_path(), folder);
    EXPECT_EQ(entry.path().string().find('\x1B'), std::string::npos);
    struct stat status {};
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(*readFile(entry.path()), std::string("\0\1\2\3", 4));
  }
  EXPECT_EQ(files, 2U);
}

TEST_F(TerminalProgram, ReadingChangesNothingOnTheServerAndNothingThatIsRemembered) {
  const auto writes = [] {
    const auto session = TestServer::shared().connect();
    std::string counts;
    // Rows are written by the server itself too, which notes when its last client has gone.
    EXPECT_TRUE(
        session->query("SHOW GLOBAL STATUS WHERE Variable_name IN ('Com_create_db','Com_alter_db',"
                       "'Com_create_table','Com_alter_table','Com_create_index','Com_begin')"));
    const auto rows = session->storeResult();
    while (rows && rows->next()) counts.append(*rows->cell(0)).append(*rows->cell(1)).append(" ");
    return counts;
  };
  const std::string preferences = home() + "/Library/Preferences/com.varnwick.KeldanePro.plist";
  const std::string kept = readFile(preferences).value();
  const std::string before = writes();
  for (const Words& words :
       {Words{"list"}, Words{"show", "1"}, Words{"search", "--and", "from=ann"}, Words{"stats"},
        Words{"status"}, Words{"browse"}, Words{"settings", "list"}, Words{"connections", "list"},
        Words{"attachments", "1"}, Words{"list", "--database", "typo"}}) {
    run(words);
    EXPECT_EQ(writes(), before) << ::testing::PrintToString(words);
  }
  EXPECT_EQ(readFile(preferences).value(), kept);
}

TEST_F(TerminalProgram, OptionsOfOneCommandAreNotRemembered) {
  const std::string other = TestServer::shared().freshDatabase("terminal");
  output({"archive", "--database", other, home() + "/mail/1.eml"});
  EXPECT_THAT(subjects({"list", "--database", other}), ElementsAre("Invoice 12"));
  EXPECT_THAT(subjects({"list"}), ::testing::SizeIs(3));
  EXPECT_THAT(output({"connections", "list"}), HasSubstr(other));
  output({"connections", "add", "Other", "--socket", *TestServer::shared().address().socket,
          "--user", *TestServer::shared().address().user, "--database", other});
  EXPECT_THAT(subjects({"list"}), ::testing::SizeIs(3));
  EXPECT_THAT(subjects({"list", "--connection", "Other"}), ElementsAre("Invoice 12"));
  output({"connections", "use", "Other"});
  EXPECT_THAT(subjects({"list"}), ElementsAre("Invoice 12"));
  output({"connections", "add", "Other", "--port", "3999", "--replace"});
  EXPECT_THAT(subjects({"list"}), ElementsAre("Invoice 12")) << "the socket was kept";
  output({"connections", "remove", "Other"});
  EXPECT_THAT(subjects({"list"}), ::testing::SizeIs(3));
}

TEST_F(TerminalProgram, ABrowseSearchMayHaveAnyName) {
  const std::string name = "say \"hi\" \\ bye";
  output({"search", "--and", "from=carl", "--save", name});
  output({"searches", "set-browse", name});
  for (int i = 0; i < 2; ++i) EXPECT_THAT(subjects({"browse"}), ElementsAre("Lunch"));
  output({"searches", "reset-browse"});
}

TEST_F(TerminalProgram, TagsAndTakesThemAway) {
  output({"tag", "1", "--category", "Tax", "--keywords", "paid late", "--priority", "high"});
  EXPECT_THAT(subjects({"search", "--category", "Tax", "--priority", "high"}),
              ElementsAre("Invoice 12"));
  EXPECT_THAT(output({"list"}), HasSubstr("2023-01-02 03:04:05*"));
  output({"untag", "1"});
  EXPECT_THAT(subjects({"search", "--with-tags"}), IsEmpty());
}

TEST_F(TerminalProgram, AMessageCannotSteerTheTerminal) {
  const std::string paged = home() + "/paged";
  for (const Words& words :
       {Words{"list"}, Words{"show", "1"}, Words{"show", "2"}, Words{"show", "2", "--source"},
        Words{"attachments", "1"}, Words{"list", "--json"}, Words{"list", "--format", "tsv"}}) {
    const std::string text = onTerminal(words, 60, "");
    const std::string what = ::testing::PrintToString(words);
    EXPECT_THAT(text, Not(HasSubstr("\x1B]"))) << what;
    EXPECT_THAT(text, Not(HasSubstr("\x1B[2J"))) << what;
    EXPECT_THAT(text, Not(HasSubstr("\x1B[31m"))) << what;
    EXPECT_THAT(text, Not(HasSubstr("\u009B"))) << what;
  }
  EXPECT_THAT(onTerminal({"list"}, 60, "cat > " + paged), Not(HasSubstr("Invoice")));
  const Result<std::string> list = readFile(paged);
  ASSERT_TRUE(list);
  EXPECT_THAT(*list, HasSubstr("Invoice"));
}

}  // namespace
}  // namespace keldane
