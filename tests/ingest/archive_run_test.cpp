#include "ingest/archive_run.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/files.h"
#include "ingest/ledger/ledger_file.h"
#include "ingest/ledger/ledger_view.h"
#include "platform/local_main_queue.h"
#include "settings/preferences_file.h"
#include "tests/ingest/server_database.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::string mail(int number) {
  const std::string n = std::to_string(number);
  return "From: ann" + n + "@example.org\nTo: bob@example.org\nSubject: message " + n +
         "\nDate: Mon, 2 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\nContent-Type: text/plain\n\n" +
         "The body of message " + n + "\n";
}

class ArchiveRunTest : public ::testing::Test {
 protected:
  ArchiveRunTest()
      : archiveDatabase(*server.session, quiet, process),
        prefs(folder / "prefs.plist"),
        connections(*server.session, archiveDatabase, prefs, quiet, process),
        settings(*server.session, archiveDatabase, prefs, ui, process),
        progress(ui, queue) {
    process.homePath = folder / "home";
    process.workFolder = folder / "work";
    std::filesystem::create_directories(folder / "home/Desktop");
    std::filesystem::create_directories(folder / "work");
    archiveDatabase.dbPath = server.name;
    makeRun();
  }

  void selectInboxAndImportFolder() {
    settings.archive.importFolderState = 1;
    settings.archive.importFolderPath = folder / "import";
    settings.archive.deleteFolderState = 1;
    settings.archive.postbox = 1;
    settings.selectedAccounts = {folder / "INBOX"};
  }

  void makeRun() {
    ArchiveRun::Callbacks callbacks;
    callbacks.retrieve = [this](const std::string& sql) { shown = sql; };
    callbacks.terminate = [this] { ++terminated; };
    callbacks.getMailboxNames = [] {};
    callbacks.loadAccountRows = [] {};
    callbacks.tell = [this](const Faults& faults) { append(told, faults); };
    callbacks.reconnect = [] { return false; };
    run = std::make_unique<ArchiveRun>(
        ArchiveRun::Context{*server.session, process, archiveDatabase, connections, settings,
                            sources, rules, progress, ui, queue, environment, host},
        callbacks);
  }
  void importFrom(const std::string& path) {
    sources.acctRows = {{true, path}};
    sources.importMode = true;
  }
  void writeMail(const std::string& where, int count) {
    for (int i = 1; i <= count; ++i) {
      folder.write(where + "/" + std::to_string(i) + ".eml", mail(i));
    }
  }
  void waitForEnd() {
    queue.runUntil([this] { return !run->isRunning(); }, std::chrono::milliseconds(1));
  }
  void runImport(const std::string& where) {
    importFrom(folder / where);
    run->parseEmail();
    ASSERT_TRUE(run->isRunning()) << ::testing::PrintToString(ui.alertLines());
    waitForEnd();
  }
  [[nodiscard]] std::string support(const std::string& name) const {
    return folder.read("home/Library/Application Support/Keldane/" + name);
  }
  [[nodiscard]] std::string storeLog() const {
    return folder.read("work/" + server.name + ".storelog");
  }
  [[nodiscard]] std::string count(const std::string& table) const {
    return server.cells("SELECT COUNT(*) FROM " + table);
  }

  const TemporaryFolder folder;
  ServerDatabase server;
  RecordingUserInterface ui;
  ProcessState process;
  LocalMainQueue queue;
  FakeEnvironment environment;
  RecordingHostServices host;
  Progress quiet;
  ArchiveDatabase archiveDatabase;
  PreferencesFile prefs;
  Connections connections;
  Settings settings;
  SourceSelection sources;
  std::vector<TagRule> rules;
  ProgressPanel progress;
  Faults told;
  std::string shown;
  int terminated = 0;
  std::unique_ptr<ArchiveRun> run;
};

