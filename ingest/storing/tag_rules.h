#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/tag_row.h"
#include "ingest/reading/current_message.h"

namespace keldane {

/// One criterion of a rule: which field, which relation, which text.
struct RuleCriterion {
  std::string field;     ///< "from", "to", "subject", "body", "mailbox"
  std::string relation;  ///< "contains", "does not contain"
  std::string value;
  bool operator==(const RuleCriterion&) const = default;
};

/// A rule that tags messages on their way into the archive, or keeps them out.
struct TagRule {
  std::string ruleDescription;
  std::string ruleAll = "any";  ///< "any" or "all"
  std::string ruleCat;
  std::string ruleKeywords;
  std::string ruleNotes;
  std::string rulePriority = "0";
  int tagOrExclude = 0;  ///< 0 tag, 1 exclude
  int ruleActive = 1;
  std::vector<RuleCriterion> ruleCriteria;
  bool operator==(const TagRule&) const = default;
};

/// What an evaluation of the rules came to.
struct RuleVerdict {
  bool exclude = false;
  std::string excludedBy;  ///< description of the excluding rule
};

/// Evaluates the rules in order on the message at hand and changes its tags. Order matters: a rule
/// that excludes wins only over those behind it.
[[nodiscard]] RuleVerdict checkTagRules(const std::vector<TagRule>& tagRulesList,
                                        CurrentMessage& message);

/// What the rules hold for a message, whatever tags it has: of the fields that several name, the
/// last one's. For messages that are stored already.
[[nodiscard]] RuleVerdict tagsOfRules(const std::vector<TagRule>& tagRulesList,
                                      const CurrentMessage& message, MessageTags& tags);

/// Names of the rules that fire on a message as it stands, in their order; one that excludes is the
/// last.
[[nodiscard]] std::vector<std::string> firingRules(const std::vector<TagRule>& tagRulesList,
                                                   const CurrentMessage& message);

/// The row of `tags` that a new message gets.
[[nodiscard]] TagRow tagRow(std::uint32_t id, const MessageTags& tags);
/// The row of a message that is known already: quotes that come escaped lose their backslash.
[[nodiscard]] TagRow tagRowOfKnown(std::uint32_t id, const MessageTags& tags);

}  // namespace keldane
