// What a server makes of the store step's statements.

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ingest/storing/message_store.h"
#include "tests/ingest/server_database.h"
#include "tests/ingest/store_fixture.h"

namespace keldane {
namespace {

using ::testing::IsEmpty;

class StoredRowsTest : public ::testing::Test {
 protected:
  StoredRowsTest() : step(*database.session) {}
  void SetUp() override { ASSERT_TRUE(step.beginRun()); }
  void store(CurrentMessage message) { step.storeMessage(std::move(message)); }

  ServerDatabase database;
  StoreFixture step;
};

TEST_F(StoredRowsTest, HoldTheMessageToTheByte) {
  CurrentMessage message = fullMessage();
  message.tags.tagCategory = R"(A "cat" \)";
  message.tags.tagKeywordsFromFile = "b A";
  message.tags.tagPriority = "5 high";
  message.tags.tagNotes = "two\nlines";
  const CurrentMessage sent = message;
  store(message);
  EXPECT_THAT(step.log.lines, IsEmpty());
  const std::string id = database.cells("SELECT id FROM email");
  EXPECT_EQ(database.cells("SELECT date_fld,from_fld,to_fld,subj_fld,mailto,mailbox FROM email"),
            sent.msgDate + "|" + sent.msgFrom + "|" + sent.msgTo + "|" + sent.msgSubject +
                R"(||V10/1/IN""BOX)");
  EXPECT_EQ(database.cells("SELECT body_fld FROM email"),
            "A body of some length, größer als nötig.\nSecond line");
  EXPECT_EQ(database.cells("SELECT numAttach,headings FROM email"), "1|" + sent.msgHeadings);
  EXPECT_EQ(database.cells("SELECT attachNames,attachText FROM email"),
            R"(htmlversion.html,a ""b"".pdf|text of "a" file\)");
  std::string original = sent.msgOriginal;
  std::erase(original, '\0');
  EXPECT_EQ(database.cells("SELECT orig_fld FROM origemail WHERE id=" + id), original);
  EXPECT_EQ(database.cells("SELECT type_fld,filename_fld,encode_fld,attach_fld FROM attachments "
                           "WHERE id=" +
                           id + " ORDER BY type_fld DESC"),
            "text/html|htmlversion.html|13|<p>A body</p>\n"
            "application/pdf|a \"\"b\"\".pdf|6|" +
                sent.msgParts[1].data);
  EXPECT_EQ(database.cells("SELECT id,cat_fld,key_fld,priority_fld,notes_fld FROM tags"),
            id + R"(|A "cat" \|A b|5|twolines)");
}

TEST_F(StoredRowsTest, AreLeftAsTheyWereWhenTheMessageComesAgain) {
  store(fullMessage());
  const auto all = [this] {
    return database.cells("SELECT * FROM email") + database.cells("SELECT * FROM origemail") +
           database.cells("SELECT * FROM attachments");
  };
  const std::string before = all();
  store(fullMessage());
  EXPECT_EQ(all(), before);
  EXPECT_EQ(step.counters.processedCount, 2);
  EXPECT_EQ(step.counters.archivedCount, 1);
  EXPECT_EQ(step.counters.duplicateCount, 1);
}

TEST_F(StoredRowsTest, FollowTheMessageToItsLastMailbox) {
  store(plainMessage());
  CurrentMessage moved = plainMessage();
  moved.msgMailbox = "Archive";
  store(moved);
  EXPECT_EQ(database.cells("SELECT mailbox,subj_fld,numAttach FROM email"), "Archive|Hello|0");
  moved.msgMailbox = "chiv";  // part of the name that is stored: taken for the same place
  store(moved);
  EXPECT_EQ(database.cells("SELECT mailbox FROM email"), "Archive");
}

TEST_F(StoredRowsTest, TakeTheRulesTagsOfAKnownMessage) {
  store(plainMessage());
  for (const char* category : {"First", "Second \"2\" \\"}) {
    CurrentMessage again = plainMessage();
    again.tags.tagCategory = category;
    store(again);
    EXPECT_EQ(database.cells("SELECT cat_fld FROM tags"), category);
  }
  EXPECT_THAT(step.log.lines, IsEmpty());
}

TEST_F(StoredRowsTest, CountPartsWithoutTheHtmlVersion) {
  CurrentMessage message = plainMessage();
  message.msgParts = {{"text/html", "htmlversion.html", "<p>"}};
  message.hasHtmlPart = true;
  store(message);
  EXPECT_EQ(database.cells("SELECT numAttach FROM email"), "0");
  EXPECT_EQ(database.cells("SELECT COUNT(*) FROM attachments"), "1");
}

TEST_F(StoredRowsTest, TellDuplicatesByDateAddressesAndBeginningOfTheBody) {
  using Change = std::function<void(CurrentMessage&)>;
  struct Case {
    const char* name;
    Change stored;
    Change next;
    bool duplicate;
  };
  const Change nothing = [](CurrentMessage&) {};
  const auto body = [](std::string text) {
    return [text = std::move(text)](CurrentMessage& message) { message.msgBody = text; };
  };
  const std::string x399(399, 'x');
  std::string faces;  // two units each
  for (int i = 0; i < 300; ++i) faces += "😀";
  const std::string longSender = faces;
  faces.resize(200 * 4);
  const std::vector<Case> cases = {
      {"the same", nothing, nothing, true},
      {"another subject", nothing, [](CurrentMessage& m) { m.msgSubject = "Other"; }, true},
      {"another date", nothing, [](CurrentMessage& m) { m.msgDate = "2023-01-02 03:04:06"; },
       false},
      {"another sender", nothing, [](CurrentMessage& m) { m.msgFrom = "eve@example.org"; }, false},
      {"another receiver", nothing, [](CurrentMessage& m) { m.msgTo += ",eve@example.org"; },
       false},
      {"blanks around the body", body("some text"), body("\n\t some text \r\n"), true},
      {"the 400th character differs", body(x399 + "y"), body(x399 + "z"), false},
      {"the 401st character differs", body(x399 + "yy"), body(x399 + "yz"), true},
      {"a difference behind 400 units of two each", body(faces + "a"), body(faces + "b"), true},
      {"a longer body was stored", body("some text and more"), body("some text"), true},
      {"a shorter body was stored", body("some text"), body("some text and more"), false},
      {"two characters", body("ab"), body("yz"), true},
      {"three characters", body("abc"), body("xyz"), false},
      {"a quote near the beginning", body("some \"text"), body("other \"text"), true},
      {"a backslash near the beginning", body("some text"), body("other \\text"), true},
      {"a quote far behind", body(x399 + "y\""), body(x399 + "z\""), false},
      {"a wildcard in the body", body("some text"), body("s%t"), true},
      {"a NUL in the body", body(std::string("some\0text", 9)), body(std::string("some\0more", 9)),
       true},
      {"quotes in the addresses", [](CurrentMessage& m) { m.msgFrom = R"(a "b" \)"; },
       [](CurrentMessage& m) { m.msgFrom = R"(a "b" \)"; }, true},
      {"a sender longer than its column", [&](CurrentMessage& m) { m.msgFrom = longSender; },
       [&](CurrentMessage& m) { m.msgFrom = longSender; }, true},
      {"a date that is none", [](CurrentMessage& m) { m.msgDate = "\" OR 1=1 -- "; },
       [](CurrentMessage& m) { m.msgTo = "eve@example.org"; }, false},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    ASSERT_TRUE(database.session->query("DELETE FROM email"));
    ASSERT_TRUE(database.session->query("DELETE FROM origemail"));
    CurrentMessage first = plainMessage();
    row.stored(first);
    store(first);
    CurrentMessage second = plainMessage();
    row.next(second);
    const int before = step.counters.duplicateCount;
    store(second);
    EXPECT_EQ(step.counters.duplicateCount - before, row.duplicate ? 1 : 0);
    EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email"), row.duplicate ? "1" : "2");
    EXPECT_THAT(step.log.lines, IsEmpty());
  }
}

TEST_F(StoredRowsTest, RepeatAMessageWhenDuplicatesAreWanted) {
  step.plan.settings.skipDupsState = 1;
  store(plainMessage());
  store(plainMessage());
  EXPECT_EQ(database.cells("SELECT COUNT(*) FROM email"), "2");
  EXPECT_EQ(step.counters.archivedCount, 2);
}

}  // namespace
}  // namespace keldane
