#include "ingest/ledger/crash_recovery.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ingest/ledger/ledger_reader.h"
#include "tests/ingest/cut_session.h"
#include "tests/ingest/server_database.h"
#include "tests/ingest/store_fixture.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Cut = CutSession::Cut;

/// A run over one database that can be cut off at any of its calls.
class CrashRecoveryTest : public ::testing::Test {
 protected:
  CrashRecoveryTest() : session(*database.session), step(session) {
    EXPECT_TRUE(Fingerprints({.session = *database.session}).open());
  }

  void begin() {
    const Result<void> begun = step.beginRun(database.greatestId());
    ASSERT_TRUE(begun) << begun.error();
    step.log.lines.clear();
  }
  /// What the next start of the program does before its first message.
  void beginWithRepair() {
    session.cutAt(Cut::never, 0);
    begin();
    step.repair->run();
  }
  /// Stores the message and cuts the run off at a call; false when it has fewer calls.
  bool storeAndCut(const CurrentMessage& message, Cut cut, int call) {
    session.cutAt(cut, call);
    try {
      step.storeMessage(message);
    } catch (const Killed&) {
    }
    if (cut == Cut::lostBefore || cut == Cut::lostAfter) step.finishRun(true);
    return endOfProgram(call);
  }
  /// A run that comes by the half of the message, and is cut off where the session was told.
  bool completeAndCut(int call);
  bool endOfProgram(int call) {
    step.ledger.reset();
    return session.calls() >= call;
  }
  /// Everything that a message has in the database, its id left out.
  [[nodiscard]] std::string content() const {
    std::string all;
    for (const char* sql :
         {"SELECT date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach,attachNames,"
          "attachText,headings FROM email",
          "SELECT orig_fld FROM origemail",
          "SELECT type_fld,filename_fld,encode_fld,attach_fld FROM attachments ORDER BY 2",
          "SELECT cat_fld,key_fld,priority_fld,notes_fld FROM tags",
          "SELECT HEX(content_sha256),path FROM keldane_fingerprints"}) {
      all += database.cells(sql) + "\n--\n";
    }
    return all;
  }
  void clear() {
    for (const char* table :
         {"email", "origemail", "attachments", "tags", "keldane_fingerprints"}) {
      ASSERT_TRUE(database.session->query(std::string("DELETE FROM ") + table));
    }
  }
  [[nodiscard]] std::size_t openEntries() const {
    const Result<LedgerState> state = readLedgerState(step.ledgerPath());
    return state ? state->open.size() : 999;
  }
  [[nodiscard]] std::string count(const std::string& table) const {
    return database.cells("SELECT COUNT(*) FROM " + table);
  }
  /// A row of another program: the values of the message and nothing else.
  void insertForeignRow(const std::string& subject) {
    ASSERT_TRUE(database.session->query(
        "INSERT INTO email (date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach) "
        "VALUES('2023-01-02 03:04:05','ann@example.org','bob@example.org','" +
        subject + "','','INBOX','A plain body of some length',0)"));
  }

  ServerDatabase database;
  CutSession session;
  StoreFixture step;
};

/// The calls of a pass's first message before and at the insert, for the places of cuts.
constexpr int kCallsOfPass = 2;
constexpr int kInsert = kCallsOfPass + 3;
constexpr int kEndOfInsert = kInsert + 1;
constexpr int kSource = kEndOfInsert + 2;
constexpr int kLast = kSource + 4;

CurrentMessage taggedMessage() {
  CurrentMessage message = saying(fullMessage(), "this");
  message.tags.tagNotes = "note";
  return message;
}

bool CrashRecoveryTest::completeAndCut(int call) {
  try {
    step.repair->run();
    step.storeMessage(taggedMessage());
  } catch (const Killed&) {
  }
  return endOfProgram(call);
}

TEST_F(CrashRecoveryTest, AMessageIsWholeAfterTheNextRunWhereverTheRunWasCutOff) {
  begin();
  step.storeMessage(taggedMessage());
  step.finishRun();
  const std::string whole = content();
  for (const Cut cut : {Cut::killedBefore, Cut::killedAfter, Cut::lostBefore, Cut::lostAfter}) {
    int call = 1;
    for (bool reached = true; reached; ++call) {
      SCOPED_TRACE(testing::Message() << "cut " << static_cast<int>(cut) << " at call " << call);
      clear();
      begin();
      reached = storeAndCut(taggedMessage(), cut, call);
      beginWithRepair();
      step.storeMessage(taggedMessage());
      step.finishRun();
      EXPECT_EQ(content(), whole);
      EXPECT_EQ(count("email"), "1");
      EXPECT_EQ(openEntries(), 0U);
    }
    EXPECT_GT(call, 15);
  }
}

