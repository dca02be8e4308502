#include "query/duplicate_sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/sha256.h"
#include "tests/ingest/server_database.h"
#include "tests/query/sweep_rig.h"
#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

constexpr const char* kDay = "2023-01-02 03:04:05";
constexpr const char* kScan =
    "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email";

ScriptedSession::Row row(const char* id, const char* subject, const char* date = kDay) {
  return {id, date, "a\"b\\", "to", subject, "IN", "2"};
}

std::string firstTest(const std::string& subject, int id) {
  return R"(SELECT id FROM email WHERE from_fld="a""b\\" AND to_fld="to" AND subj_fld LIKE ")" +
         subject +
         R"(" AND date_fld LIKE "2023-01-02%" AND date_fld LIKE "%03:04:05" AND NOT id = )" +
         std::to_string(id);
}

std::string secondTest(const std::string& subject, int id, int match) {
  return R"(SELECT id FROM email WHERE from_fld="a""b\\" AND to_fld="to" AND subj_fld=")" +
         subject +
         R"(" AND date_fld LIKE "2023-01-02%" AND date_fld LIKE "%03:04:05" AND NOT id = )" +
         std::to_string(id) + " AND NOT id = " + std::to_string(match);
}

/// Two rows of which the second repeats the first, as a server tells of them.
void layOutPair(ScriptedSession& session, const char* subject = "s") {
  session.answerOn(std::string("query ") + kScan, {row("4", subject), row("7", subject)});
  session.answerOn("query SELECT id FROM email*AND NOT id = 4", {{"7"}});
  session.answerOn("query SELECT id FROM email*AND NOT id = 7", {{"4"}});
  session.answerOn("query SELECT id FROM email*AND NOT id = 4 AND NOT id = 7", {});
  session.answerOn("query SELECT id FROM email*AND NOT id = 7 AND NOT id = 4", {});
  session.answerOn("query SELECT mailbox FROM email WHERE id = 7", {{"OUT"}});
  session.answerOn("query SELECT date_fld FROM email WHERE id=*", {{kDay}});
  session.answerOn("query SELECT count(id) FROM tags WHERE tags.id=*", {{"0"}});
  session.answerOn("query SELECT count(id) FROM tags WHERE tags.id=7", {{"1"}});
  session.answerOn("query SELECT count(id) FROM email", {{"1"}});
  // Neither has a source, and their rows are alike.
  session.answerOn("query SELECT COUNT(*) FROM email AS a*", {{"1"}});
}

TEST(DuplicateSweep, AsksByEscapedTextsAndBySubjectInTwoWays) {
  ScriptedSession session;
  layOutPair(session, R"(o"n\ %_;--)");
  SweepRig rig(session);
  EXPECT_EQ(rig.sweep.checkDups(true).deleted, 1U);
  const std::string subject = R"(o""n\\ %_;--)";
  EXPECT_THAT(session.statements(),
              IsSupersetOf({firstTest(subject, 4), secondTest(subject, 4, 7)}));
}

TEST(DuplicateSweep, ListsKeptRowsWithTheirCopiesBehindThem) {
  ScriptedSession session;
  layOutPair(session);
  SweepRig rig(session);
  rig.list.emailRows = {Emailrow{}};
  rig.list.listSearchButtonEnabled = true;
  EXPECT_TRUE(rig.sweep.checkDups(false).complete);
  EXPECT_THAT(rig.shown(), ElementsAre("4 2023-01-02 03:04:05 IN", "7 2023-01-02 03:04:05* OUT"));
  EXPECT_EQ(rig.list.emailRows[1].emailAtch, 2) << "the rest is that of the row it repeats";
  EXPECT_THAT(rig.list.emailIds, ElementsAre("4", "7"));
  EXPECT_EQ(rig.list.dbCountTextField, "1 emails in the database.");
  EXPECT_EQ(rig.list.listCountTextField, "2 emails in this list.");
  EXPECT_FALSE(rig.list.listSearchButtonEnabled);
  EXPECT_EQ(rig.cleared, 1);
  EXPECT_EQ(rig.sweep.keptOf(7), 4U);
  EXPECT_EQ(rig.sweep.keptOf(4), 4U);
  EXPECT_EQ(rig.sweep.keptOf(5), 0U);
  EXPECT_THAT(
      rig.ui.calls,
      ElementsAre("close dupsPanel", "close SQLPanel", "changed storeTableView",
                  "title storePanel checking for duplicates...", "show storePanel", "count 0 ",
                  "progress Checking for duplicates...", "progress end",
                  "title storePanel Duplicate emails found in mail", "changed storeTableView"));
}

