#include "ingest/storing/tag_rules.h"

#include <string_view>

#include "base/text.h"

namespace keldane {
namespace {

enum class Hit { match, miss, none };

/// An unknown field word stands for itself, as a text to search in.
std::string_view searchedText(const std::string& field, const CurrentMessage& message) {
  if (field == "from") return message.msgFrom;
  if (field == "to") return message.msgTo;
  if (field == "subject") return message.msgSubject;
  if (field == "body") return message.body();
  if (field == "mailbox") return message.msgMailbox;
  return field;
}

Hit test(const RuleCriterion& criterion, const CurrentMessage& message) {
  if (criterion.value.empty()) return Hit::none;
  const bool wanted = criterion.relation == "contains";
  if (!wanted && criterion.relation != "does not contain") return Hit::none;
  const bool found =
      findNoCase(searchedText(criterion.field, message), criterion.value).has_value();
  return found == wanted ? Hit::match : Hit::miss;
}

bool fires(const TagRule& rule, const CurrentMessage& message) {
  const bool any = rule.ruleAll == "any";
  const bool all = rule.ruleAll == "all";
  bool matched = false;
  for (const RuleCriterion& criterion : rule.ruleCriteria) {
    const Hit hit = test(criterion, message);
    if (hit == Hit::match && any) return true;
    if (hit == Hit::match && all) matched = true;
    if (hit == Hit::miss && all) return false;
  }
  return matched;
}

void giveTags(const TagRule& rule, MessageTags& tags) {
  if (!rule.ruleCat.empty()) tags.tagCategory = rule.ruleCat;
  tags.tagKeywords.append(" ").append(rule.ruleKeywords);
  if (tags.tagKeywords.front() == ' ') tags.tagKeywords.erase(0, 1);
  // A rule overrides notes and priority that came with the file, and never gives new ones.
  if (!tags.tagNotes.empty()) tags.tagNotes = rule.ruleNotes;
  if (!tags.tagPriority.empty()) tags.tagPriority = rule.rulePriority;
}

/// Calls `give` with each rule that fires, up to one that excludes.
template <typename Give>
RuleVerdict eachFiring(const std::vector<TagRule>& tagRulesList, const CurrentMessage& message,
                       const Give& give) {
  for (const TagRule& rule : tagRulesList) {
    if (rule.ruleActive == 0) continue;
    // A rule that is still without criteria ends the list: nothing behind it works.
    if (rule.ruleCriteria.empty()) return {};
    if (!fires(rule, message)) continue;
    if (rule.tagOrExclude != 0) return {true, rule.ruleDescription};
    give(rule);
  }
  return {};
}

}  // namespace

RuleVerdict checkTagRules(const std::vector<TagRule>& tagRulesList, CurrentMessage& message) {
  return eachFiring(tagRulesList, message,
                    [&message](const TagRule& rule) { giveTags(rule, message.tags); });
}

RuleVerdict tagsOfRules(const std::vector<TagRule>& tagRulesList, const CurrentMessage& message,
                        MessageTags& tags) {
  return eachFiring(tagRulesList, message, [&tags](const TagRule& rule) {
    if (!rule.ruleCat.empty()) tags.tagCategory = rule.ruleCat;
    tags.tagKeywords.append(" ").append(rule.ruleKeywords);
    if (!rule.ruleNotes.empty()) tags.tagNotes = rule.ruleNotes;
    if (leadingInt(rule.rulePriority) != 0) tags.tagPriority = rule.rulePriority;
  });
}

std::vector<std::string> firingRules(const std::vector<TagRule>& tagRulesList,
                                     const CurrentMessage& message) {
  std::vector<std::string> names;
  const RuleVerdict verdict = eachFiring(tagRulesList, message, [&names](const TagRule& rule) {
    names.push_back(rule.ruleDescription);
  });
  if (verdict.exclude) names.push_back(verdict.excludedBy);
  return names;
}

TagRow tagRow(std::uint32_t id, const MessageTags& tags) {
  return {id, tags.tagCategory, sortedKeywords(tags.tagKeywords), tags.tagNotes,
          leadingInt(tags.tagPriority)};
}

TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags) {
  return {id, withPlainQuotes(tags.tagCategory), sortedKeywords(withPlainQuotes(tags.tagKeywords)),
          withPlainQuotes(tags.tagNotes), leadingInt(tags.tagPriority)};
}

}  // namespace keldane
