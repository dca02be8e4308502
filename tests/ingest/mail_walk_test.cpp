#include "ingest/sources/mail_walk.h"

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/ingest/reader_bench.h"

namespace keldane {
namespace {

std::string mail(const std::string& body) {
  return "From: Ann <ann@example.com>\nDate: Mon, 15 Jan 2024 10:20:30 +0000\n\n" + body;
}

class MailWalkTest : public testing::Test, public ReaderBench {
 protected:
  bool walk() {
    std::optional<LeftInFolder> told;
    const bool isWhole = MailWalk({.process = process,
                                   .plan = plan,
                                   .reader = reader,
                                   .ledger = ledger,
                                   .watch = watch,
                                   .session = session,
                                   .environment = environment,
                                   .progress = progress,
                                   .storeLog = log})
                             .getEmailPaths(told);
    left = told.value_or(LeftInFolder());
    return isWhole;
  }

  void import(const std::string& name) {
    plan.importMode = true;
    plan.selection = {folder / name};
  }
  /// The import folder is read and to be emptied; the archive has the row of every message.
  void importFolder() {
    import("import");
    plan.deleteImportFiles = true;
    process.homePath = folder.write("home/keep", "");
    process.homePath = folder / "home";
    plan.settings.importFolderPath = folder / "import";
    session.answerOn("*JOIN origemail*", {{"1"}});
  }
  /// Names of what lies at the top of the import folder.
  std::vector<std::string> remaining() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "import")) {
      names.push_back(entry.path().filename());
    }
    return names;
  }
  std::vector<std::string> leftLines() const {
    std::vector<std::string> lines;
    for (const LeftInFolder::Entry& entry : left.entries) {
      lines.push_back(entry.name + ": " + entry.reason);
    }
    return lines;
  }

  RunWatch watch{session, ledger, progress};
  LeftInFolder left;
  std::vector<std::string> firstPaths;
};

TEST_F(MailWalkTest, ReadsTheChosenAccountsOfTheNewestStore) {
  process.hasMailV[0] = process.hasMailV[7] = true;
  plan.selection = {"12", "gone"};
  folder.write("Library/Mail/V10/12/INBOX.mbox/Data/Messages/1.emlx", mail("x\n"));
  folder.write("Library/Mail/V10/12/Archive.mbox/2.emlx", mail("x\n"));
  folder.write("Library/Mail/V10/12/INBOX.mbox/Info.plist", "x");
  folder.write("Library/Mail/V10/34/INBOX.mbox/3.emlx", mail("x\n"));
  folder.write("Library/Mail/V3/12/INBOX.mbox/4.emlx", mail("x\n"));
  walk();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].msgMailbox, "V10/12/INBOX");
  EXPECT_EQ(ledger.sums().met, 1);
  EXPECT_EQ(ledger.sums().notMail, 2);
}

TEST_F(MailWalkTest, ReadsTheChosenMailboxes) {
  process.hasMailV[7] = true;
  plan.settings.mailboxesState = 1;
  plan.selection = {"V10/12/Archive.mbox"};
  folder.write("Library/Mail/V10/12/Archive.mbox/1.emlx", mail("x\n"));
  walk();
  EXPECT_EQ(stored.size(), 1U);
}