TEST_F(CrashRecoveryTest, AMessageIsWholeOnTheNextHostWhereverItsServerWasLost) {
  begin();
  step.storeMessage(taggedMessage());
  step.finishRun();
  const std::string whole = content();
  step.moveOn = [this] {
    session.cutAt(Cut::never, 0);
    return true;
  };
  for (const int copies : {0, 1}) {
    step.plan.settings.skipDupsState = copies;
    for (const Cut cut : {Cut::lostBefore, Cut::lostAfter}) {
      for (int call = 1; call <= kLast + kCallsOfPass; ++call) {
        SCOPED_TRACE(testing::Message() << "cut " << static_cast<int>(cut) << " at call " << call);
        clear();
        begin();
        step.counters.archivedCount = 0;
        session.cutAt(cut, call);
        step.storeMessage(taggedMessage());
        EXPECT_EQ(content(), whole);
        EXPECT_EQ(count("email"), "1");
        EXPECT_EQ(step.counters.archivedCount, 1);
        EXPECT_EQ(step.ledger->sums().archived, 1);
        EXPECT_EQ(step.lostServer, "");
        step.finishRun();
        EXPECT_EQ(openEntries(), 0U);
      }
    }
  }
}

TEST_F(CrashRecoveryTest, WhatOneHostDoesNotTellIsAskedOfTheNext) {
  begin();
  step.storeMessage(taggedMessage());
  step.finishRun();
  const std::string whole = content();
  int hosts = 0;
  for (int call = 1; call <= 3; ++call) {
    SCOPED_TRACE(call);
    step.moveOn = [&, call] {
      session.cutAt(++hosts == 1 ? Cut::lostBefore : Cut::never, call);
      return true;
    };
    hosts = 0;
    clear();
    begin();
    session.cutAt(Cut::lostAfter, kEndOfInsert);
    step.storeMessage(taggedMessage());
    EXPECT_EQ(hosts, 2);
    EXPECT_EQ(content(), whole);
    EXPECT_EQ(step.ledger->sums().archived, 1) << "its own half is no other message";
    step.finishRun();
    EXPECT_EQ(openEntries(), 0U);
  }
}

TEST_F(CrashRecoveryTest, AMessageThatEachHostIsLostAtIsLeftToTheNextRun) {
  int hosts = 0;
  step.moveOn = [&] {
    ++hosts;
    session.cutAt(Cut::lostAfter, kLast);  // behind the look for what has arrived
    return true;
  };
  begin();
  session.cutAt(Cut::lostAfter, kInsert);
  step.storeMessage(taggedMessage());
  EXPECT_EQ(hosts, 2);
  EXPECT_EQ(step.ledger->sums().failed, 1);
}

TEST_F(CrashRecoveryTest, ACompletionThatIsCutOffItselfIsEndedByTheNext) {
  begin();
  step.storeMessage(taggedMessage());
  step.finishRun();
  const std::string whole = content();
  for (const Cut cut : {Cut::killedBefore, Cut::killedAfter, Cut::lostBefore, Cut::lostAfter}) {
    int call = 1;
    for (bool reached = true; reached; ++call) {
      SCOPED_TRACE(testing::Message() << "cut " << static_cast<int>(cut) << " at call " << call);
      clear();
      begin();
      // Behind the insert, and before anything tells its id.
      ASSERT_TRUE(storeAndCut(taggedMessage(), Cut::killedAfter, kInsert));
      begin();
      session.cutAt(cut, call);
      reached = completeAndCut(call);
      beginWithRepair();
      step.storeMessage(taggedMessage());
      step.finishRun();
      EXPECT_EQ(content(), whole);
      EXPECT_EQ(openEntries(), 0U);
    }
    EXPECT_GT(call, 15);
  }
}

TEST_F(CrashRecoveryTest, AMessageThatTheServerIsLostAtEachTimeIsGivenUpAfterThreeRuns) {
  for (int run = 1; run <= 3; ++run) {
    beginWithRepair();
    ASSERT_TRUE(storeAndCut(plainMessage(), Cut::lostBefore, kSource));
    EXPECT_EQ(openEntries(), run < 3 ? 1U : 0U) << run;
    // The count goes on through runs in which the message does not come by.
    beginWithRepair();
    step.finishRun();
  }
  beginWithRepair();
  EXPECT_THAT(step.log.lines, IsEmpty());
  step.storeMessage(plainMessage());
  EXPECT_EQ(step.ledger->sums().duplicates, 1);
  EXPECT_EQ(count("email"), "1");
}