TEST(DuplicateSweep, TellsHowManyAreDeleted) {
  ScriptedSession session;
  SweepRig rig(session);
  EXPECT_EQ(rig.sweep.checkDups(true).deleted, 0U);
  EXPECT_THAT(
      rig.ui.alertLines(),
      ElementsAre("alert [Duplicates were deleted] 0 duplicate emails have been deleted from "
                  "the database."));
  EXPECT_THAT(rig.shown(), IsEmpty());
}

TEST(DuplicateSweep, EndsAtTheFirstRefusedStatement) {
  struct Case {
    const char* name;
    const char* refused;
    unsigned long deleted;
  };
  const std::vector<Case> cases = {
      {"first test", "query SELECT id FROM email*LIKE \"s\"*", 0},
      {"tags of the row", "query SELECT count(id) FROM tags WHERE tags.id=4", 0},
      {"mailbox", "query SELECT mailbox*", 0},
      {"date", "query SELECT date_fld*", 0},
      {"tags of the match", "query SELECT count(id) FROM tags WHERE tags.id=7", 0},
      {"source of the row", "query SELECT orig_fld FROM origemail WHERE id=4", 0},
      {"source of the match", "query SELECT orig_fld FROM origemail WHERE id=7", 0},
      {"comparison", "query SELECT COUNT(*) FROM email AS a*", 0},
      {"delete", "query DELETE FROM attachments*", 0},
      {"second test", "query SELECT id FROM email*subj_fld=*", 1},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    ScriptedSession session;
    layOutPair(session);
    session.failOn(test.refused, "no");
    SweepRig rig(session);
    const DuplicateSweep::Outcome outcome = rig.sweep.checkDups(true);
    EXPECT_FALSE(outcome.complete);
    EXPECT_EQ(outcome.deleted, test.deleted);
    EXPECT_EQ(rig.ui.alertLines().front(), "alert critical [SQL Error] SQL error: no\\n");
  }
}