TEST_F(ArchiveRunTest, ReportsWhatItHasDone) {
  writeMail("mail", 3);
  folder.write("mail/notes.plist", "no mail");
  runImport("mail");
  EXPECT_EQ(count("email"), "3");
  EXPECT_EQ(count("origemail"), "3");
  const std::string summary = "Processed: 3\nArchived: 3\nDuplicates: 0\n";
  EXPECT_EQ(run->lastSummary(), summary);
  EXPECT_EQ(storeLog(), summary);
  EXPECT_THAT(host.calls, Contains("notify [Done Archiving Email] " + summary));
  EXPECT_THAT(ui.alertLines(), Contains(HasSubstr("[Archive Log] Done Archiving Email")));
  EXPECT_THAT(shown, StartsWith("SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach "
                                "FROM email WHERE id>=1 AND id<=3 ORDER BY"));
  EXPECT_THAT(support("Keldane.log"),
              HasSubstr("    Processed: 3    Archived: 3    Duplicates: 0\n"));
  EXPECT_EQ(run->lastSums().met, 3);
  EXPECT_EQ(run->lastSums().archived, 3);
  EXPECT_EQ(run->lastSums().notMail, 1);
  EXPECT_EQ(run->lostServerError(), "");
  EXPECT_EQ(process.storeLogPath, "");
  EXPECT_FALSE(sources.importMode);

  ui.alertAnswers = {kSecondButton};
  runImport("mail");
  EXPECT_EQ(run->lastSummary(), "Processed: 3\nArchived: 0\nDuplicates: 3\n");
  EXPECT_EQ(storeLog(), summary + run->lastSummary());
  EXPECT_THAT(ui.lines("text"), Contains(HasSubstr("Duplicates: 3")));
  EXPECT_THAT(shown, HasSubstr("id>=9999999 AND id<=0"));
  EXPECT_THAT(support("Duplicates.log"), HasSubstr("ann2@example.org to bob@example.org"));
  EXPECT_EQ(run->lastSums().duplicates, 3);
  EXPECT_EQ(run->counters().processedCount, 0);
}

TEST_F(ArchiveRunTest, ImportFolderIsASecondPassOfTheSameRun) {
  writeMail("INBOX", 2);
  writeMail("import", 3);
  selectInboxAndImportFolder();
  run->parseEmail();
  ASSERT_TRUE(run->isRunning());
  run->parseEmail();  // a second start is none
  waitForEnd();
  EXPECT_EQ(count("email"), "3");
  EXPECT_EQ(run->lastSums().met,
            run->lastSums().archived + run->lastSums().duplicates + run->lastSums().dropped);
  EXPECT_EQ(ui.alertLines().size(), 1U);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "import"));
  EXPECT_FALSE(sources.deleteImportFiles);
  EXPECT_FALSE(sources.importMode);
}