TEST_F(CrashRecoveryTest, RefusalsDoNotCountAmongTheRunsThatLoseTheServer) {
  begin();
  for (int run = 1; run <= 3; ++run) {
    ASSERT_TRUE(
        database.session->query("CREATE TRIGGER refuses BEFORE INSERT ON attachments FOR EACH ROW "
                                "SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT='no room'"));
    step.storeMessage(fullMessage());
    ASSERT_TRUE(database.session->query("DROP TRIGGER refuses"));
    step.finishRun();
    ASSERT_EQ(openEntries(), 1U) << run;
    beginWithRepair();
  }
  ASSERT_TRUE(storeAndCut(fullMessage(), Cut::lostBefore, kSource + 2));
  EXPECT_EQ(openEntries(), 1U);
  beginWithRepair();
  step.storeMessage(fullMessage());
  EXPECT_EQ(step.ledger->sums().archived, 1);
  EXPECT_EQ(count("origemail"), "1");
}

TEST_F(CrashRecoveryTest, AHalfStaysUntilItsMessageComesByAndKeepsWhatTheUserMadeOfIt) {
  begin();
  ASSERT_TRUE(storeAndCut(taggedMessage(), Cut::killedAfter, kEndOfInsert));
  const std::string id = std::to_string(database.greatestId());
  ASSERT_TRUE(database.session->query("INSERT INTO tags (id,cat_fld,notes_fld) VALUES(" + id +
                                      ",'by hand','')"));
  for (int run = 0; run < 2; ++run) {
    beginWithRepair();
    step.storeMessage(plainMessage());
    step.finishRun();
    EXPECT_EQ(database.cells("SELECT id FROM email WHERE id=" + id), id);
    EXPECT_EQ(openEntries(), 1U);
  }
  beginWithRepair();
  // Another copy of the message, in another mailbox, will do.
  CurrentMessage moved = taggedMessage();
  moved.msgMailbox = "Archive";
  moved.currentPath = "/elsewhere/1.eml";
  step.storeMessage(moved);
  EXPECT_THAT(step.log.lines, ElementsAre("Cut-off run: the half-stored message " + id +
                                          " is being completed, /elsewhere/1.eml\n"));
  step.finishRun();
  EXPECT_EQ(openEntries(), 0U);
  EXPECT_EQ(database.cells("SELECT mailbox,cat_fld FROM email NATURAL JOIN tags NATURAL JOIN "
                           "origemail NATURAL JOIN keldane_fingerprints"),
            "Archive|by hand");
  EXPECT_EQ(count("email"), "2");
  EXPECT_EQ(step.ledger->sums().archived, 1);
}

TEST_F(CrashRecoveryTest, WhatTheServerRefusedIsWrittenByTheNextRun) {
  begin();
  step.storeMessage(taggedMessage());
  step.finishRun();
  const std::string whole = content();
  for (const char* table : {"tags", "origemail", "attachments"}) {
    SCOPED_TRACE(table);
    clear();
    begin();
    const std::string name(table);
    ASSERT_TRUE(database.session->query("RENAME TABLE " + name + " TO away"));
    step.storeMessage(taggedMessage());
    EXPECT_EQ(step.ledger->sums().failed, 1);
    step.finishRun();
    ASSERT_TRUE(database.session->query("RENAME TABLE away TO " + name));
    beginWithRepair();
    step.storeMessage(taggedMessage());
    step.finishRun();
    EXPECT_EQ(content(), whole);
  }
}

TEST_F(CrashRecoveryTest, AWholeRowIsLeftAsItIs) {
  begin();
  ASSERT_TRUE(storeAndCut(plainMessage(), Cut::killedAfter, kLast));
  ASSERT_EQ(openEntries(), 1U);
  const std::uint32_t id = database.greatestId();
  beginWithRepair();
  EXPECT_EQ(database.greatestId(), id);
  EXPECT_THAT(step.log.lines, IsEmpty());
  EXPECT_EQ(openEntries(), 0U);
}

TEST_F(CrashRecoveryTest, LeavesAloneWhatCannotBeShownToBeTheMessagesHalf) {
  struct Case {
    const char* name;
    std::vector<const char*> foreignSubjects;  // rows that come while the message is being stored
    Cut cut;                                   // at the insert
    std::vector<const char*> log;
    const char* rowsLeft;
    std::size_t open = 0;
  };
  const std::vector<Case> cases = {
      {"another message of that second", {"Other"}, Cut::killedBefore, {"left alone"}, "1"},
      {"stored by another program as well",
       {"Hello"},
       Cut::killedAfter,
       {"left alone", "left alone"},
       "2"},
      {"nothing stored at all", {}, Cut::killedBefore, {}, "0"},
      {"its own half beside another message", {"Other"}, Cut::killedAfter, {}, "2", 1},
  };
  step.plan.settings.skipDupsState = 1;
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    clear();
    begin();
    for (const char* subject : row.foreignSubjects) insertForeignRow(subject);
    ASSERT_TRUE(storeAndCut(plainMessage(), row.cut, kInsert - 1));
    ASSERT_EQ(openEntries(), 1U);
    beginWithRepair();
    EXPECT_EQ(count("email"), row.rowsLeft);
    ASSERT_EQ(step.log.lines.size(), row.log.size());
    for (std::size_t i = 0; i < row.log.size(); ++i) {
      EXPECT_THAT(step.log.lines[i], HasSubstr(row.log[i]));
    }
    EXPECT_EQ(openEntries(), row.open);
  }
}

