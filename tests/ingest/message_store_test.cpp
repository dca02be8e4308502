#include "ingest/storing/message_store.h"

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ingest/ledger/ledger_reader.h"
#include "tests/ingest/store_fixture.h"
#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// "outcome detail" of each line of the ledger.
std::vector<std::string> outcomes(const StoreFixture& fixture) {
  std::vector<std::string> found;
  EXPECT_TRUE(forEachLedgerLine(fixture.ledgerPath(), [&](const LedgerLine& line) {
    found.push_back(std::string(outcomeName(line.outcome)) + " " + line.detail);
  }));
  return found;
}

std::string textOf(const SpooledText& text) {
  std::string all;
  std::string_view piece;
  for (const PieceReader next = text.reader(); next(piece).value();) all += piece;
  return all;
}

bool hasOpenEntry(const StoreFixture& fixture) {
  const Result<LedgerState> state = readLedgerState(fixture.ledgerPath());
  return state && !state->open.empty();
}

TagRule ruleFor(const std::string& field, const std::string& value, bool exclude) {
  TagRule rule;
  rule.ruleDescription = "rule on " + field;
  rule.ruleCat = "Work";
  rule.ruleKeywords = "zeta";
  rule.tagOrExclude = exclude ? 1 : 0;
  rule.ruleCriteria = {{field, "contains", value}};
  return rule;
}

class MessageStoreTest : public ::testing::Test {
 protected:
  MessageStoreTest() : fixture(session) { session.lastInsertId = 12; }

  void begin() { ASSERT_TRUE(fixture.beginRun(11)); }
  void store(CurrentMessage message) { fixture.storeMessage(std::move(message)); }

  ScriptedSession session;
  StoreFixture fixture;
};

/// Those on the tables that every archive has.
std::vector<std::string> sentOnTheArchive(const ScriptedSession& session) {
  std::vector<std::string> sent = session.statements();
  std::erase_if(sent, [](const std::string& sql) {
    return sql.starts_with("SHOW ") || sql.find("keldane_") != std::string::npos;
  });
  return sent;
}

TEST_F(MessageStoreTest, ANewMessageIsAskedForByEscapedTextsAndStoredByPlainOnes) {
  begin();
  CurrentMessage message = fullMessage();
  message.tags.tagCategory = R"(The "Cat")";
  message.tags.tagKeywordsFromFile = " beta Alpha";
  message.tags.tagPriority = "3 high";
  message.tags.tagNotes = "two\nlines";
  store(message);
  EXPECT_THAT(sentOnTheArchive(session),
              ElementsAre(R"(SELECT id FROM email WHERE date_fld="2023-01-02 03:04:05" AND )"
                          R"(to_fld="Bob <bob@example.org>,""C"" <carol@example.org>" AND )"
                          R"(from_fld="Ann ""A"" \\ <ann@example.org>")",
                          R"(INSERT INTO tags (id,cat_fld,key_fld,priority_fld,notes_fld) )"
                          R"(VALUES(12,"The ""Cat"""," Alpha beta",3,"twolines"))",
                          HasSubstr("INSERT INTO origemail (id,orig_fld) VALUES(12,\"From: ann\n"),
                          HasSubstr("UPDATE email SET headings=\"From: ann\n")));
  EXPECT_THAT(fixture.log.lines, IsEmpty());
  EXPECT_THAT(outcomes(fixture), ElementsAre("archived 12"));
  EXPECT_EQ(fixture.counters.firstStoredId, 12U);
  EXPECT_EQ(fixture.counters.lastStoredId, 12U);
  EXPECT_EQ(fixture.store->storeOutcome(), 1);
  EXPECT_EQ(fixture.message.msgMailbox, R"(V10/1/IN"BOX)");
}

TEST_F(MessageStoreTest, AKnownMessageIsToldOf) {
  begin();
  session.answerOn("query SELECT id FROM email WHERE date_fld*", {{"7"}});
  session.failOn("query INSERT INTO tags*", "Duplicate entry");
  fixture.plan.tagRulesList = {ruleFor("subject", "hello", false)};
  fixture.counters.progressCount = 5;
  CurrentMessage message = plainMessage();
  message.msgMailbox = R"(IN"BOX)";
  message.tags.tagKeywordsFromFile = R"(\"quoted\" alpha)";
  store(message);
  EXPECT_THAT(session.statements(),
              ::testing::Contains(R"(UPDATE tags SET cat_fld="Work",key_fld="""quoted"" alpha )"
                                  R"(zeta",priority_fld=0,notes_fld="" WHERE id=7)"));
  EXPECT_EQ(textOf(fixture.duplicateLogText),
            "2023-01-02 03:04:05: from ann@example.org to bob@example.org, Hello, IN\"\"BOX\n");
  EXPECT_THAT(outcomes(fixture), ElementsAre("duplicate 7"));
  EXPECT_EQ(fixture.counters.duplicateCount, 1);
  EXPECT_EQ(fixture.counters.progressCount, 4);
  EXPECT_EQ(fixture.store->storeOutcome(), 2);
}

