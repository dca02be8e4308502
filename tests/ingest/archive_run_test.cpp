#include "ingest/archive_run.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/dry_run.h"
#include "ingest/ledger/ledger_file.h"
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
using ::testing::StartsWith;

std::string mail(int number) {
  const std::string n = std::to_string(number);
  return "From: ann" + n + "@example.org\nTo: bob@example.org\nSubject: message " + n +
         "\nDate: Mon, 2 Jan 2023 03:04:05 +0000\nMIME-Version: 1.0\nContent-Type: text/plain\n\n" +
         "The body of message " + n + "\n";
}

/// Writes down the steps that it is told of.
class StepObserver : public RunObserver {
 public:
  void passBegins() override { steps.emplace_back("pass"); }
  void passEnds() override { steps.emplace_back("pass ends"); }
  void stored(const RunReport&) override { steps.emplace_back("stored"); }
  void logged(const RunReport&) override { steps.emplace_back("logged"); }
  void ended() override { steps.emplace_back("ended"); }
  std::vector<std::string> steps;
};

class ArchiveRunTest : public ::testing::Test {
 protected:
  ArchiveRunTest()
      : archiveDatabase(*server.session, quiet, process),
        prefs(folder / "prefs.plist"),
        connections(*server.session, archiveDatabase, prefs, quiet, process),
        settings(*server.session, archiveDatabase, prefs, process) {
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
    run = std::make_unique<ArchiveRun>(
        ArchiveRun::Context{*server.session, process, archiveDatabase, connections, settings,
                            sources, rules, progress, queue, environment, host});
  }
  [[nodiscard]] std::optional<NotStarted> start(const std::string& where = "",
                                                bool readsAll = false) {
    ArchiveRequest request;
    request.readsAll = readsAll;
    if (!where.empty()) request.paths = {folder / where};
    return run->start(std::move(request), observer);
  }
  void writeMail(const std::string& where, int count) {
    for (int i = 1; i <= count; ++i) {
      folder.write(where + "/" + std::to_string(i) + ".eml", mail(i));
    }
  }
  void waitForEnd() {
    queue.runUntil([this] { return !run->isRunning(); }, std::chrono::milliseconds(1));
  }
  RunReport runImport(const std::string& where, bool readsAll = false) {
    EXPECT_FALSE(start(where, readsAll));
    waitForEnd();
    return run->lastReport().value_or(RunReport());
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
  MailSources sources{process, settings, host};
  TagRuleList rules{prefs};
  Progress progress;
  StepObserver observer;
  std::unique_ptr<ArchiveRun> run;
};

TEST_F(ArchiveRunTest, ADryRunWritesNothingAndSaysWhatTheRunThenDoes) {
  TagRule rule;
  rule.ruleDescription = "No lunch";
  rule.tagOrExclude = 1;
  rule.ruleCriteria = {{"subject", "contains", "lunch"}};
  ASSERT_TRUE(rules.add(rule));
  folder.write("old/1.eml", mail(1));
  EXPECT_EQ(runImport("old").sums.archived, 1);
  // What is found out about a stored message must not be noted either.
  ASSERT_EQ(server.cells("DELETE FROM keldane_fingerprints"), "");
  folder.write("mail/1-known.eml", mail(1));
  folder.write("mail/2-differs.eml",
               mail(1).replace(mail(1).find("Subject: "), 9, "Subject: Re: "));
  folder.write("mail/3-new.eml", mail(2));
  folder.write("mail/4-again.eml", mail(2));
  folder.write("mail/5-lunch.eml", "Subject: Lunch?\n" + mail(3));
  folder.write("mail/6-undated.eml", "hello\n");
  folder.write("mail/7.mbox",
               "From a\n" + mail(4) + "\nFrom a\n" + mail(4) + "\nFrom a\n" + mail(1));
  folder.write("mail/8.plist", "no mail");
  const auto everything = [this] {
    std::string all;
    for (const std::string& table : split(server.cells("SHOW TABLES"), "\n")) {
      all += table + ": " + server.cells("SELECT * FROM " + table) + "\n";
    }
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      const std::string path = entry.path().string();
      files.push_back(path + (entry.is_regular_file() ? readFile(path).value() : ""));
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) all += file + "\n";
    return all;
  };
  const std::string before = everything();
  ArchiveRequest request;
  request.paths = {folder / "mail"};
  std::vector<std::string> told;
  const Result<RunReport> dry =
      DryRun({*server.session, process, environment, progress, {}})
          .run(dryPlans(request, settings, sources, rules), true, [&](const DryOutcome& outcome) {
            const std::string name = outcome.path.substr(outcome.path.rfind('/') + 1);
            told.push_back(name + " " + std::string(outcomeName(outcome.outcome)) + " " +
                           std::string(outcome.detail));
          });
  ASSERT_TRUE(dry) << dry.error();
  EXPECT_EQ(everything(), before);
  const std::string inMail = folder / "mail/";
  EXPECT_THAT(told, ::testing::UnorderedElementsAre(
                        "1-known.eml duplicate 1", "2-differs.eml archived differs from 1",
                        "3-new.eml archived ",
                        "4-again.eml duplicate the same as in " + inMail + "3-new.eml",
                        "5-lunch.eml excluded No lunch",
                        "6-undated.eml dropped not a mail message (no sender, no date)",
                        "7.mbox archived ", "7.mbox duplicate the same as in " + inMail + "7.mbox",
                        "7.mbox duplicate 1", "8.plist not-mail property list"));
  const RunReport real = runImport("mail");
  EXPECT_EQ(real.totals.processed, dry->totals.processed);
  EXPECT_EQ(real.sums.archived, dry->sums.archived);
  EXPECT_EQ(real.sums.duplicates, dry->sums.duplicates);
  EXPECT_EQ(real.sums.excluded, dry->sums.excluded);
  EXPECT_EQ(real.sums.dropped, dry->sums.dropped);
  EXPECT_EQ(real.sums.failed + dry->sums.failed, 0);
  EXPECT_EQ(real.sums.notMail, dry->sums.notMail);
  EXPECT_EQ(real.differing, dry->differing);
}

