#include "ingest/storing/tag_rules.h"

#include <gtest/gtest.h>

namespace keldane {
namespace {

CurrentMessage mail() {
  CurrentMessage message;
  message.msgFrom = "\"Ann\" <ann@example.com>";
  message.msgTo = "bob@example.org";
  message.msgSubject = "Invoice for \xC3\x84pfel";
  message.msgBody = "Please pay.";
  message.msgMailbox = "V10/1/INBOX";
  return message;
}

TagRule rule(std::string all, std::vector<RuleCriterion> criteria) {
  TagRule rule;
  rule.ruleDescription = "a rule";
  rule.ruleAll = std::move(all);
  rule.ruleCriteria = std::move(criteria);
  rule.tagOrExclude = 1;
  return rule;
}

struct FiringCase {
  const char* name;
  const char* all;
  std::vector<RuleCriterion> criteria;
  bool fires;
};

class TagRuleFiring : public testing::TestWithParam<FiringCase> {};

TEST_P(TagRuleFiring, IsDecidedByItsCriteria) {
  CurrentMessage message = mail();
  const RuleVerdict verdict = checkTagRules({rule(GetParam().all, GetParam().criteria)}, message);
  EXPECT_EQ(verdict.exclude, GetParam().fires);
  EXPECT_EQ(verdict.excludedBy, GetParam().fires ? "a rule" : "");
}

INSTANTIATE_TEST_SUITE_P(
    TagRules, TagRuleFiring,
    testing::Values(
        FiringCase{
            "AnyOfTwo", "any", {{"from", "contains", "zoe"}, {"to", "contains", "BOB"}}, true},
        FiringCase{"CaseOfOtherLetters", "any", {{"subject", "contains", "\xC3\xA4PFEL"}}, true},
        FiringCase{
            "AllWithAMiss", "all", {{"to", "contains", "bob"}, {"body", "contains", "no"}}, false},
        FiringCase{
            "AllWithAnEmptyOne",
            "all",
            {{"to", "contains", "bob"}, {"body", "contains", ""}, {"mailbox", "contains", "inbox"}},
            true},
        FiringCase{"OnlyEmptyValues", "all", {{"to", "contains", ""}}, false},
        FiringCase{"NotThereUnderAny", "any", {{"from", "does not contain", "zoe"}}, true},
        FiringCase{"ThereUnderNot", "any", {{"from", "does not contain", "ann"}}, false},
        FiringCase{"UnknownRelation", "any", {{"from", "begins with", "ann"}}, false},
        FiringCase{"UnknownFieldIsSearchedItself", "any", {{"list-id", "contains", "LIST"}}, true},
        FiringCase{"NeitherAnyNorAll", "some", {{"to", "contains", "bob"}}, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(TagRules, AnActiveRuleWithoutCriteriaEndsTheList) {
  CurrentMessage message = mail();
  TagRule empty = rule("any", {});
  const TagRule excluding = rule("any", {{"to", "contains", "bob"}});
  EXPECT_FALSE(checkTagRules({empty, excluding}, message).exclude);
  empty.ruleActive = 0;
  EXPECT_TRUE(checkTagRules({empty, excluding}, message).exclude);
}

TEST(TagRules, FiringRulesGatherTags) {
  CurrentMessage message = mail();
  message.tags.tagNotes = "from the file";
  TagRule first = rule("any", {{"to", "contains", "bob"}});
  first.tagOrExclude = 0;
  first.ruleCat = "One";
  first.ruleKeywords = "red";
  first.rulePriority = "5";
  TagRule second = first;
  second.ruleCat = "Two";
  second.ruleKeywords = "blue";
  EXPECT_FALSE(checkTagRules({first, second}, message).exclude);
  EXPECT_EQ(message.tags.tagCategory, "Two");
  EXPECT_EQ(message.tags.tagKeywords, "red blue");
  EXPECT_EQ(message.tags.tagNotes, "") << "notes of the file give way, even to none";
  EXPECT_EQ(message.tags.tagPriority, "") << "an empty priority is not filled";
}

TEST(TagRules, ACategoryDoesNotReachTheNextMessage) {
  TagRule garden = rule("any", {{"subject", "contains", "invoice"}});
  garden.tagOrExclude = 0;
  garden.ruleCat = "Garden";
  CurrentMessage message = mail();
  message.tags.tagNotes = "of this file";
  ASSERT_FALSE(checkTagRules({garden}, message).exclude);
  EXPECT_EQ(message.tags.tagCategory, "Garden");
  message.clearForNextMessage();
  ASSERT_FALSE(checkTagRules({garden}, message).exclude);
  EXPECT_FALSE(message.tags.any());
}

}  // namespace
}  // namespace keldane