TEST_F(MessageStoreTest, RefusedStatementsCostWhatTheyCost) {
  struct Case {
    const char* name;
    std::vector<const char*> patterns;
    bool known;
    const char* line;  // "" for none, or in the system's log
    const char* outcome;
    int archived;
    int duplicates;
    bool open = false;  // for the next run to complete
  };
  const std::vector<Case> cases = {
      {"duplicate test",
       {"query SELECT id FROM email WHERE date_fld*"},
       false,
       "SQL error: boom, /mail/1.eml\n",
       "archived 12",
       1,
       0},
      {"body test", {"query SELECT id*body_fld LIKE*"}, true, "", "archived 12", 1, 0},
      {"prepare of the row",
       {"prepare INSERT INTO email*"},
       false,
       "SQL error:boom, /mail/1.eml\n",
       "failed boom",
       0,
       0},
      {"bind of the row",
       {"bind text:Ann*"},
       false,
       "SQL error1:boom, /mail/1.eml\n",
       "failed boom",
       0,
       0},
      {"row in both forms",
       {"execute", "query INSERT INTO email*"},
       false,
       "SQL Error3: boom, /mail/1.eml\n",
       "failed boom",
       0,
       0},
      {"end of the row's statement",
       {"closeStatement"},
       false,
       "SQL error4:boom, /mail/1.eml\n",
       "failed boom",
       0,
       0,
       true},
      {"tags",
       {"query INSERT INTO tags*"},
       false,
       "SQL error: boom, /mail/1.eml\n",
       "failed row 12: boom",
       1,
       0,
       true},
      {"source",
       {"query INSERT INTO origemail*"},
       false,
       "SQL error8: boom, /mail/1.eml\n",
       "failed row 12: boom",
       1,
       0,
       true},
      {"headings",
       {"query UPDATE email SET headings*"},
       false,
       "SQL error: boom, /mail/1.eml\n",
       "failed row 12: boom",
       1,
       0,
       true},
      {"a part",
       {"prepare INSERT INTO attachments*html*"},
       false,
       "SQL error:boom, /mail/1.eml\n",
       "failed row 12: boom",
       1,
       0,
       true},
      {"attachment names",
       {"prepare UPDATE email SET attachNames*"},
       false,
       "SQL error updating attachments information:boom, /mail/1.eml\n",
       "failed row 12: boom",
       1,
       0,
       true},
      {"mailbox test",
       {"query SELECT id FROM email WHERE mailbox*"},
       true,
       "",
       "duplicate 7",
       0,
       1},
      {"mailbox",
       {"prepare UPDATE email SET mailbox*"},
       true,
       "SQL error updating mailbox:boom, /mail/1.eml\n",
       "failed row 7: boom",
       0,
       0},
      {"tags of a known one",
       {"query * tags *"},
       true,
       "SQL error:boom, /mail/1.eml\n",
       "duplicate 7",
       0,
       1},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    ScriptedSession scripted;
    scripted.lastInsertId = 12;
    StoreFixture step(scripted);
    ASSERT_TRUE(step.beginRun(11));
    if (row.known) scripted.answerOn("query SELECT id FROM email WHERE date_fld*", {{"7"}});
    for (const char* pattern : row.patterns) scripted.failOn(pattern, "boom");
    CurrentMessage message = fullMessage();
    message.tags.tagNotes = "note";
    step.storeMessage(message);
    if (*row.line != '\0') {
      EXPECT_THAT(step.log.lines, ElementsAre(row.line));
    } else {
      EXPECT_THAT(step.log.lines, IsEmpty());
    }
    EXPECT_THAT(outcomes(step), ElementsAre(row.outcome));
    EXPECT_EQ(step.counters.processedCount, 1);
    EXPECT_EQ(step.counters.archivedCount, row.archived);
    EXPECT_EQ(step.counters.duplicateCount, row.duplicates);
    EXPECT_EQ(hasOpenEntry(step), row.open);
    EXPECT_EQ(step.message.msgMailbox, fullMessage().msgMailbox);
  }
}