TEST_F(ArchiveRunTest, ReportsWhatItHasDone) {
  writeMail("mail", 3);
  folder.write("mail/notes.plist", "no mail");
  const RunReport first = runImport("mail");
  EXPECT_THAT(observer.steps, ElementsAre("pass", "pass ends", "stored", "logged", "ended"));
  EXPECT_EQ(count("email"), "3");
  EXPECT_EQ(count("origemail"), "3");
  const std::string summary = "Processed: 3\nArchived: 3\nDuplicates: 0\n";
  EXPECT_EQ(storeLog(), summary);
  EXPECT_THAT(host.calls, Contains("notify [Done Archiving Email] " + summary));
  EXPECT_THAT(support("Keldane.log"),
              HasSubstr("    Processed: 3    Archived: 3    Duplicates: 0\n"));
  EXPECT_EQ(first.firstStoredId, 1U);
  EXPECT_EQ(first.lastStoredId, 3U);
  EXPECT_EQ(first.sums.met, 3);
  EXPECT_EQ(first.sums.archived, 3);
  EXPECT_EQ(first.sums.notMail, 1);
  EXPECT_EQ(first.lostServer, "");
  EXPECT_EQ(process.storeLogPath, "");

  const RunReport second = runImport("mail", true);
  EXPECT_EQ(storeLog(), summary + "Processed: 3\nArchived: 0\nDuplicates: 3\n");
  EXPECT_GT(second.firstStoredId, second.lastStoredId);
  EXPECT_THAT(support("Duplicates.log"), HasSubstr("ann2@example.org to bob@example.org"));
  EXPECT_EQ(second.sums.duplicates, 3);
  EXPECT_EQ(run->counters().processedCount, 0);
  EXPECT_THAT(ui.alertLines(), IsEmpty());
}

TEST_F(ArchiveRunTest, ImportFolderIsASecondPassOfTheSameRun) {
  writeMail("INBOX", 2);
  writeMail("import", 3);
  selectInboxAndImportFolder();
  sources.mailboxNamesLoaded = true;
  EXPECT_FALSE(start());
  const auto again = start();
  ASSERT_TRUE(again);
  EXPECT_EQ(again->reason, NotStarted::Reason::isRunning);
  waitForEnd();
  EXPECT_THAT(observer.steps,
              ElementsAre("pass", "pass ends", "pass", "pass ends", "stored", "logged", "ended"));
  EXPECT_EQ(count("email"), "3");
  const LedgerSums& sums = run->lastReport()->sums;
  EXPECT_EQ(sums.met, sums.archived + sums.duplicates + sums.dropped);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "import"));
  EXPECT_FALSE(sources.mailboxNamesLoaded);
}