TEST_F(ArchiveRunTest, ASecondPassThatCannotBeginStillEndsTheRun) {
  writeMail("INBOX", 2);
  writeMail("import", 3);
  selectInboxAndImportFolder();
  run->parseEmail();
  ASSERT_TRUE(run->isRunning());
  // The user cancels when the last file of the first pass has been read.
  queue.runUntil(
      [this] {
        if (run->counters().processedCount == 2) process.cancelFlag = 1;
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  EXPECT_THAT(storeLog(), HasSubstr("Processed: "));
  EXPECT_FALSE(run->isRunning());
  EXPECT_FALSE(sources.deleteImportFiles);
  EXPECT_EQ(process.storeLogPath, "");
}

TEST_F(ArchiveRunTest, ACancelledImportFolderKeepsItsFilesInTheNextRunToo) {
  writeMail("INBOX", 1);
  writeMail("import", 200);
  selectInboxAndImportFolder();
  run->parseEmail();
  queue.runUntil(
      [this] {
        if (sources.importMode) run->cancelParse();
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  settings.archive.importFolderState = 0;
  run->parseEmail();
  waitForEnd();
  EXPECT_FALSE(std::filesystem::is_empty(folder / "import"));
}

TEST_F(ArchiveRunTest, DoesNotStartWithoutASelection) {
  struct Case {
    int mailboxesState;
    const char* title;
  };
  for (const Case& row : {Case{1, "No mailboxes selected"}, Case{0, "No accounts selected"}}) {
    ui.alerts.clear();
    settings.archive.mailboxesState = row.mailboxesState;
    run->parseEmail();
    EXPECT_FALSE(run->isRunning());
    ASSERT_EQ(ui.alerts.size(), 1U);
    EXPECT_EQ(ui.alerts[0].title, row.title);
  }
  EXPECT_FALSE(fileExists(folder / "home/Library/Application Support/Keldane/Ledger.log"));
}

TEST_F(ArchiveRunTest, DoesNotStartBesideARunThatKeepsTheLedger) {
  writeMail("mail", 1);
  folder.write("home/ledger", "");
  const Result<std::unique_ptr<LedgerFile>> other = LedgerFile::take(folder / "home/ledger");
  ASSERT_TRUE(other);
  run->ledgerPath = folder / "home/ledger";
  importFrom(folder / "mail");
  run->parseEmail();
  EXPECT_FALSE(run->isRunning());
  EXPECT_THAT(ui.alertLines(), ElementsAre(HasSubstr("Another archive run")));
  EXPECT_EQ(count("email"), "0");
  run->ledgerPath.clear();
  runImport("mail");
  EXPECT_EQ(count("email"), "1");
}

TEST_F(ArchiveRunTest, UnattendedEndsTheProgramAndAsksNothing) {
  writeMail("INBOX", 2);
  process.unattendedRun = 1;
  settings.archive.postbox = 1;
  settings.selectedAccounts = {folder / "INBOX"};
  run->setStoreDate();
  EXPECT_EQ(run->form.beginStoreYr, "All");
  waitForEnd();
  EXPECT_EQ(terminated, 1);
  EXPECT_THAT(ui.alertLines(), IsEmpty());
  EXPECT_THAT(ui.calls, Not(Contains("sheet storeDatePanel")));
  EXPECT_THAT(folder.read("home/Desktop/" + server.name + ".storelog"), HasSubstr("Archived: 2\n"));
}

TEST_F(ArchiveRunTest, BeginsWithTheNewestDayStored) {
  ASSERT_TRUE(server.session->query(
      "INSERT INTO email (date_fld) VALUES('2019-02-03 04:05:06'),('2018-01-01 00:00:00')"));
  run->setStoreDate();
  EXPECT_EQ(run->form.beginStoreYr + run->form.beginStoreMo + run->form.beginStoreDa, "20190203");
  EXPECT_THAT(ui.calls, Contains("sheet storeDatePanel"));
  run->cancelStore();
  EXPECT_FALSE(run->isRunning());
}

TEST_F(ArchiveRunTest, CancelledReportsWhatIsStored) {
  writeMail("mail", 30);
  importFrom(folder / "mail");
  run->parseEmail();
  run->cancelParse();
  waitForEnd();
  EXPECT_EQ(std::to_string(run->lastSums().archived), count("email"));
  EXPECT_EQ(process.cancelFlag, 0);
  const long stored = run->lastSums().archived;
  runImport("mail");
  EXPECT_EQ(run->lastSums().duplicates, stored);
  EXPECT_EQ(count("email"), "30");
}

TEST_F(ArchiveRunTest, CanBeAbandonedAtAnyTime) {
  writeMail("mail", 20);
  importFrom(folder / "mail");
  run->parseEmail();
  ASSERT_TRUE(run->isRunning());
  run->abandon();  // nobody has served the main queue
  EXPECT_FALSE(run->isRunning());
  EXPECT_EQ(run->lastSummary(), "");
  queue.runPending();
  makeRun();
  runImport("mail");
  EXPECT_EQ(count("email"), "20");
  EXPECT_EQ(count("origemail"), "20");
}

TEST_F(ArchiveRunTest, ALostServerIsToldAndTheNextRunMakesItGood) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "a server that is given is not killed";
  constexpr int kMessages = 200;
  writeMail("mail", kMessages);
  importFrom(folder / "mail");
  run->parseEmail();
  queue.runUntil([this] { return run->counters().archivedCount >= 20; },
                 std::chrono::milliseconds(1));
  TestServer::shared().kill();
  waitForEnd();
  const LedgerSums lost = run->lastSums();
  EXPECT_NE(run->lostServerError(), "");
  EXPECT_LT(lost.met, kMessages);  // the run ended there
  EXPECT_EQ(lost.met, lost.archived + lost.duplicates + lost.excluded + lost.dropped + lost.failed);
  EXPECT_EQ(lost.failed, 1);
  EXPECT_EQ(run->lastReport().totals.processed, lost.met);

  TestServer::shared().restart();
  server.session->init();
  ServerAddress address = TestServer::shared().address();
  address.database = server.name;
  ASSERT_TRUE(server.session->connect(address));
  ASSERT_TRUE(server.session->query("SET SESSION sql_mode=''"));
  runImport("mail");
  EXPECT_EQ(run->lostServerError(), "");
  EXPECT_EQ(count("email"), std::to_string(kMessages));
  EXPECT_EQ(count("origemail"), std::to_string(kMessages));
  EXPECT_EQ(server.cells("SELECT COUNT(*) FROM email WHERE headings=''"), "0");
}

TEST_F(ArchiveRunTest, TheNextRunGoesOnWhereAnInterruptedOneBegan) {
  writeMail("INBOX", 100);
  writeMail("import", 1);
  selectInboxAndImportFolder();
  run->setStoreDate();
  EXPECT_EQ(run->goingOn(), "");
  run->parseEmail();
  queue.runUntil(
      [this] {
        if (run->counters().processedCount >= 5) run->interrupt();
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  EXPECT_TRUE(run->lastReport().interrupted);
  EXPECT_LT(run->lastSums().met, 101);
  EXPECT_FALSE(std::filesystem::is_empty(folder / "import"));  // no second pass

  ASSERT_TRUE(server.session->query("UPDATE email SET date_fld='2023-06-01 00:00:00' LIMIT 1"));
  makeRun();
  selectInboxAndImportFolder();  // what is not in the settings row is forgotten at the end of a run
  run->setStoreDate();
  EXPECT_THAT(run->goingOn(), StartsWith("Going on with the unfinished run of 20"));
  run->parseEmail();
  waitForEnd();
  EXPECT_EQ(run->lastSums().dropped, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "import"));
  run->setStoreDate();
  EXPECT_EQ(run->goingOn(), "");
  EXPECT_EQ(run->form.beginStoreYr + run->form.beginStoreMo, "202306");
}

TEST_F(ArchiveRunTest, OneLogThatCannotBeWrittenTakesNoOtherAlong) {
  writeMail("INBOX", 2);
  process.unattendedRun = 1;
  settings.archive.postbox = 1;
  settings.user.leaveLogState = 1;
  settings.selectedAccounts = {folder / "INBOX"};
  std::filesystem::remove(folder / "home/Desktop");
  const std::string logs = "home/Library/Application Support/Keldane/";
  std::filesystem::create_directories(folder / (logs + "Keldane.log"));
  run->setStoreDate();
  waitForEnd();
  EXPECT_THAT(folder.read(logs + server.name + ".storelog"), HasSubstr("Archived: 2\n"));
  EXPECT_THAT(support("Duplicates.log"), StartsWith("During the "));
}

TEST_F(ArchiveRunTest, ShowsItsLogs) {
  run->viewLogFile();
  EXPECT_THAT(ui.lines("text"), ElementsAre("text [Archive Log] "));
  folder.write("home/Library/Application Support/Keldane/Duplicates.log", "a\xe9");
  run->viewDuplicateLog();
  EXPECT_THAT(ui.lines("text"), Contains("text [Duplicates Log] aé"));
}

}  // namespace
}  // namespace keldane
