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
    const char* refused;
    bool known;
    const char* line;  ///< up to the server's text; "" for none, or in the system's log
    const char* outcome;
    int archived;
    int duplicates;
    bool open;  ///< for the next run to complete
  };
  constexpr const char* kAttachments = "SQL error updating attachments information:";
  constexpr const char* kMailbox = "SQL error updating mailbox:";
  constexpr const char* kRow = "failed row 12: boom";
  const Case cases[] = {
      {"query SELECT id FROM email WHERE date_fld*", false, "SQL error: ", "archived 12", 1, 0, {}},
      {"query SELECT id*body_fld LIKE*", true, "", "archived 12", 1, 0, false},
      {"prepare INSERT INTO email*", false, "SQL error:", "failed boom", 0, 0, false},
      {"bind text:Ann*", false, "SQL error1:", "failed boom", 0, 0, false},
      {"execute", false, "SQL Error3: ", "failed boom", 0, 0, false},
      {"closeStatement", false, "SQL error4:", "failed boom", 0, 0, true},
      {"query INSERT INTO tags*", false, "SQL error: ", kRow, 1, 0, true},
      {"query INSERT INTO origemail*", false, "SQL error8: ", kRow, 1, 0, true},
      {"query UPDATE email SET headings*", false, "SQL error: ", kRow, 1, 0, true},
      {"prepare INSERT INTO attachments*html*", false, "SQL error:", kRow, 1, 0, true},
      {"prepare UPDATE email SET attachNames*", false, kAttachments, kRow, 1, 0, true},
      {"query SELECT id FROM email WHERE mailbox*", true, "", "duplicate 7", 0, 1, false},
      {"prepare UPDATE email SET mailbox*", true, kMailbox, "failed row 7: boom", 0, 0, false},
      {"query * tags *", true, "SQL error:", "duplicate 7", 0, 1, false},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.refused);
    ScriptedSession scripted;
    scripted.lastInsertId = 12;
    StoreFixture step(scripted);
    ASSERT_TRUE(step.beginRun(11));
    if (row.known) scripted.answerOn("query SELECT id FROM email WHERE date_fld*", {{"7"}});
    scripted.failOn(row.refused, "boom");
    scripted.failOn("query INSERT INTO email*", "boom");  // what the row falls back on
    CurrentMessage message = fullMessage();
    message.tags.tagNotes = "note";
    step.storeMessage(message);
    std::vector<std::string> lines;
    if (*row.line != '\0') lines.push_back(std::string(row.line) + "boom, /mail/1.eml\n");
    EXPECT_EQ(step.log.lines, lines);
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