TEST_F(ArchiveRunTest, KeptFoldersComeBeforeTheImportFolderWhateverTheDaysOfTheRun) {
  writeMail("INBOX", 1);
  writeMail("kept/sub", 3);
  folder.write("kept.mbox", "From a@b.c Mon Jan  2 03:04:05 2023\n" + mail(4));
  writeMail("import", 5);
  selectInboxAndImportFolder();
  settings.user.mailFolders = {
      {"Kept", folder / "kept"}, {"Unplugged", folder / "gone"}, {"Box", folder / "kept.mbox"}};
  ArchiveRequest request;
  request.range.rangeStartText = "2040-01-01 00:00:00";
  EXPECT_EQ(dryPlans(request, settings, sources, rules).size(), 3U);
  for (const bool chosen : {true, false}) {
    EXPECT_FALSE(run->start(request, observer));
    waitForEnd();
    const RunReport& report = *run->lastReport();
    ASSERT_EQ(report.missingFolders.size(), 1U);
    EXPECT_EQ(report.missingFolders[0].name, "Unplugged");
    EXPECT_THAT(storeLog(), HasSubstr("Source is not there: " + folder / "gone"));
    EXPECT_EQ(report.sums.archived, chosen ? 4 : 0);
    EXPECT_EQ(report.sums.unchanged, chosen ? 0 : 4);
    EXPECT_EQ(report.outsideRange, chosen ? 6 : 0) << "of the in box and the import folder";
    EXPECT_TRUE(std::filesystem::exists(folder / "kept/sub/3.eml"));
    // With nothing chosen besides, the kept folders are a run as well.
    settings.archive.importFolderState = settings.archive.postbox = 0;
    settings.selectedAccounts.clear();
  }
  EXPECT_THAT(std::vector(observer.steps.begin(), observer.steps.begin() + 7),
              ElementsAre("pass", "pass ends", "pass", "pass ends", "pass", "pass ends", "stored"));
  request.foldersRange.rangeStartText = request.range.rangeStartText;
  request.readsAll = true;
  EXPECT_FALSE(run->start(request, observer));
  waitForEnd();
  EXPECT_EQ(run->lastReport()->outsideRange, 4);
}

