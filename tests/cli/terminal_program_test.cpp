#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/ioctl.h>
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
#include "tests/cli/program_rig.h"
#include "tests/ingest/packed_bytes.h"

namespace keldane {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using namespace std::string_literals;

constexpr const char* kInvoice =
    "From: Ann <ann@example.org>\nTo: bob@example.org\nSubject: Invoice 12\n"
    "Date: Mon, 2 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\n"
    "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
    "Dear Bob,\n\nPlease pay\n--b\nContent-Type: application/pdf\n"
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
class TerminalProgram : public ProgramRig {
 protected:
  static void SetUpTestSuite() {
    ProgramRig::SetUpTestSuite();
    home_->write("mail/1.eml", kInvoice);
    home_->write("mail/2.eml", kHostile);
    home_->write("mail/3.eml", kThird);
    home_->write("mail/4.eml", kThird);
    home_->write("mail/notes.txt", "no mail");
    firstArchive_ = run({"archive", home() + "/mail", "--json"});
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

  static inline ToolOutcome firstArchive_;
};

TEST_F(TerminalProgram, ArchivesOnceAndAccountsForEveryFile) {
  EXPECT_EQ(firstArchive_.exitStatus, 0) << firstArchive_.errorText;
  const auto first = nlohmann::json::parse(firstArchive_.output);
  EXPECT_EQ(first["archived"], 3);
  EXPECT_EQ(first["duplicates"], 1);
  EXPECT_EQ(first["ledger"]["met"], 5);
  EXPECT_EQ(first["ledger"]["dropped"], 1);
  EXPECT_THAT(output({"archive", home() + "/mail"}), HasSubstr("\nUnchanged: 4 files\n"));
  const auto again =
      nlohmann::json::parse(output({"archive", "--all", home() + "/mail", "--json"}));
  EXPECT_EQ(again["archived"], 0);
  EXPECT_EQ(again["duplicates"], 4);
  EXPECT_THAT(output({"logs", "ledger", "--only", "dropped"}), HasSubstr("notes.txt"));
  const std::string document = home_->write("a.pdf.bak", "%PDF-1.4");
  EXPECT_THAT(output({"archive", document}), HasSubstr("Not mail: 1 "));
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
  EXPECT_THAT(subjects({"search", "--words", "noon OR nowhere", "--and", "to=bob"}),
              ElementsAre("Lunch"));
  EXPECT_THAT(subjects({"search", "--within-last-list"}), ElementsAre("Lunch"));
  EXPECT_THAT(subjects({"search", "--words", "nowhere", "--with-tags"}), IsEmpty());
  EXPECT_THAT(subjects({"search", "--has-attachment", "--type", "documents"}),
              ElementsAre("Invoice 12"));
  const std::string name = "From \"Carl\" \\ bye";
  output({"search", "--and", "from=carl", "--save", name});
  EXPECT_THAT(subjects({"search", "--saved", name}), ElementsAre("Lunch"));
  output({"searches", "set-browse", name});
  for (int i = 0; i < 2; ++i) EXPECT_THAT(subjects({"browse"}), ElementsAre("Lunch"));
  output({"searches", "reset-browse"});
  EXPECT_THAT(subjects({"browse"}), ::testing::SizeIs(3));
}

TEST_F(TerminalProgram, FindsByTheWordIndexAndTellsWhatItCouldNotRead) {
  EXPECT_THAT(subjects({"find", "NOON"}), ElementsAre("Lunch"));
  EXPECT_THAT(subjects({"find", "to:bob -from:eve"}), ElementsAre("Lunch", "Invoice 12"));
  EXPECT_THAT(output({"find", "--count", "has:attachment"}), "1\n");
  const std::string shown = output({"find", "hello"});
  EXPECT_THAT(shown, HasSubstr("owned"));
  EXPECT_THAT(shown, Not(HasSubstr("\x1B")));
  EXPECT_THAT(output({"index", "failures"}), HasSubstr("bill"));
  EXPECT_THAT(output({"index", "rebuild"}), StartsWith("3 messages in the word index: 3 added"));
}

TEST_F(TerminalProgram, TellsOfOutputThatWasLost) {
  const auto redirected = [](const char* where) { return shell("$K search --json "s + where); };
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
      {{"-q"}, 2, "name a command"},
      {{"rules"}, 2, "wants one of its commands: list, show"},
      {{"frobnicate"}, 2, "no command \"frobnicate\""},
      {{"rules", "frobnicate"}, 2, "no command \"rules frobnicate\""},
      {{"serach"}, 2, "did you mean \"search\"?"},
      {{"help", "rules", "lst"}, 2, "did you mean \"rules list\"?"},
      {{"list", "--limt", "3"}, 2, "did you mean --limit?"},
      {{"list", "--limit"}, 2, "--limit wants a value"},
      {{"logs", "ledger", "--only", "opn"}, 2, "did you mean open?"},
      {{"connections", "add", "x", "--port", "70000"}, 2, "from 1 to 65535"},
      {{"duplicates", "--yes"}, 2, "--delete"},
      {{"search", "--and", "to=x", "--saved", "y"}, 2, "excludes"},
      {{"search", "--sql", "WHERE id<4", "--limit", "1"}, 2, "excludes"},
      {{"find", "a", "(b"}, 2, "not closed\na (b\n  ^"},
      {{"tag", "1"}, 2, "give at least one of --category"},
      {{"tag", "1", "--add", "a", "b"}, 2, "\"b\" is not the id"},
      {{"inspect", "/missing.eml"}, 1, "keldane: /missing.eml: No such"},
      {{"search", "--words", "noon (a"}, 2, "not closed, at \"(a\""},
      {{"search", "--and", "colour=red"}, 2, "unknown field \"colour\"; use from, to"},
      {{"search", "--since", "2002-02-30"}, 2, "\"2002-02-30\" is not a date"},
      {{"search", "--until", ""}, 2, "\"\" is not a date"},
      {{"browse", "--limit", "-1"}, 2, "neither a number nor none"},
      {{"stats", "--until", "2002-02-30"}, 2, "\"2002-02-30\" is not a date"},
      {{"search", "--limit", "few"}, 2, "neither a number nor none"},
      {{"search", "--sql", "WHERE nothing = 1"}, 1, "Unknown column"},
      {{"search", "--saved", "Missing"}, 1, "Missing"},
      {{"show", "99"}, 1, "99"},
      {{"tag", "99", "--category", "Tax"}, 1, "nothing is changed"},
      {{"archive", "missing.mbox"}, 1, "missing.mbox"},
      {{"list", "--connection", "Elsewhere"}, 1, "Elsewhere"},
      {{"sources", "choose", "nobody"}, 1, "there is no account \"nobody\""},
      {{"settings", "set", "attachSize", "much"}, 1, "attachSize"},
      {{"list", "--database", "typo"}, 1, "there is no database \"typo\" on this server"},
      {{"list", "--database", "my mail"}, 1, "cannot be the name of a database"},
      {{"connections", "add", "Tests"}, 1, "--replace"},
      {{"rules", "add", "--name", "x", "--category", "c"}, 1, "--when"},
      {{"rules", "add", "--name", "x", "--when", "from contains x"}, 1, "--category"},
      {{"rules", "add", "--name", " "}, 2, "name that is not empty"},
      {{"rules", "add", "--name", "12"}, 2, "taken for the number of a rule"},
      {{"rules", "edit", "x"}, 2, "give at least one of --name"},
      {{"rules", "add", "--when", "to contains a", "--when", "to contains b", "--when",
        "to contains c", "--when", "to contains d", "--when", "to contains e"},
       2,
       "--when may be given 4 times at most"},
  };
  for (const Case& each : cases) {
    const ToolOutcome outcome = run(each.arguments);
    const std::string what = ::testing::PrintToString(each.arguments);
    EXPECT_EQ(outcome.exitStatus, each.status) << what;
    EXPECT_THAT(outcome.errorText, HasSubstr(each.text)) << what;
    EXPECT_THAT(outcome.output, IsEmpty()) << what;
  }
}

TEST_F(TerminalProgram, StandardInputIsReadAsAFile) {
  const std::string other = TestServer::shared().freshDatabase("stdin");
  const std::string ledger = home() + "/stdin.ledger";
  const auto piped = [](const std::string& text, const std::string& command) {
    return shell("$K " + command + " < " + home_->write("piped", text));
  };
  const std::string mbox = std::string("From a\n") + kThird + "\nFrom b\n" + kInvoice + "\n";
  const std::string archive = "archive - --json --database " + other + " --ledger " + ledger;
  for (const auto& [text, archived] : {std::pair(std::string(kInvoice), 1), {mbox, 1}}) {
    const ToolOutcome outcome = piped(text, archive);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.errorText;
    EXPECT_EQ(nlohmann::json::parse(outcome.output)["archived"], archived);
    EXPECT_THAT(readFile(ledger).value(), HasSubstr("/Keldane/standard input."));
  }
  EXPECT_FALSE(fileExists(home() + "/Library/Application Support/Keldane/standard input.eml"));
  EXPECT_FALSE(fileExists(home() + "/Library/Application Support/Keldane/standard input.mbox"));
  EXPECT_EQ(piped("", archive).exitStatus, 1);
  EXPECT_EQ(
      values(piped(mbox, "inspect --json -").output, "file"),
      (std::vector<nlohmann::json>{"standard input, message 1", "standard input, message 2"}));
  EXPECT_EQ(values(piped(kThird, "inspect --json -").output, "subject").at(0), "Lunch");
}

TEST_F(TerminalProgram, IdsComeFromListsOfEveryFormat) {
  for (const char* format : {"table", "tsv", "json"}) {
    const std::string list = "$K search --and to=bob --format "s + format + " | $K ";
    EXPECT_EQ(shell(list + "tag - --category Piped").output, "3 messages tagged.\n") << format;
    EXPECT_EQ(values(shell(list + "show --json -").output, "subject").size(), 3U) << format;
    EXPECT_EQ(shell(list + "untag - 1").output, "Tags removed from 3 messages.\n") << format;
  }
  EXPECT_THAT(shell("echo 1 2 | $K attachments -").output,
              StartsWith("ID\tNO\tNAME\tTYPE\tSIZE\n1\t1\t"));
  EXPECT_THAT(output({"show", "1", "3"}), AllOf(StartsWith("ID: 1\n"), HasSubstr("\n\nID: 3\n")));
  const ToolOutcome wrong = shell("printf '1\nx\n' | $K tag - --category x");
  EXPECT_EQ(wrong.exitStatus, 2);
  EXPECT_THAT(wrong.errorText, HasSubstr("standard input, line 2: \"x\" is not the id"));
  EXPECT_EQ(shell(": | $K untag -").output, "Tags removed from 0 messages.\n");
}

TEST_F(TerminalProgram, TheDescriptionsMadeOfItAreSound) {
  struct Case {
    const char* what;
    Words check;  ///< a program that reads the file and finds fault with it, if this machine has it
    const char* holds;
  };
  const Case cases[] = {{"manual", {"groff", "-man", "-Tutf8", "-ww", "-z"}, "logs ledger"},
                        {"query-manual", {"groff", "-man", "-Tutf8", "-ww", "-z"}, "mailbox:"},
                        {"bash", {"bash", "-n"}, "'logs ledger:--only') offer -W 'archived"},
                        {"zsh", {"zsh", "-n"}, "'--only=[Only lines of this outcome]:archived"}};
  for (const Case& each : cases) {
    const std::string text = output({"--generate", each.what});
    EXPECT_THAT(text, HasSubstr(each.holds));
    const std::string file = home_->write(std::string("generated.") + each.what, text);
    ToolCall call{"/usr/bin/env", each.check, "", ""};
    call.arguments.push_back(file);
    const ToolOutcome outcome = ProcessToolRunner().run(call).value();
    constexpr int kNoSuchProgram = 127;
    if (outcome.exitStatus == kNoSuchProgram) continue;
    EXPECT_EQ(outcome.exitStatus, 0) << each.what;
    EXPECT_EQ(outcome.output + outcome.errorText, "") << each.what;
  }
}

TEST_F(TerminalProgram, BashOffersWhatMayStandThere) {
  const std::string script = home_->write("complete.bash", output({"--generate", "bash"}) + R"(
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _keldane; printf '%s ' "${COMPREPLY[@]}")");
  const std::pair<Words, const char*> cases[] = {
      {{"keldane", "sea"}, "search searches "},
      {{"keldane", "-q", "rules", "e"}, "edit enable "},
      {{"keldane", "logs", "ledger", "--only", "un"}, "unreadable unchanged "},
      {{"keldane", "list", "--li"}, "--limit "},
      {{"keldane", "list", "--format", "t"}, "table tsv "},
      {{"keldane", "list", "--database", "s"}, " "},
      {{"keldane", "help", "sho"}, "show "},
  };
  for (const auto& [line, offered] : cases) {
    ToolCall call{"/usr/bin/env", {"bash", script}, "", ""};
    call.arguments.insert(call.arguments.end(), line.begin(), line.end());
    EXPECT_EQ(ProcessToolRunner().run(call).value().output, offered)
        << ::testing::PrintToString(line);
  }
}

TEST_F(TerminalProgram, TellsWhatALimitHasCut) {
  EXPECT_EQ(run({"list", "--limit", "2"}).errorText,
            "keldane: the first 2 of 3; --limit none for all\n");
  EXPECT_THAT(run({"search", "--and", "to=bob", "--limit", "1"}).errorText, HasSubstr("1 of 3"));
  EXPECT_THAT(run({"browse", "--size", "--limit", "1"}).errorText, HasSubstr("1 of 3"));
  output({"list"});
  EXPECT_THAT(run({"search", "--within-last-list", "--limit", "2"}).errorText, HasSubstr("2 of 3"));
  for (const char* limit : {"3", "none"}) {
    EXPECT_EQ(run({"list", "--limit", limit}).errorText, "") << limit;
  }
}

TEST_F(TerminalProgram, WordsOfASearchStandForThemselves) {
  const std::string back = "a\\b";
  output({"tag", "1", "--category", "5%", "--keywords", "k_1 " + back, "--notes", back + "\"%"});
  const Words found[] = {{"--category", "5%"},
                         {"--keywords", "k_1"},
                         {"--keywords", back},
                         {"--notes", back + "\"%"},
                         {"--and", "subject=12"}};
  const Words missed[] = {{"--category", "%"},
                          {"--keywords", "k%1"},
                          {"--keywords", "__1"},
                          {"--notes", "\\%\""},
                          {"--and", "subject=1_"},
                          {"--entire-message", "%"},
                          {"--keywords", "\" OR 1=1 -- "}};
  for (const auto& [list, count] : {std::pair(std::begin(found), std::size(found)),
                                    std::pair(std::begin(missed), std::size(missed))}) {
    for (std::size_t i = 0; i < count; ++i) {
      Words words = {"search"};
      words.insert(words.end(), list[i].begin(), list[i].end());
      EXPECT_EQ(subjects(words).size(), list == std::begin(found) ? 1U : 0U)
          << ::testing::PrintToString(words);
    }
  }
  output({"untag", "1"});
}

TEST_F(TerminalProgram, DatesOfDataAreThoseOfTheStandardWhateverTheSettings) {
  output({"settings", "set", "dateFormat", "day-first"});
  EXPECT_THAT(output({"list"}), HasSubstr("02-01-2023 03:04:05"));
  EXPECT_THAT(values(output({"list", "--json"}), "date"),
              ::testing::Contains("2023-01-02T03:04:05"));
  EXPECT_THAT(output({"list", "--format", "tsv"}), HasSubstr("\t2023-01-02T03:04:05\t"));
  EXPECT_THAT(output({"show", "1", "--json"}), HasSubstr("\"2023-01-02T03:04:05\""));
  output({"settings", "set", "dateFormat", "year-first"});
}

TEST_F(TerminalProgram, SaysWhatThereIsAndHowToBegin) {
  EXPECT_THAT(output({}), AllOf(HasSubstr("search"), HasSubstr("keldane list"),
                                Not(HasSubstr("There is no archive yet"))));
  const TemporaryFolder empty;
  const auto begin =
      ProcessToolRunner().run({"/usr/bin/env", {"HOME=" + empty.path(), KELDANE_PROGRAM}, "", ""});
  ASSERT_TRUE(begin);
  EXPECT_THAT(begin->output, HasSubstr("There is no archive yet. `keldane archive FOLDER`"));
}

TEST_F(TerminalProgram, ShowsAMessageInEachOfItsForms) {
  EXPECT_THAT(output({"show", "1"}), AllOf(StartsWith("ID: 1\nDATE: 2023-01-02 03:04:05\n"),
                                           HasSubstr("Dear Bob,\n\nPlease pay")));
  EXPECT_EQ(output({"show", "1", "--source"}), kInvoice);
  EXPECT_EQ(output({"show", "1", "--raw"}), kInvoice);
  EXPECT_THAT(output({"show", "1", "--headers"}),
              AllOf(HasSubstr("Subject: Invoice 12"), Not(HasSubstr("Please pay"))));
  const std::string id =
      values(output({"search", "--and", "from=eve", "--json"}), "id").at(0).dump();
  EXPECT_THAT(output({"show", id, "--html"}),
              AllOf(StartsWith("<meta charset=\"utf-8\">"), HasSubstr("&lt;script&gt;"),
                    Not(HasSubstr("<script>")), HasSubstr("<b>you")));
}

TEST_F(TerminalProgram, ExportsTheMessagesThatAreNamed) {
  output({"export", "eml", home() + "/eml", "1", "2", "--require-exact"});
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(home() + "/eml")) {
    files += entry.path().extension() == ".eml" ? 1 : 0;
  }
  EXPECT_EQ(files, 2U);
  const auto lines = [](const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_EQ(lines(output({"export", "json", "-"})), 3);
  output({"list", "--limit", "1"});
  EXPECT_EQ(lines(output({"export", "json", "-", "--last-list"})), 1);
  EXPECT_EQ(run({"export", "json", "-", "1", "--last-list"}).exitStatus, 2);
  EXPECT_EQ(run({"export", "json", "-", "1", "999"}).exitStatus, 1);
}

TEST_F(TerminalProgram, ABackupComesBackAsAnotherArchive) {
  const std::string file = home() + "/b.sql.zst";
  const std::string into = TestServer::shared().freshDatabase("restored");
  EXPECT_THAT(output({"backup", file}), HasSubstr("is backed up: 3 messages in 11 tables."));
  EXPECT_EQ(run({"restore", file, "--into", into}).exitStatus, 2) << "nobody can be asked";
  EXPECT_THAT(output({"restore", file, "--dry-run"}), HasSubstr("is whole: 3 messages"));
  EXPECT_THAT(output({"restore", file, "--into", into, "--yes"}), HasSubstr("3 messages in 11"));
  EXPECT_EQ(output({"list", "--json", "--database", into}), output({"list", "--json"}));
  EXPECT_THAT(run({"restore", file, "--yes"}).errorText, HasSubstr("is not empty"));
  const std::string before = *readFile(file);
  home_->write("b.sql.zst", before.substr(0, before.size() / 2));
  for (const Words& refused :
       {Words{"backup", file, "--check"}, {"restore", file, "--into", into + "2", "--yes"}}) {
    EXPECT_THAT(run(refused).errorText, HasSubstr("the file is cut off"));
  }
  EXPECT_THAT(output({"connections", "list"}), Not(HasSubstr(into + "2")));
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
    EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(*readFile(entry.path()), std::string("\0\1\2\3", 4));
  }
  EXPECT_EQ(files, 2U);
}