TEST_F(CrashRecoveryTest, ARowThatIsNoLongerTheMessagesIsLeftAlone) {
  begin();
  ASSERT_TRUE(storeAndCut(plainMessage(), Cut::killedAfter, kEndOfInsert));
  ASSERT_TRUE(database.session->query("UPDATE email SET subj_fld='Something else'"));
  beginWithRepair();
  ASSERT_EQ(step.log.lines.size(), 1U);
  EXPECT_THAT(step.log.lines[0], HasSubstr("left alone"));
  EXPECT_EQ(count("email"), "1");
  EXPECT_EQ(openEntries(), 0U);
}

// The machine went down: the server kept its rows, the ledger lost its lines.

class LostLedgerTest : public CrashRecoveryTest {
 protected:
  /// Stores a message as far as its row, and loses every line of the ledger but the first.
  void storeHalfAndLoseLedger() {
    begin();
    const std::string atTheStart = step.folder.read("Ledger.log");
    ASSERT_TRUE(storeAndCut(plainMessage(), Cut::killedAfter, kEndOfInsert));
    step.folder.write("Ledger.log", atTheStart);
  }
};

TEST_F(LostLedgerTest, AnotherMessageThatPassesForItLeavesItAlone) {
  storeHalfAndLoseLedger();
  beginWithRepair();
  CurrentMessage other = plainMessage();
  other.msgSubject = "Not that one";
  step.storeMessage(other);
  EXPECT_EQ(step.ledger->sums().duplicates, 1);
  EXPECT_EQ(count("origemail"), "0");
}

TEST_F(LostLedgerTest, WhatACrashedServerHasLostIsStoredAgainThoughItsLineWasClosed) {
  for (const char* lost : {"DELETE FROM origemail", "DELETE FROM attachments",
                           "UPDATE email SET headings=''", "UPDATE email SET attachNames=''"}) {
    SCOPED_TRACE(lost);
    clear();
    begin();
    step.storeMessage(fullMessage());
    const std::string whole = content();
    step.finishRun(true);
    ASSERT_TRUE(database.session->query(lost));
    beginWithRepair();
    step.storeMessage(fullMessage());
    step.storeMessage(fullMessage());
    EXPECT_EQ(content(), whole);
    EXPECT_EQ(step.ledger->sums().archived, 1);
    EXPECT_EQ(step.ledger->sums().duplicates, 1);
    step.finishRun();
  }
}

TEST_F(LostLedgerTest, ItIsRememberedUntilTheMessageComesBy) {
  storeHalfAndLoseLedger();
  for (int run = 0; run < 2; ++run) {
    beginWithRepair();
    step.finishRun();
  }
  beginWithRepair();
  EXPECT_EQ(count("email"), "1") << "nothing shows yet that this is a half";
  step.storeMessage(plainMessage());
  step.finishRun();
  EXPECT_EQ(count("email"), "1");
  ASSERT_EQ(step.log.lines.size(), 1U);
  EXPECT_THAT(step.log.lines[0], HasSubstr("is being completed"));
  EXPECT_EQ(step.ledger->sums().archived, 1);
  EXPECT_EQ(count("origemail"), "1");
}

TEST_F(LostLedgerTest, RowsWithoutASourceByRightStay) {
  begin();
  TagRule rule;
  rule.tagOrExclude = 1;
  rule.ruleCriteria = {{"mailbox", "contains", "\"\""}};
  step.plan.tagRulesList = {rule};
  CurrentMessage excluded = plainMessage("Excluded when its mailbox has been escaped");
  excluded.msgMailbox = "IN\"BOX";
  step.storeMessage(excluded);
  step.plan.tagRulesList.clear();
  ASSERT_EQ(count("email"), "1");
  ASSERT_TRUE(storeAndCut(plainMessage(), Cut::killedBefore, 1));

  beginWithRepair();
  step.storeMessage(excluded);
  EXPECT_EQ(step.ledger->sums().duplicates, 1);
  EXPECT_EQ(count("origemail"), "0");
  EXPECT_THAT(step.log.lines, IsEmpty());
}

TEST_F(LostLedgerTest, AfterAnOrderlyEndNothingIsSuspected) {
  begin();
  step.finishRun();
  insertForeignRow("Hello");
  beginWithRepair();
  step.storeMessage(plainMessage());
  EXPECT_EQ(step.ledger->sums().duplicates, 1);
  EXPECT_EQ(count("origemail"), "0");
}

}  // namespace
}  // namespace keldane