TEST_F(ArchiveRunTest, ASecondPassThatCannotBeginStillEndsTheRun) {
  writeMail("INBOX", 2);
  writeMail("import", 3);
  selectInboxAndImportFolder();
  EXPECT_FALSE(start());
  // The user cancels when the last file of the first pass has been read.
  queue.runUntil(
      [this] {
        if (run->counters().processedCount == 2) process.cancelFlag = 1;
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  EXPECT_THAT(storeLog(), HasSubstr("Processed: "));
  EXPECT_EQ(observer.steps.back(), "ended");
  EXPECT_EQ(process.storeLogPath, "");
}

TEST_F(ArchiveRunTest, ACancelledImportFolderKeepsItsFilesInTheNextRunToo) {
  writeMail("INBOX", 1);
  writeMail("import", 200);
  selectInboxAndImportFolder();
  EXPECT_FALSE(start());
  queue.runUntil(
      [this] {
        if (observer.steps.size() == 3) run->cancel();  // in the second pass
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  settings.archive.importFolderState = 0;
  EXPECT_FALSE(start());
  waitForEnd();
  EXPECT_FALSE(std::filesystem::is_empty(folder / "import"));
}

TEST_F(ArchiveRunTest, ACancelledPassIsNotFollowedByKeptFolders) {
  writeMail("INBOX", 200);
  writeMail("kept", 300);
  selectInboxAndImportFolder();
  settings.archive.importFolderState = 0;
  settings.user.mailFolders = {{"Kept", folder / "kept"}};
  EXPECT_FALSE(start());
  run->cancel();
  waitForEnd();
  EXPECT_EQ(std::count(observer.steps.begin(), observer.steps.end(), "pass"), 1);
}

TEST_F(ArchiveRunTest, DoesNotStartWithoutASelection) {
  struct Case {
    int mailboxesState;
    NotStarted::Reason reason;
  };
  for (const Case& row :
       {Case{1, NotStarted::Reason::noMailboxes}, Case{0, NotStarted::Reason::noAccounts}}) {
    settings.archive.mailboxesState = row.mailboxesState;
    const auto failure = start();
    EXPECT_FALSE(run->isRunning());
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason, row.reason);
  }
  EXPECT_FALSE(fileExists(folder / "home/Library/Application Support/Keldane/Ledger.log"));
  sources.acctRows = {{true, "12"}, {false, "34"}};
  EXPECT_FALSE(start()) << "accounts that are checked are taken when none is chosen";
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("12"));
  waitForEnd();
}

TEST_F(ArchiveRunTest, DoesNotStartBesideARunThatKeepsTheLedger) {
  writeMail("mail", 1);
  folder.write("home/ledger", "");
  const Result<std::unique_ptr<LedgerFile>> other = LedgerFile::take(folder / "home/ledger");
  ASSERT_TRUE(other);
  const auto failure = run->start({.paths = {folder / "mail"},
                                   .range = {},

                                   .ledgerPath = folder / "home/ledger"},
                                  observer);
  EXPECT_FALSE(run->isRunning());
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, NotStarted::Reason::noLedger);
  EXPECT_THAT(failure->text, HasSubstr("Another archive run"));
  EXPECT_EQ(count("email"), "0");
  runImport("mail");
  EXPECT_EQ(count("email"), "1");
}

TEST_F(ArchiveRunTest, BeginsWithTheNewestDayButTwoDaysBackAtTheLatest) {
  ASSERT_TRUE(server.session->query(
      "INSERT INTO email (date_fld) VALUES('2019-02-03 04:05:06'),('2018-01-01 00:00:00')"));
  const Result<RunBeginning> beginning = run->findBeginning({}, observer);
  ASSERT_TRUE(beginning);
  EXPECT_EQ(beginning->rangeStartText, "2019-02-03 00:00:00");
  EXPECT_EQ(beginning->goingOn, "");
  constexpr std::int64_t kNow = 1700000000;
  const std::string twoDaysAgo = localDateTime(kNow - 172800).substr(0, 10) + " 00:00:00";
  struct Case {
    const char* newest;
    std::string limit;
  };
  for (const Case& row :
       {Case{"2019-02-03 04:05:06", "2019-02-03 00:00:00"}, Case{"2023-11-14 04:05:06", twoDaysAgo},
        Case{"2040-01-01 00:00:00", twoDaysAgo}, Case{"2019", twoDaysAgo}, Case{"0", ""},
        Case{"0000-00-00 00:00:00", ""}}) {
    EXPECT_EQ(newestLimit(row.newest, kNow), row.limit) << row.newest;
  }
}

TEST_F(ArchiveRunTest, CancelledReportsWhatIsStored) {
  writeMail("mail", 30);
  EXPECT_FALSE(start("mail"));
  run->cancel();
  waitForEnd();
  const long stored = run->lastReport()->sums.archived;
  EXPECT_EQ(std::to_string(stored), count("email"));
  EXPECT_EQ(process.cancelFlag, 0);
  EXPECT_EQ(runImport("mail").sums.duplicates, stored);
  EXPECT_EQ(count("email"), "30");
}

TEST_F(ArchiveRunTest, CanBeAbandonedAtAnyTime) {
  writeMail("mail", 20);
  EXPECT_FALSE(start("mail"));
  run->abandon();  // nobody has served the main queue
  EXPECT_FALSE(run->isRunning());
  EXPECT_FALSE(run->lastReport());
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
  EXPECT_FALSE(start("mail"));
  queue.runUntil([this] { return run->counters().archivedCount >= 20; },
                 std::chrono::milliseconds(1));
  TestServer::shared().kill();
  waitForEnd();
  const LedgerSums lost = run->lastReport()->sums;
  EXPECT_NE(run->lastReport()->lostServer, "");
  EXPECT_LT(lost.met, kMessages);  // the run ended there
  EXPECT_EQ(lost.met, lost.archived + lost.duplicates + lost.excluded + lost.dropped + lost.failed);
  EXPECT_EQ(lost.failed, 1);
  EXPECT_EQ(run->lastReport()->totals.processed, lost.met);

  TestServer::shared().restart();
  server.session->init();
  ServerAddress address = TestServer::shared().address();
  address.database = server.name;
  ASSERT_TRUE(server.session->connect(address));
  ASSERT_TRUE(server.session->query("SET SESSION sql_mode=''"));
  EXPECT_EQ(runImport("mail").lostServer, "");
  EXPECT_EQ(count("email"), std::to_string(kMessages));
  EXPECT_EQ(count("origemail"), std::to_string(kMessages));
  EXPECT_EQ(server.cells("SELECT COUNT(*) FROM email WHERE headings=''"), "0");
}

TEST_F(ArchiveRunTest, TheNextRunGoesOnWhereAnInterruptedOneBegan) {
  writeMail("INBOX", 100);
  writeMail("import", 1);
  selectInboxAndImportFolder();
  EXPECT_EQ(run->findBeginning({}, observer)->goingOn, "");
  EXPECT_FALSE(start());
  queue.runUntil(
      [this] {
        if (run->counters().processedCount >= 5) run->interrupt();
        return !run->isRunning();
      },
      std::chrono::milliseconds(1));
  EXPECT_TRUE(run->lastReport()->interrupted);
  EXPECT_LT(run->lastReport()->sums.met, 101);
  EXPECT_FALSE(std::filesystem::is_empty(folder / "import"));  // no second pass

  ASSERT_TRUE(server.session->query("UPDATE email SET date_fld='2023-06-01 00:00:00' LIMIT 1"));
  makeRun();
  selectInboxAndImportFolder();  // what is not in the settings row is forgotten at the end of a run
  ArchiveRequest request;
  const Result<RunBeginning> beginning = run->findBeginning(request, observer);
  EXPECT_THAT(beginning->goingOn, StartsWith("Going on with the unfinished run of 20"));
  request.range.rangeStartText = beginning->rangeStartText;
  EXPECT_FALSE(run->start(request, observer));
  waitForEnd();
  EXPECT_EQ(run->lastReport()->sums.dropped, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "import"));
  EXPECT_EQ(run->findBeginning({}, observer)->goingOn, "");
  EXPECT_EQ(run->findBeginning({}, observer)->rangeStartText, "2023-06-01 00:00:00");
}

