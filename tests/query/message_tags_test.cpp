#include "query/message_tags.h"

#include <gmock/gmock.h>

#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

struct MessageTagsTest : testing::Test {
  MessageTagsTest() {
    session.answerOn("query SELECT id FROM email*", {{"4"}, {"5"}});
    session.answerOn("query SELECT id,cat_fld*", {{"4", "Work", "Ant bee", "2", "n"}});
  }
  std::string after(const TagChange& change) {
    const TagResult result = tagMessages(session, {4}, change);
    EXPECT_EQ(result.problem, "");
    const TagRow& tags = result.tagged.at(0).after;
    return tags.category + "|" + tags.keywords + "|" + std::to_string(tags.priority) + "|" +
           tags.notes;
  }
  ScriptedSession session;
};

TEST_F(MessageTagsTest, ChangeAsFarAsTheyAreNamed) {
  EXPECT_EQ(after({.notes = "new"}), "Work|Ant bee|2|new");
  EXPECT_EQ(after({.category = "NONE", .priority = 0}), "|Ant bee|0|n");
  EXPECT_EQ(after({.keywords = "z y"}), "Work|y z|2|n");
  EXPECT_EQ(after({.addedKeywords = {"BEE cat"}, .removedKeywords = {"ant"}}), "Work|bee cat|2|n");
  EXPECT_EQ(after({.notes = "new", .replaces = true}), "||0|new");
}

TEST_F(MessageTagsTest, ChangeForNoneWhereOneIsMissingOrTooLong) {
  EXPECT_EQ(tagMessages(session, {4, 6}, {}).problem, "there is no message 6; nothing is changed");
  EXPECT_EQ(tagMessages(session, {5, 4}, {.addedKeywords = {std::string(120, 'k')}}).problem,
            "message 4: the keywords would have 128 characters; 127 is the most; nothing is "
            "changed");
  EXPECT_THAT(session.statements(), testing::Not(testing::Contains(testing::StartsWith("DELETE"))));
}

TEST_F(MessageTagsTest, StayWhereTheNewOnesAreRefused) {
  session.failOn("query REPLACE*(4,\"New\"*", "full", 1);
  const TagResult result = tagMessages(session, {5, 4}, {.category = "New"});
  EXPECT_EQ(result.serverError, "full");
  EXPECT_EQ(result.problem, "1 of 2 tagged; message 4 and those behind it are not");
  ASSERT_EQ(result.tagged.size(), 1U);
  EXPECT_EQ(result.tagged[0].after.id, 5U);
  EXPECT_THAT(session.statements(), testing::Not(testing::Contains(testing::StartsWith("DELETE"))));
}

}  // namespace
}  // namespace keldane