TEST_F(MessageStoreTest, FallsBackOnPlainTextThatCannotEndItsQuotes) {
  begin();
  session.failOn("execute", "Incorrect string", 1);
  CurrentMessage message = plainMessage("line one \\\nline \"two\" \\");
  message.msgDate = "today\" \\";
  message.msgFrom = "\\";
  message.msgMailbox = "in\"\nbox\\";
  store(message);
  EXPECT_THAT(session.statements(),
              ::testing::Contains(
                  "INSERT INTO email (date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,"
                  R"(numAttach) VALUES("today"" \\","\\","bob@example.org","Hello","",)"
                  R"("in""box\\","line one \\line ""two"" \\",0))"));
  EXPECT_THAT(fixture.log.lines, IsEmpty());
  EXPECT_THAT(outcomes(fixture), ElementsAre("archived 12"));
}

TEST_F(MessageStoreTest, RefusesAContentTypeThatWouldEndItsQuotes) {
  struct Case {
    const char* type;
    bool refused;
  };
  const std::vector<Case> cases = {{"text/plain; x", false},       {"text/\"plain", true},
                                   {"text/plain\\", true},         {"text/plain\\\n\n", true},
                                   {"text\\plain", false},         {"text/plain\n", false},
                                   {"\");DROP TABLE email", true}, {"", false}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.type);
    ScriptedSession scripted;
    StoreFixture step(scripted);
    ASSERT_TRUE(step.beginRun());
    CurrentMessage message = plainMessage();
    message.msgParts = {{row.type, "lost.pdf", "data"}, {"text/plain", "kept.txt", "data"}};
    step.storeMessage(message);
    EXPECT_EQ(step.log.lines.size(), row.refused ? 1U : 0U);
    if (row.refused) {
      EXPECT_THAT(step.log.lines[0], HasSubstr(", /mail/2.eml\n"));
    }
    EXPECT_FALSE(hasOpenEntry(step)) << "no other run would fare better";
    EXPECT_THAT(scripted.calls, ::testing::Contains("bind text:kept.txt blob:data"));
    EXPECT_THAT(scripted.calls, ::testing::Contains("bind text:lost.pdf,kept.txt text:"));
  }
}

TEST_F(MessageStoreTest, ListsTheNamesOfPartsButForTwoEndings) {
  begin();
  CurrentMessage message = plainMessage();
  for (const char* name : {"a.html", "b.hmtl", "c.etf", "", "d\n\\.txt", "e.rtf"}) {
    message.msgParts.push_back({"x/y", name, ""});
  }
  store(message);
  EXPECT_THAT(session.calls, ::testing::Contains(R"(bind text:a.html,d\\.txt,e.rtf text:)"));
}

TEST_F(MessageStoreTest, ARuleKeepsAMessageOutAtThreePlaces) {
  struct Case {
    const char* name;
    const char* value;  // the first look sees in"box, the later ones in""box
    bool known;
    int processed;
  };
  const std::vector<Case> cases = {{"before anything", "in\"box", false, 0},
                                   {"after the insert", "in\"\"box", false, 1},
                                   {"known already", "in\"\"box", true, 1}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    ScriptedSession scripted;
    scripted.lastInsertId = 12;
    if (row.known) scripted.answerOn("query SELECT id FROM email WHERE date_fld*", {{"7"}});
    StoreFixture step(scripted);
    step.plan.tagRulesList = {ruleFor("mailbox", row.value, true)};
    ASSERT_TRUE(step.beginRun(11));
    CurrentMessage message = plainMessage();
    message.msgMailbox = "IN\"BOX";
    step.storeMessage(message);
    EXPECT_THAT(outcomes(step), ElementsAre("excluded rule on mailbox"));
    EXPECT_EQ(step.counters.processedCount, row.processed);
    EXPECT_EQ(step.counters.archivedCount, 0);
    EXPECT_EQ(step.counters.duplicateCount, 0);
    EXPECT_THAT(scripted.statements(),
                ::testing::Not(::testing::Contains(HasSubstr("INTO origemail"))));
    EXPECT_FALSE(hasOpenEntry(step));
  }
}