/// What a run makes of the files, as "archived duplicates unchanged".
std::string told(const RunReport& report) {
  const LedgerSums& sums = report.sums;
  EXPECT_EQ(sums.met, sums.archived + sums.duplicates + sums.excluded + sums.dropped + sums.failed +
                          sums.markedDeleted);
  return std::to_string(sums.archived) + " " + std::to_string(sums.duplicates) + " " +
         std::to_string(sums.unchanged);
}

TEST_F(ArchiveRunTest, ReadsOnlyWhatIsNew) {
  namespace fs = std::filesystem;
  const std::string box = folder / "mail/box";
  const auto separated = [](int number) { return "From a\n" + mail(number) + "\n"; };
  const auto append = [&](const std::string& bytes) {
    std::ofstream(box, std::ios::app | std::ios::binary) << bytes;
  };
  const auto touch = [&](int seconds) {
    fs::last_write_time(box, fs::last_write_time(box) + std::chrono::seconds(seconds));
  };
  const auto query = [&](const char* sql) { ASSERT_TRUE(server.session->query(sql)) << sql; };
  struct Step {
    const char* name;
    std::function<void()> change;
    const char* told;
    bool all = false;
  };
  std::string large = separated(6);
  large.insert(large.size() - 1, std::string(9000, 'x'));
  const Step steps[] = {
      {"for the first time", [&] { append(separated(1) + separated(2)); }, "3 0 0"},
      {"nothing has changed", [] {}, "0 0 2"},
      {"a file has come", [&] { folder.write("mail/4.eml", mail(4)); }, "1 0 2"},
      {"the mbox has grown", [&] { append(separated(5) + large); }, "2 0 2"},
      {"the mbox has grown again", [&] { append(separated(7)); }, "1 0 2"},
      {"only blank lines were added", [&] { append("\n\n"); }, "0 5 2"},
      {"its last message has grown", [&] { append("Dear reader,\n\nthat is new\n"); }, "1 4 2"},
      {"compacted, and longer than before",
       [&] {
         folder.write("mail/box",
                      separated(2) + separated(5) + large + separated(8) + large + large);
       },
       "1 5 2"},
      {"other than before where it ended, and longer",
       [&] {
         std::string bytes = folder.read("mail/box");
         bytes[bytes.size() - 10] = 'y';
         folder.write("mail/box", bytes + separated(10));
       },
       "2 5 2"},
      {"a row of it was rewritten in place and it has grown",
       [&] {
         std::fstream(box, std::ios::in | std::ios::out | std::ios::binary).seekp(7) << "X";
         append(separated(9));
       },
       "1 0 2"},
      {"of the same size, and written later",
       [&] {
         std::string bytes = folder.read("mail/box");
         bytes.replace(bytes.find("message 9"), 9, "message 0");
         folder.write("mail/box", bytes);
         touch(10);
       },
       "2 6 2"},
      {"only touched", [&] { touch(20); }, "0 8 2"},
      {"another file of that name",
       [&] {
         fs::copy_file(box, folder / "mail/copy");
         fs::last_write_time(folder / "mail/copy", fs::last_write_time(box));
         fs::rename(folder / "mail/copy", box);
       },
       "0 8 2"},
      {"all of it is asked for", [] {}, "0 10 0", true},
      {"and is known then", [] {}, "0 0 3"},
      {"a message has gone", [&] { query("DELETE FROM email WHERE subj_fld='message 4'"); },
       "1 9 0"},
      {"another message in the place of the last",
       [&] { query("UPDATE email SET subj_fld='other' ORDER BY id DESC LIMIT 1"); }, "0 10 0"},
      {"copies are wanted", [&] { settings.archive.skipDupsState = 1; }, "10 0 0"},
      {"and no more", [&] { settings.archive.skipDupsState = 0; }, "0 0 3"},
      {"nothing is known of the files", [&] { query("DROP TABLE keldane_files"); }, "0 10 0"},
      {"and then again", [] {}, "0 0 3"},
      {"one message is marked as deleted",
       [&] { folder.write("mail/box", "From a\nStatus: RD\n" + mail(21) + "\n" + large); },
       "0 1 2"},
      {"the mark was taken back, and it has grown",
       [&] {
         const std::size_t at = folder.read("mail/box").find("RD\n") + 1;
         std::fstream(box, std::ios::in | std::ios::out | std::ios::binary)
                 .seekp(static_cast<std::streamoff>(at))
             << "O";
         append(separated(22));
       },
       "2 1 2"},
  };
  folder.write("mail/3.eml", mail(3));
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    step.change();
    ArchiveRequest request;
    request.paths = {folder / "mail"};
    request.readsAll = step.all;
    ASSERT_FALSE(run->start(std::move(request), observer));
    waitForEnd();
    EXPECT_EQ(told(run->lastReport().value_or(RunReport())), step.told);
  }
}