TEST_F(MailWalkTest, AKeptFolderIsReadUnderTheMailboxesThatItsUserKnows) {
  const std::string separator = "From ann@example.com Mon Jan 15 10:20:30 2024\n";
  const std::string inbox = separator + "X-Mozilla-Status: 0009\n" + mail("x\n") + "\n" +
                            separator + "X-Mozilla-Status: 0001\n" + mail("y\n");
  folder.write("tb/prefs.js", "");
  folder.write("tb/key4.db", "not looked at");
  folder.write("tb/Mail/Local Folders/2004.sbd/Inbox", inbox);
  folder.write("tb/Mail/Local Folders/2004.sbd/Inbox.msf", "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n");
  folder.write("mh/in/17", mail("text\n\n" + separator + mail("of a message within\n")));
  folder.write("mh/in/.mh_sequences", "unseen: 17\n");
  folder.write("mh/in/notes.txt", "Nothing of a message.\n");
  folder.write("mh/attachments.sbd/Attachments/cur/1.x:2,S", mail("x\n"));
  folder.write("mh/attachments.sbd/Attachments/cur/2.x:2,ST", mail("x\n"));
  folder.write("mh/attachments.sbd/Attachments/new/3.x", mail("x\n"));
  folder.write("mh/attachments.sbd/Attachments/tmp/4.x", "From: ");
  plan.importMode = true;
  plan.leavesOutDeleted = true;
  plan.folders = {{"Old mail", folder / "tb"}, {"Mail", folder / "mh/"}};
  EXPECT_TRUE(walk());
  std::vector<std::string> mailboxes;
  for (const CurrentMessage& one : stored) mailboxes.push_back(one.msgMailbox);
  EXPECT_EQ(mailboxes, (std::vector<std::string>{"Old mail/Local Folders/2004/Inbox",
                                                 "Mail/attachments/Attachments",
                                                 "Mail/attachments/Attachments", "Mail/in"}));
  EXPECT_EQ(ledger.sums().markedDeleted, 2);
  EXPECT_EQ(ledger.sums().met, 6);
  EXPECT_THAT(ledgerLines(),
              testing::IsSupersetOf(
                  {"not-mail index of a mail program - tb/Mail/Local Folders/2004.sbd/Inbox.msf",
                   "not-mail sequences of an MH folder - mh/in/.mh_sequences",
                   "not-mail no mail by its beginning - mh/in/notes.txt",
                   "not-mail still being delivered - mh/attachments.sbd/Attachments/tmp/4.x"}));
}

TEST_F(MailWalkTest, RemovesOfTheImportFolderOnlyWhatIsInTheArchive) {
  importFolder();
  const std::string outside = folder.write("outside/1.eml", mail("x\n"));
  folder.write("import/box", "From a\n" + mail("x\n") + "\nFrom b\n" + mail("y\n"));
  folder.write("import/sub/deep/1.eml", mail("x\n"));
  std::filesystem::create_directories(folder / "import/empty");
  std::filesystem::create_symlink(outside, folder / "import/link.eml");
  folder.write("import/old.eml", "From: a@b.c\nDate: Mon, 15 Jan 1990 10:20:30 +0000\n\nx\n");
  folder.write("import/half.eml", mail("later"));
  folder.write("import/mixed/1.eml", mail("x\n"));
  folder.write("import/mixed/.hidden", "x");
  folder.write("import/notes.zip", "PK");
  std::filesystem::create_directory_symlink(folder / "outside", folder / "import/linked");
  onStore = [this](const CurrentMessage& now) {
    if (now.msgBody.starts_with("later")) folder.write("import/half.eml", mail("later on"));
    folder.write("import/sub/late.eml", mail("x\n"));
    folder.write("import/late.eml", mail("x\n"));
  };
  EXPECT_TRUE(walk());
  EXPECT_THAT(
      leftLines(),
      testing::ElementsAre("half.eml: changed during the run", "late.eml: came during the run",
                           "linked: a link: is a folder", "mixed: hidden file",
                           testing::HasSubstr("notes.zip: "),
                           testing::HasSubstr("old.eml: dropped: "), "sub: came during the run"));
  EXPECT_EQ(left.count, 7U);
  EXPECT_EQ(remaining().size(), 7U);
  EXPECT_TRUE(std::filesystem::exists(folder / "import/mixed/1.eml"));
  EXPECT_TRUE(std::filesystem::exists(folder / "import/sub/deep/1.eml"));
  EXPECT_TRUE(std::filesystem::exists(outside));
}

TEST_F(MailWalkTest, RemovesNothingThatTheArchiveDoesNotVouchFor) {
  struct Case {
    const char* name;
    std::function<void()> prepare;
    const char* reason;
  };
  const Case cases[] = {
      {"row gone", [this] { session.answerOn("*JOIN origemail*", {}); }, "were not found"},
      {"server gone",
       [this] { session.failOn("*JOIN origemail*", "MySQL server has gone away", -1, 2006); },
       "could not be asked"},
      {"home folder", [this] { process.homePath = folder / "import"; }, "home folder"},
      {"home folder behind a link",
       [this] {
         std::filesystem::create_directory_symlink(folder.path(), folder / "import/up");
         process.homePath = folder / "import/up/import/deep";
       },
       "home folder"},
  };
  for (const Case& row : cases) {
    importFolder();
    folder.write("import/1.eml", mail("x\n"));
    std::filesystem::create_directories(folder / "import/deep");
    row.prepare();
    EXPECT_TRUE(walk()) << row.name;
    EXPECT_TRUE(std::filesystem::exists(folder / "import/1.eml")) << row.name;
    EXPECT_THAT(left.reason + testing::PrintToString(leftLines()), testing::HasSubstr(row.reason))
        << row.name;
  }
}