TEST(DuplicateSweep, LeavesTheListEmptyWhenTheScanIsRefused) {
  ScriptedSession session;
  session.failOn(std::string("query ") + kScan, "gone");
  SweepRig rig(session);
  EXPECT_FALSE(rig.sweep.checkDups(true).complete);
  EXPECT_THAT(rig.shown(), IsEmpty());
  EXPECT_THAT(rig.ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: gone"));
  EXPECT_EQ(rig.ui.calls[rig.ui.calls.size() - 2], "progress end");

  session.withoutResult = {kScan};
  SweepRig unread(session);
  session.failOn(std::string("query ") + kScan, "gone", 0);
  session.answerOn(std::string("query ") + kScan, {});
  EXPECT_FALSE(unread.sweep.checkDups(false).complete);
  EXPECT_THAT(unread.ui.alertLines(),
              ElementsAre("alert critical [SQL Error] SQL error: no answer\\n"));
}

TEST(DuplicateSweep, LeavesTheServersChoiceOfIndexesAsItWas) {
  for (const char* refused : {"query nothing", "query SELECT id FROM email*", "query SET*"}) {
    SCOPED_TRACE(refused);
    ScriptedSession session;
    layOutPair(session);
    session.failOn(refused, "no");
    SweepRig rig(session);
    static_cast<void>(rig.sweep.checkDups(false));
    const std::vector<std::string> statements = session.statements();
    EXPECT_EQ(statements.front(), "SET SESSION eq_range_index_dive_limit=1");
    EXPECT_EQ(statements[statements.size() - 2], "SET SESSION eq_range_index_dive_limit=DEFAULT");
    EXPECT_EQ(rig.list.emailRows.size(),
              std::string(refused) == "query SELECT id FROM email*" ? 0U : 2U);
  }
}

TEST(DuplicateSweep, CountsZeroWhenTheCountIsRefused) {
  ScriptedSession session;
  session.failOn("query SELECT count(id) FROM email", "no");
  SweepRig rig(session);
  EXPECT_TRUE(rig.sweep.checkDups(false).complete);
  EXPECT_EQ(rig.list.dbCountTextField, "0 emails in the database.");
  EXPECT_THAT(rig.log, ElementsAre("SQL error: no\n"));
}

TEST(DuplicateSweep, TakesTextsThatAreNoUtf8ForEmpty) {
  ScriptedSession session;
  session.answerOn(std::string("query ") + kScan,
                   {{"1", "short", std::nullopt, "\xFF", "\xE4rger", "IN", std::nullopt}});
  SweepRig rig(session);
  EXPECT_TRUE(rig.sweep.checkDups(false).complete);
  EXPECT_THAT(
      session.statements(),
      ::testing::Contains(
          R"(SELECT id FROM email WHERE from_fld="" AND to_fld="" AND subj_fld LIKE "" AND )"
          R"(date_fld LIKE "short%" AND date_fld LIKE "%" AND NOT id = 1)"));
}

// What a server makes of it.

struct Mail {
  std::string subject = "Hello";
  std::string date = kDay;
  std::string from = "ann@example.org";
  std::string to = "bob@example.org";
  std::string mailbox = "INBOX";
  std::string content = "as the others";
};

class ServerSweep : public ::testing::Test {
 protected:
  ServerSweep() : rig(*database.session), fingerprints({.session = *database.session}) {
    EXPECT_TRUE(fingerprints.open());
  }

  void add(const Mail& mail) {
    ++added_;
    run(fmt::format(
        "INSERT INTO email (id,date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) VALUES({},{},{},{},{},{},\"body {}\",\"\",\"\",\"\")",
        added_, quotedInline(mail.date), quotedInline(mail.from), quotedInline(mail.to),
        quotedInline(mail.subject), quotedInline(mail.mailbox), added_));
    run(fmt::format("INSERT INTO origemail VALUES({},\"source\")", added_));
    run(
        fmt::format("INSERT INTO attachments VALUES({0},\"t\",\"f\",1,\"x\"),({0},\"t\",\"g\",1,"
                    "\"y\")",
                    added_));
    run(fmt::format("INSERT INTO tags VALUES({},\"cat\",\"\",0,\"\")", added_));
    const std::string digest = sha256(mail.content);
    EXPECT_TRUE(fingerprints.write(static_cast<std::uint32_t>(added_), {.contentSha256 = digest}));
  }
  void run(const std::string& sql) {
    ASSERT_TRUE(database.session->query(sql)) << sql << ": " << database.session->error();
  }
  std::string ids(const std::string& table = "email") const {
    return database.cells("SELECT COALESCE(GROUP_CONCAT(DISTINCT id ORDER BY id),'') FROM " +
                          table);
  }

  ServerDatabase database;
  SweepRig rig;
  Fingerprints fingerprints;

 private:
  int added_ = 0;
};

TEST_F(ServerSweep, DeletesCopiesFromAllTables) {
  for (int i = 0; i < 5; ++i) add({.mailbox = fmt::format("box{}", i)});
  add({.subject = "Other"});
  const DuplicateSweep::Outcome outcome = rig.sweep.checkDups(true);
  EXPECT_TRUE(outcome.complete);
  EXPECT_EQ(outcome.deleted, 4U);
  const std::string kept = database.cells("SELECT MIN(id) FROM email");
  for (const char* table : {"email", "attachments", "tags", "origemail", "keldane_fingerprints"}) {
    EXPECT_EQ(ids(table), kept + ",6") << table;
  }
  EXPECT_EQ(rig.list.emailRows.size(), 1U);
  EXPECT_EQ(rig.list.emailRows[0].emailDate, std::string(kDay) + "*");
  EXPECT_EQ(rig.list.dbCountTextField, "2 emails in the database.");
  EXPECT_EQ(rig.sweep.checkDups(true).deleted, 0U) << "nothing is left for a second sweep";
}

TEST_F(ServerSweep, ListsEveryCopyOnceAndDeletesNone) {
  for (int i = 0; i < 6; ++i) add({});
  add({.subject = "Other"});
  EXPECT_TRUE(rig.sweep.checkDups(false).complete);
  EXPECT_EQ(ids(), "1,2,3,4,5,6,7");
  std::vector<std::uint32_t> listed;
  const std::uint32_t kept = rig.list.emailRows.front().emailID;
  for (const Emailrow& shown : rig.list.emailRows) {
    listed.push_back(shown.emailID);
    EXPECT_EQ(rig.sweep.keptOf(shown.emailID), kept);
  }
  EXPECT_THAT(listed, ::testing::UnorderedElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(ServerSweep, TellsWhatIsACopy) {
  struct Case {
    const char* name;
    Mail one;
    Mail other;
    bool copy;
  };
  const std::vector<Case> cases = {
      {"another mailbox", {}, {.mailbox = "Sent"}, true},
      {"another content", {}, {.content = "of its own"}, false},
      {"another subject", {}, {.subject = "Hello!"}, false},
      {"another second", {}, {.date = "2023-01-02 03:04:06"}, false},
      {"another day", {}, {.date = "2023-01-03 03:04:05"}, false},
      {"another sender", {}, {.from = "eve@example.org"}, false},
      {"another receiver", {}, {.to = "eve@example.org"}, false},
      {"no subject", {.subject = ""}, {.subject = ""}, true},
      {"quotes", {.subject = R"("a" ""b)"}, {.subject = R"("a" ""b)"}, true},
      {"a quote at the end", {.subject = "a\""}, {.subject = "a\""}, true},
      {"statement in the subject", {.subject = "\" OR 1=1 -- "}, {.subject = "plain"}, false},
      {"statement in the sender", {.from = "\\\" OR 1=1 -- "}, {.subject = "plain"}, false},
      {"statement at the end of the receiver", {.to = "x\\"}, {.subject = " OR 1=1 -- "}, false},
      {"percent in one subject", {.subject = "H%o"}, {}, true},
      {"line in one subject", {.subject = "H_llo"}, {}, true},
      // The pattern reads a backslash as an escape, so that no text of one matches itself.
      {"backslash", {.subject = R"(a\b)"}, {.subject = R"(a\b)"}, false},
      {"backslash in the sender", {.from = R"(a\b)"}, {.from = R"(a\b)"}, true},
      {"faces", {.subject = "\U0001F600 ä"}, {.subject = "\U0001F600 ä"}, true},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    run("DELETE FROM email");
    add(test.one);
    add(test.other);
    const DuplicateSweep::Outcome outcome = rig.sweep.checkDups(true);
    EXPECT_TRUE(outcome.complete);
    EXPECT_EQ(outcome.deleted, test.copy ? 1U : 0U);
    EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email"), test.copy ? "1" : "2");
  }
}

TEST_F(ServerSweep, MatchesMoreWidelyAtFirstThanAfterwards) {
  add({.subject = "H%"});
  add({.subject = "Hello"});
  add({.subject = "Hi"});
  EXPECT_TRUE(rig.sweep.checkDups(false).complete);
  EXPECT_EQ(rig.list.emailRows.size(), 2U) << "the second look takes the subject by its letters";
}

TEST_F(ServerSweep, LeavesTheCopyOfARowThatAWildcardTook) {
  add({.subject = "H%o"});
  add({.subject = "Hello"});
  add({.subject = "Hello"});
  EXPECT_EQ(rig.sweep.checkDups(true).deleted, 1U);
  EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email WHERE subj_fld = 'Hello'"), "1");
}

TEST_F(ServerSweep, WhatIsOnlySimilarIsListedAndStays) {
  using Relation = DuplicateSweep::Relation;
  for (const char* content : {"one", "two", "one", "two", "three", "one"})
    add({.content = content});
  const DuplicateSweep::Outcome counted = rig.sweep.checkDups(false);
  EXPECT_EQ(counted.copies, 3U);
  EXPECT_EQ(counted.similar, 2U);
  EXPECT_EQ(counted.deleted, 0U);
  EXPECT_EQ(rig.list.emailRows.size(), 6U);
  EXPECT_EQ(rig.sweep.relationOf(1), Relation::kept);
  EXPECT_EQ(rig.sweep.relationOf(2), Relation::similar);
  EXPECT_EQ(rig.sweep.relationOf(4), Relation::copy);
  EXPECT_EQ(rig.sweep.keptOf(4), 2U);
  EXPECT_EQ(rig.sweep.relationOf(7), Relation::none);
  EXPECT_EQ(rig.sweep.checkDups(true).deleted, 3U);
  EXPECT_EQ(ids(), "1,2,5");
  EXPECT_EQ(rig.list.emailRows.size(), 3U);
}

TEST_F(ServerSweep, WithoutFingerprintsTheSourcesAreCompared) {
  struct Case {
    const char* name;
    const char* change;  // of the second of two
    bool copy;
  };
  const std::vector<Case> cases = {
      {"the same", "DO 0", true},
      {"another way",
       "UPDATE origemail SET orig_fld='Received: x\nSubject: Hello\n\nThe key is 111' WHERE id MOD "
       "2=0",
       true},
      {"another text",
       "UPDATE origemail SET orig_fld='Subject: Hello\n\nThe key is 222' WHERE id MOD 2=0", false},
      {"one has none", "DELETE FROM origemail WHERE id MOD 2=0", false},
      {"none has one, and the rows differ", "DELETE FROM origemail", false},
      {"none has one, and the rows are alike", "UPDATE email SET body_fld=''", true},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    for (const char* table : {"email", "origemail", "keldane_fingerprints"}) {
      run(std::string("DELETE FROM ") + table);
    }
    add({});
    add({});
    run("DELETE FROM keldane_fingerprints");
    run("UPDATE origemail SET orig_fld='Subject: Hello\n\nThe key is 111'");
    run(test.change);
    if (std::string(test.name).ends_with("alike")) run("DELETE FROM origemail");
    EXPECT_EQ(rig.sweep.checkDups(true).deleted, test.copy ? 1U : 0U);
  }
}

TEST_F(ServerSweep, GoesThroughAnEmptyArchive) {
  EXPECT_TRUE(rig.sweep.checkDups(true).complete);
  EXPECT_EQ(rig.list.dbCountTextField, "0 emails in the database.");
  EXPECT_EQ(rig.list.listCountTextField, "0 emails in this list.");
}

}  // namespace
}  // namespace keldane