TEST_F(ArchiveRunTest, AFileIsReadAgainUntilAllOfItIsInTheArchive) {
  TagRule rule;
  rule.ruleDescription = "No lunch";
  rule.tagOrExclude = 1;
  rule.ruleCriteria = {{"subject", "contains", "lunch"}};
  ASSERT_TRUE(rules.add(rule));
  folder.write("mail/excluded.mbox", "From a\n" + mail(1) + "\nFrom a\nSubject: Lunch\n" + mail(2));
  folder.write("mail/no-message.mbox", "From a\n" + mail(3) + "\nFrom a Mon Jan 1 00:00:00 2001\n");
  folder.write("mail/old.eml", "Date: Tue, 1 Jan 2002 00:00:00 +0000\nFrom: a@b.c\n\nx\n");
  folder.write("mail/refused.eml", mail(4));
  ArchiveRequest request;
  request.paths = {folder / "mail"};
  request.range.rangeStartText = "2010-01-01 00:00:00";
  ASSERT_TRUE(server.session->query(
      "CREATE TRIGGER refuses BEFORE INSERT ON origemail FOR EACH ROW IF NEW.orig_fld LIKE "
      "'%message 4%' THEN SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT='no room'; END IF"));
  for (const char* expected : {"2 0 0", "0 2 0", "2 2 0", "0 2 2"}) {
    if (std::string_view(expected) == "2 2 0") {
      request.range = {};
      ASSERT_TRUE(server.session->query("DROP TRIGGER refuses"));
    }
    ASSERT_FALSE(run->start(request, observer));
    waitForEnd();
    EXPECT_EQ(told(run->lastReport().value_or(RunReport())), expected);
  }
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
  EXPECT_FALSE(start());
  waitForEnd();
  EXPECT_THAT(folder.read(logs + server.name + ".storelog"), HasSubstr("Archived: 2\n"));
  EXPECT_THAT(support("Duplicates.log"), StartsWith("During the "));
}

}  // namespace
}  // namespace keldane
