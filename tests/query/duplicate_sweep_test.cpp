#include "query/duplicate_sweep.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "archive/fingerprints.h"
#include "archive/sql_values.h"
#include "base/sha256.h"
#include "tests/ingest/server_database.h"
#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

constexpr const char* kDay = "2023-01-02 03:04:05";
constexpr const char* kScan =
    "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email";

constexpr const char* kRepeatedDates =
    "query SELECT date_fld FROM email GROUP BY date_fld HAVING COUNT(id)>1";

ScriptedSession::Row row(const char* id) { return {id, kDay, "a\"b\\", "to", "s", "IN", "2"}; }

/// A sweep, a refused scan as one that failed at once.
SweepResult sweep(ServerSession& session, bool deletes) {
  Progress progress;
  Result<SweepResult> found = sweepDuplicates(session, deletes, {}, progress);
  if (found) return std::move(*found);
  SweepResult failed;
  failed.error = found.error();
  return failed;
}

/// Two rows of which the second repeats the first, as a server tells of them.
void layOutPair(ScriptedSession& session) {
  session.answerOn(kRepeatedDates, {{kDay}});
  session.answerOn(std::string("query ") + kScan, {row("4"), row("7")});
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
    const SweepResult found = sweep(session, true);
    EXPECT_EQ(found.error, "no");
    EXPECT_EQ(found.deleted, test.deleted);
  }
}

TEST(DuplicateSweep, FailsWhenTheRowsAreRefusedOrCannotBeRead) {
  ScriptedSession session;
  session.withoutResult = {kScan};
  EXPECT_EQ(sweep(session, false).error, "no answer");
  session.failOn(std::string("query ") + kScan, "gone");
  Progress progress;
  EXPECT_EQ(sweepDuplicates(session, true, {}, progress).error(), "gone");
}

TEST(DuplicateSweep, LeavesTheServersChoiceOfIndexesAsItWas) {
  for (const char* refused :
       {"query nothing", "query SELECT id FROM email*", kRepeatedDates, "query SET*"}) {
    SCOPED_TRACE(refused);
    ScriptedSession session;
    layOutPair(session);
    session.failOn(refused, "no");
    const SweepResult found = sweep(session, false);
    const std::vector<std::string> statements = session.statements();
    EXPECT_EQ(statements.front(), "SET SESSION eq_range_index_dive_limit=1");
    EXPECT_EQ(statements.back(), "SET SESSION eq_range_index_dive_limit=DEFAULT");
    const std::string statement = refused;
    const bool finds = statement == "query nothing" || statement == "query SET*";
    EXPECT_EQ(found.listed.size(), finds ? 2U : 0U);
  }
}

TEST(DuplicateSweep, TakesTextsThatAreNoUtf8ForEmpty) {
  ScriptedSession session;
  session.answerOn(kRepeatedDates, {{"short"}});
  session.answerOn(std::string("query ") + kScan,
                   {{"1", "short", std::nullopt, "\xFF", "\xE4rger", "IN", std::nullopt}});
  EXPECT_EQ(sweep(session, false).error, "");
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
  ServerSweep() : fingerprints({.session = *database.session}) { EXPECT_TRUE(fingerprints.open()); }

  void add(const Mail& mail) {
    ++added_;
    send(fmt::format(
        "INSERT INTO email (id,date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) VALUES({},{},{},{},{},{},\"body {}\",\"\",\"\",\"\")",
        added_, quotedInline(mail.date), quotedInline(mail.from), quotedInline(mail.to),
        quotedInline(mail.subject), quotedInline(mail.mailbox), added_));
    send(fmt::format("INSERT INTO origemail VALUES({},\"source\")", added_));
    send(
        fmt::format("INSERT INTO attachments VALUES({0},\"t\",\"f\",1,\"x\"),({0},\"t\",\"g\",1,"
                    "\"y\")",
                    added_));
    send(fmt::format("INSERT INTO tags VALUES({},\"cat\",\"\",0,\"\")", added_));
    const std::string digest = sha256(mail.content);
    EXPECT_TRUE(fingerprints.write(static_cast<std::uint32_t>(added_), {.contentSha256 = digest}));
  }
  void send(const std::string& sql) {
    ASSERT_TRUE(database.session->query(sql)) << sql << ": " << database.session->error();
  }
  std::string ids(const std::string& table = "email") const {
    return database.cells("SELECT COALESCE(GROUP_CONCAT(DISTINCT id ORDER BY id),'') FROM " +
                          table);
  }

  SweepResult sweepAll(bool deletes) {
    SweepResult found = sweep(*database.session, deletes);
    EXPECT_EQ(found.error, "");
    return found;
  }

  ServerDatabase database;
  Fingerprints fingerprints;

 private:
  int added_ = 0;
};