TEST_F(TerminalProgram, EachPartOfAMessageIsListedAndTakenOut) {
  EXPECT_THAT(values(output({"parts", "1", "--json"}), "use"),
              ElementsAre("container", "body", "attachment"));
  const std::string path = home() + "/part";
  output({"parts", "1", "--save", path, "3"});
  EXPECT_EQ(*readFile(path), std::string("\0\1\2\3", 4));
  EXPECT_EQ(output({"parts", "1", "--save", "-", "3"}), std::string("\0\1\2\3", 4));
  struct Refusal {
    Words arguments;
    const char* error;
    int status;
  };
  const Refusal refusals[] = {
      {{"parts", "1", "--save", path, "3"}, "File exists", 1},
      {{"parts", "1", "--save", path + "2", "1"}, "only holds the parts below it", 1},
      {{"parts", "1", "--save", path + "2", "4"}, "none of the number 4", 1},
      {{"parts", "1", "--save", path}, "the number of a part", 2}};
  for (const Refusal& refusal : refusals) {
    const ToolOutcome outcome = run(refusal.arguments);
    EXPECT_EQ(outcome.exitStatus, refusal.status) << refusal.error;
    EXPECT_THAT(outcome.errorText, HasSubstr(refusal.error));
  }
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

TEST_F(TerminalProgram, TagsAreGivenReadChangedAndTakenAway) {
  const auto tags = [] { return nlohmann::json::parse(output({"show", "1", "--json"}))["tags"]; };
  EXPECT_TRUE(tags().is_null());
  output({"tag", "1", "--category", "Tax", "--keywords", "paid late", "--priority", "high"});
  EXPECT_THAT(subjects({"search", "--category", "Tax", "--priority", "high"}),
              ElementsAre("Invoice 12"));
  output({"tag", "1", "--add", "new", "--remove", "Late", "--notes", "x"});
  EXPECT_EQ(tags().dump(), nlohmann::ordered_json({{"category", "Tax"},
                                                   {"keywords", {"new", "paid"}},
                                                   {"notes", "x"},
                                                   {"priority", "high"}})
                               .dump());
  EXPECT_THAT(output({"show", "1"}), HasSubstr("\nCATEGORY: Tax\nKEYWORDS: new paid\n"));
  EXPECT_EQ(run({"tag", "1", "2", "--add", std::string(120, 'k')}).exitStatus, 1);
  EXPECT_EQ(run({"tag", "1", "99", "--category", "Other"}).exitStatus, 1);
  EXPECT_EQ(tags()["category"], "Tax") << "all or nothing";
  EXPECT_THAT(subjects({"search", "--with-tags"}), ElementsAre("Invoice 12"));
  output({"tag", "1", "--replace", "--notes", "y"});
  EXPECT_EQ(tags()["category"], "");
  EXPECT_EQ(output({"untag", "1", "2"}), "Tags removed from 1 message.\n");
  EXPECT_THAT(subjects({"search", "--with-tags"}), IsEmpty());
}

TEST_F(TerminalProgram, RulesAreAppliedToWhatIsStoredAndTouchNoTagThatIsThere) {
  const auto tags = [](const char* id) {
    return nlohmann::json::parse(output({"show", id, "--json"}))["tags"];
  };
  EXPECT_EQ(run({"rules", "apply"}).exitStatus, 1) << "there are none";
  output({"rules", "add", "--name", "A", "--when", "subject contains INVOICE", "--category",
          "Garden", "--keywords", "paid Green", "--notes", "by rule", "--priority", "low"});
  output({"rules", "add", "--name", "B", "--when", "body contains noon", "--exclude"});
  output({"tag", "1", "--category", "Tax", "--keywords", "green"});
  EXPECT_EQ(output({"rules", "apply", "--dry-run"}),
            "ID\tSUBJECT\tGETS\n"
            "1\tInvoice 12\tnotes \"by rule\", priority Low, keyword \"paid\"\n"
            "1 of 3 messages would be tagged.\n"
            "1 stored message would be kept out by a rule today, and stays as it is.\n");
  EXPECT_EQ(tags("1")["priority"], "none");
  EXPECT_THAT(output({"rules", "apply"}), StartsWith("1 of 3 messages tagged.\n"));
  EXPECT_EQ(tags("1").dump(), nlohmann::json({{"category", "Tax"},
                                              {"keywords", {"green", "paid"}},
                                              {"notes", "by rule"},
                                              {"priority", "low"}})
                                  .dump());
  EXPECT_THAT(output({"rules", "apply"}), StartsWith("0 of 3 messages tagged.\n"));
  EXPECT_TRUE(tags("3").is_null());
  output({"rules", "remove", "A", "B"});
  output({"untag", "1"});
}

/// By the library that it loads only now.
TEST_F(TerminalProgram, UnpacksWhatItIsGivenPacked) {
  home_->write("packed/open.zip", pack("zip", {}, {{"a.eml", kInvoice}, {"b.eml", kThird}}));
  home_->write("packed/open.gz", pack("raw", {"gzip"}, {{"c", kHostile}}));
  home_->write("packed/locked.zip", pack("zip", {}, {{"d.eml", kThird}}, "secret"));
  const ToolOutcome told =
      run({"archive", "--dry-run", "--list", "--database", "not_there", home() + "/packed"});
  EXPECT_EQ(told.exitStatus, 1) << "one has a password";
  EXPECT_THAT(told.output, AllOf(HasSubstr("Would be archived: 3\n"), HasSubstr("locked.zip")));
}

TEST_F(TerminalProgram, TellsWhatRulesAndARunWouldDoToMessagesOfFiles) {
  const std::string preferences = home() + "/Library/Preferences/com.varnwick.KeldanePro.plist";
  output({"rules", "add", "--name", "A", "--when", "subject contains INVOICE", "--category",
          "Garden", "--keywords", "paid"});
  output({"rules", "add", "--name", "B", "--when", "body contains noon", "--exclude"});
  const std::string kept = readFile(preferences).value();
  const std::string mail = home() + "/mail/";
  EXPECT_EQ(
      output({"rules", "test", mail + "1.eml", mail + "2.eml", mail + "3.eml", mail + "notes.txt"}),
      mail + "1.eml: Invoice 12\n  rule \"A\"\n  CATEGORY: Garden\n  KEYWORDS: paid\n" + mail +
          "2.eml: " +
          printable("\x1B]0;owned\x07\xC2\x9B"
                    "2J<script>") +
          "\n  no rule fires\n" + mail + "3.eml: Lunch\n  rule \"B\"\n  would be kept out\n" +
          mail + "notes.txt, byte 0\n  dropped: not a mail message (no sender, no date)\n");
  EXPECT_THAT(output({"archive", "--dry-run", "--all", mail + "1.eml", mail + "3.eml"}),
              AllOf(StartsWith("duplicate  " + mail +
                               "1.eml: Invoice 12 (of message 1)\n"
                               "excluded   " +
                               mail + "3.eml: Lunch (by rule \"B\")\n"),
                    HasSubstr("\nWould be archived: 0\nDuplicates: 1\n"
                              "Would be kept out by rules: 1\nNothing has been written.\n")));
  EXPECT_THAT(output({"archive", "--dry-run", "--database", "not_there", mail + "1.eml"}),
              HasSubstr("Would be archived: 1\n"));
  EXPECT_EQ(run({"list", "--database", "not_there"}).exitStatus, 1) << "a dry run has made it";
  EXPECT_EQ(readFile(preferences).value(), kept);
  output({"rules", "remove", "A", "B"});
}

TEST_F(TerminalProgram, DeletesDuplicatesOnlyWhenItIsTold) {
  const std::unique_ptr<ServerSession> session = TestServer::shared().connect();
  const std::string columns =
      "date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,numAttach,attachNames,attachText,"
      "headings";
  for (const std::string& sql :
       {"USE " + database_,
        "INSERT INTO email (" + columns + ") SELECT " + columns + " FROM email WHERE id=3",
        std::string("INSERT INTO origemail SELECT LAST_INSERT_ID(),orig_fld FROM origemail "
                    "WHERE id=3")}) {
    ASSERT_TRUE(session->query(sql)) << session->error();
  }
  const auto stored = [] { return subjects({"search", "--and", "subject=Lunch"}).size(); };
  EXPECT_EQ(run({"duplicates", "--delete"}).exitStatus, 2) << "nobody can be asked";
  EXPECT_THAT(output({"duplicates", "--delete", "--dry-run"}),
              HasSubstr("1 duplicate would be deleted."));
  EXPECT_THAT(values(output({"duplicates", "--json"}), "copy_of"),
              ElementsAre(nlohmann::json(), 3));
  EXPECT_EQ(stored(), 2U);
  EXPECT_EQ(output({"duplicates", "--delete", "--yes"}), "1 duplicate deleted.\n");
  EXPECT_EQ(stored(), 1U);
}

TEST_F(TerminalProgram, KeepsFoldersAsSources) {
  EXPECT_THAT(output({"sources", "list"}), HasSubstr("No accounts found below " + home()));
  home_->write("kept/Invoices/1.eml", kInvoice);
  EXPECT_EQ(output({"sources", "add", "kept/Invoices", "--name", "Bills"}),
            "Added Bills: " + home() + "/kept/Invoices\n");
  const ToolOutcome twice = run({"sources", "add", home() + "/kept/Invoices/"});
  EXPECT_EQ(twice.exitStatus, 1);
  EXPECT_THAT(twice.errorText, HasSubstr("is kept already, as \"Bills\""));
  EXPECT_EQ(run({"sources", "add"}).exitStatus, 2);
  EXPECT_THAT(run({"sources", "add", "--found", "999"}).errorText, HasSubstr("so there is no 999"));
  EXPECT_THAT(output({"sources", "list"}), HasSubstr("*\tBills\t" + home() + "/kept/Invoices\n"));
  // Whatever the newest day stored is.
  EXPECT_THAT(output({"archive"}), HasSubstr("Duplicates: 1\n"));
  std::filesystem::rename(home() + "/kept", home() + "/away");
  const ToolOutcome unplugged = run({"archive", "--dry-run"});
  EXPECT_EQ(unplugged.exitStatus, 0);
  EXPECT_THAT(unplugged.errorText, HasSubstr("the source \"Bills\" is not there at the moment"));
  EXPECT_EQ(values(output({"sources", "list", "--json"}), "found"),
            std::vector<nlohmann::json>{false});
  EXPECT_EQ(output({"sources", "remove", home() + "/kept/Invoices"}),
            "Removed Bills: " + home() + "/kept/Invoices\n");
  EXPECT_EQ(run({"sources", "remove", "Bills"}).exitStatus, 1);
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
  EXPECT_THAT(onTerminal({"list", "--no-pager"}, 60, "cat > " + paged), HasSubstr("Invoice"));
  for (const auto& [color, bold] : {std::pair("auto", true), {"always", true}, {"never", false}}) {
    const std::string text = onTerminal({"--color", color, "list"}, 60, "");
    EXPECT_EQ(text.find("\x1B[1m") != std::string::npos, bold) << color;
  }
  EXPECT_THAT(output({"list", "--color=always"}), StartsWith("\x1B[1mID"));
}

}  // namespace
}  // namespace keldane