TEST_F(MessageStoreTest, KeywordsOfTheRulesEnterOnce) {
  begin();
  fixture.plan.tagRulesList = {ruleFor("subject", "hello", false)};
  CurrentMessage message = plainMessage();
  message.tags.tagKeywords = "left over";
  message.tags.tagKeywordsFromFile = "own";
  store(message);
  EXPECT_THAT(session.statements(), ::testing::Contains(HasSubstr(R"("own zeta")")));
}

TEST_F(MessageStoreTest, MessagesOfOneMboxDoNotGrowTheirMailbox) {
  begin();
  CurrentMessage message = plainMessage();
  message.msgMailbox = "/a\"b\\";
  message.msgMailto = "x\"y";
  store(message);
  for (int i = 0; i < 3; ++i) store(fixture.message);
  EXPECT_EQ(fixture.message.msgMailbox, "/a\"b\\");
  EXPECT_EQ(fixture.message.msgMailto, "x\"y");
}

TEST_F(MessageStoreTest, ConnectsAgainWhenTheServerHasGoneBeforeTheInsert) {
  begin();
  session.statementFailures = {"MySQL server has gone away", "MySQL server has gone away"};
  session.failOn("bind text:ann*", "MySQL server has gone away", 1);
  store(plainMessage());
  EXPECT_EQ(fixture.reconnects, 3);
  EXPECT_THAT(outcomes(fixture), ElementsAre("archived 12"));
  session.statementFailures = {"out of memory"};
  store(plainMessage());
  EXPECT_EQ(fixture.reconnects, 3);
  EXPECT_THAT(outcomes(fixture), ElementsAre("archived 12", "failed out of memory"));
}

TEST_F(MessageStoreTest, ALostServerLeavesTheEntryOpenOnceARowMayExist) {
  struct Case {
    const char* name;
    const char* lostFrom;
    bool open;
  };
  const std::vector<Case> cases = {
      {"at the duplicate test", "query SELECT*", false},
      {"at prepare", "prepare INSERT INTO email*", false},
      {"at execute", "execute", true},
      {"at close", "closeStatement", true},
      {"at the source", "query INSERT INTO origemail*", true},
      {"at the last step", "prepare UPDATE email SET attachNames*", true},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    ScriptedSession scripted;
    scripted.lastInsertId = 12;
    StoreFixture step(scripted);
    ASSERT_TRUE(step.beginRun(11));
    scripted.failOn(row.lostFrom, "Lost connection to server during query");
    scripted.failOn("query INSERT INTO email*", "MySQL server has gone away");
    if (!row.open) scripted.failOn("prepare*", "MySQL server has gone away");
    step.storeMessage(plainMessage());
    EXPECT_EQ(hasOpenEntry(step), row.open);
    EXPECT_NE(step.lostServer, "");
    EXPECT_EQ(step.ledger->sums().failed, 1);
    EXPECT_EQ(step.ledger->sums().met, 1);
  }
}

TEST_F(MessageStoreTest, AComparisonThatIsRefusedStoresNothingAndLosesNothing) {
  begin();
  session.answerOn("query SELECT id FROM email WHERE date_fld*", {{"7"}});
  session.failOn("query SELECT email.id*", "boom");
  CurrentMessage message = plainMessage();
  message.contentSha256 = std::string(32, 'c');
  store(message);
  EXPECT_THAT(outcomes(fixture), ElementsAre("failed boom"));
  EXPECT_FALSE(hasOpenEntry(fixture));
}

TEST_F(MessageStoreTest, AMessageLargerThanTheServerTakesLeavesNoRowAndEndsNoRun) {
  begin();
  CurrentMessage huge = plainMessage();
  huge.msgOriginal.assign(10000, '"');
  for (const std::size_t most : {std::size_t{15000}, std::size_t{30000}}) {
    session.mostBytes = most;
    store(huge);
  }
  EXPECT_THAT(outcomes(fixture),
              ElementsAre("failed the message has 10000 bytes, more than the server takes; raise "
                          "its max_allowed_packet (15000)",
                          "archived 12"));
  EXPECT_FALSE(hasOpenEntry(fixture));
  EXPECT_EQ(fixture.lostServer, "");
}

TEST_F(MessageStoreTest, LogLinesStayLines) {
  begin();
  session.failOn("prepare INSERT INTO email*", "near 'a\nb\x1b[2J'");
  CurrentMessage message = plainMessage();
  message.currentPath = "/mail/\x1b[2J\nforged.eml";
  store(message);
  ASSERT_EQ(fixture.log.lines.size(), 1U);
  const std::string& line = fixture.log.lines[0];
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  EXPECT_EQ(line.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace keldane