TEST_F(ServerSweep, DeletesCopiesFromAllTables) {
  for (int i = 0; i < 5; ++i) add({.mailbox = fmt::format("box{}", i)});
  add({.subject = "Other"});
  const SweepResult found = sweepAll(true);
  EXPECT_EQ(found.deleted, 4U);
  const std::string kept = database.cells("SELECT MIN(id) FROM email");
  for (const char* table : {"email", "attachments", "tags", "origemail", "keldane_fingerprints"}) {
    EXPECT_EQ(ids(table), kept + ",6") << table;
  }
  ASSERT_EQ(found.listed.size(), 1U);
  EXPECT_EQ(found.listed[0].row.emailDate, std::string(kDay) + "*");
  EXPECT_EQ(sweepAll(true).deleted, 0U) << "nothing is left for a second sweep";
}

TEST_F(ServerSweep, TagsOfACopyGoToTheMessageThatStaysWithoutAny) {
  add({});
  add({});
  add({});
  const SweepResult before = sweepAll(false);
  const std::uint32_t kept = before.listed.front().row.emailID;
  send(fmt::format("DELETE FROM tags WHERE id={}", kept));
  send(
      fmt::format("UPDATE tags SET cat_fld=\"by hand\" WHERE id={}", before.listed[1].row.emailID));
  EXPECT_EQ(sweepAll(true).deleted, 2U);
  EXPECT_EQ(database.cells("SELECT id,cat_fld FROM tags"), fmt::format("{}|by hand", kept));
}

TEST_F(ServerSweep, ListsEveryCopyOnceAndDeletesNone) {
  for (int i = 1; i <= 6; ++i) add({.mailbox = fmt::format("box{}", i)});
  add({.subject = "Other"});
  const SweepResult found = sweepAll(false);
  EXPECT_EQ(ids(), "1,2,3,4,5,6,7");
  std::vector<std::uint32_t> listed;
  for (const SweepResult::Entry& entry : found.listed) {
    listed.push_back(entry.row.emailID);
    EXPECT_EQ(entry.of, found.listed.front().row.emailID);
    EXPECT_EQ(entry.row.emailMailbox, fmt::format("box{}", entry.row.emailID));
    EXPECT_EQ(entry.row.emailDate, std::string(kDay) + "*") << "all of them are tagged";
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
    send("DELETE FROM email");
    add(test.one);
    add(test.other);
    EXPECT_EQ(sweepAll(true).deleted, test.copy ? 1U : 0U);
    EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email"), test.copy ? "1" : "2");
  }
}

TEST_F(ServerSweep, MatchesMoreWidelyAtFirstThanAfterwards) {
  add({.subject = "H%"});
  add({.subject = "Hello"});
  add({.subject = "Hi"});
  EXPECT_EQ(sweepAll(false).listed.size(), 2U)
      << "the second look takes the subject by its letters";
}

TEST_F(ServerSweep, LeavesTheCopyOfARowThatAWildcardTook) {
  add({.subject = "H%o"});
  add({.subject = "Hello"});
  add({.subject = "Hello"});
  EXPECT_EQ(sweepAll(true).deleted, 1U);
  EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email WHERE subj_fld = 'Hello'"), "1");
}

TEST_F(ServerSweep, WhatIsOnlySimilarIsListedAndStays) {
  for (const char* content : {"one", "two", "one", "two", "three", "one"})
    add({.content = content});
  const SweepResult found = sweepAll(false);
  EXPECT_EQ(found.copies, 3U);
  EXPECT_EQ(found.similar, 2U);
  EXPECT_EQ(found.deleted, 0U);
  std::vector<std::string> relations;
  for (const auto& [row, relation, of] : found.listed) {
    const char* words[] = {"kept", "copy", "similar"};
    relations.push_back(
        fmt::format("{} {} {}", row.emailID, words[static_cast<int>(relation)], of));
  }
  EXPECT_THAT(relations, ::testing::UnorderedElementsAre("1 kept 1", "2 similar 1", "3 copy 1",
                                                         "4 copy 2", "5 similar 1", "6 copy 1"));
  const SweepResult deleted = sweepAll(true);
  EXPECT_EQ(deleted.deleted, 3U);
  EXPECT_EQ(deleted.listed.size(), 3U);
  EXPECT_EQ(ids(), "1,2,5");
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
      send(std::string("DELETE FROM ") + table);
    }
    add({});
    add({});
    send("DELETE FROM keldane_fingerprints");
    send("UPDATE origemail SET orig_fld='Subject: Hello\n\nThe key is 111'");
    send(test.change);
    if (std::string(test.name).ends_with("alike")) send("DELETE FROM origemail");
    EXPECT_EQ(sweepAll(true).deleted, test.copy ? 1U : 0U);
  }
}

}  // namespace
}  // namespace keldane