TEST_F(MailWalkTest, FollowsALinkedFolderOnce) {
  import("tree");
  folder.write("tree/b/1.eml", mail("x\n"));
  folder.write("other/2.eml", mail("x\n"));
  std::filesystem::create_directory_symlink(folder / "tree", folder / "tree/b/up");
  std::filesystem::create_directory_symlink(folder / "tree/b", folder / "tree/a");
  std::filesystem::create_directory_symlink(folder / "other", folder / "tree/c");
  std::filesystem::create_directory_symlink(folder / "other", folder / "tree/d");
  std::filesystem::create_symlink(folder / "nowhere", folder / "tree/gone.eml");
  EXPECT_TRUE(walk());
  std::vector<std::string> read;
  for (const CurrentMessage& each : stored) read.push_back(each.currentPath);
  EXPECT_THAT(read, testing::ElementsAre(folder / "tree/b/1.eml", folder / "tree/c/2.eml"));
  EXPECT_EQ(ledger.sums().unreadable, 1);
}

TEST_F(MailWalkTest, WhatHasJustBeenWrittenComesLast) {
  import("import");
  for (const char* name : {"a", "b", "c"}) {
    folder.write(std::string("import/") + name + ".eml", mail("x\n"));
  }
  const auto written = stateOf(folder / "import/a.eml").value().modifiedSeconds;
  environment.seconds = written + 60;
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "import/a.eml").c_str(),
                        std::array<timespec, 2>{{{written + 58, 0}, {written + 58, 0}}}.data(), 0),
            0);
  onStore = [this](const CurrentMessage& now) {
    firstPaths.push_back(now.currentPath);
    environment.seconds += 10;
  };
  EXPECT_TRUE(walk());
  EXPECT_THAT(firstPaths,
              testing::ElementsAre(testing::EndsWith("b.eml"), testing::EndsWith("c.eml"),
                                   testing::EndsWith("a.eml")));
}

TEST_F(MailWalkTest, EndsAtAFailureThatWouldRepeatItself) {
  struct Case {
    unsigned number;
    const char* text;
    bool stops;
    bool isLost;
  };
  const Case cases[] = {
      {1114, "The table 'email' is full", true, false},
      {1030, "Got error 28 from storage engine", true, false},
      {1030, "Got error 122 from storage engine", false, false},
      {1836, "Running in read-only mode", true, false},
      {2013, "Lost connection to MySQL server during query", true, true},
      {1153, "Got a packet bigger than 'max_allowed_packet' bytes", false, false},
      {1064, "You have an error near 'errno: 28'", false, false},
  };
  for (const Case& row : cases) {
    const auto stop = lastingFailure(row.number, row.text, "");
    EXPECT_EQ(stop.has_value(), row.stops) << row.text;
    EXPECT_EQ(stop && stop->serverLost, row.isLost) << row.text;
  }
  // The end of a prepared statement has cleared what the session knew.
  EXPECT_TRUE(lastingFailure(0, "", "The table 'email' is full"));
  EXPECT_TRUE(lastingFailure(0, "", "row 406: The table 'origemail' is full"));
  EXPECT_FALSE(lastingFailure(0, "", "row 406: Data too long near 'The table 'x' is full'"));
}

TEST_F(MailWalkTest, ACancelledWalkStopsBeforeTheNextFileAndRemovesNothing) {
  importFolder();
  folder.write("import/1.eml", mail("x\n"));
  folder.write("import/2.eml", mail("x\n"));
  onStore = [this](const CurrentMessage&) { process.cancelFlag = 1; };
  EXPECT_FALSE(walk());
  EXPECT_EQ(stored.size(), 1U);
  EXPECT_EQ(process.cancelFlag, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "import/1.eml"));
}

}  // namespace
}  // namespace keldane
