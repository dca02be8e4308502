#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "ingest/storing/tag_rules.h"
#include "settings/preferences_file.h"

namespace keldane {

/// Words of a criterion, and of what joins them.
inline constexpr std::array<std::string_view, 5> kRuleFieldTitles = {"from", "to", "subject",
                                                                     "body", "mailbox"};
inline constexpr std::array<std::string_view, 2> kRuleRelationTitles = {"contains",
                                                                        "does not contain"};
inline constexpr std::array<std::string_view, 2> kRuleAllTitles = {"any", "all"};
/// So many criteria can a rule have that is written here.
inline constexpr std::size_t kRuleCriteria = 4;

/// The criteria of a new rule, without values.
[[nodiscard]] std::vector<RuleCriterion> emptyRuleCriteria();
/// A rule that may come from elsewhere, as it can be written here: with four criteria and a known
/// priority.
[[nodiscard]] TagRule asWrittenHere(TagRule rule);

/// The tag rules of the preferences. Nothing is checked: a rule without values stays and never
/// fires. Every change is saved at once, rule by rule, so that those which another program has
/// saved meanwhile stay; one that cannot be saved fails, and is in force until the program ends.
/// Main thread; a run goes on with the rules that it was started with.
class TagRuleList {
 public:
  explicit TagRuleList(PreferencesFile& prefs) : prefs_(prefs) {}

  [[nodiscard]] const std::vector<TagRule>& rules() const { return rules_; }
  /// A new rule, named by its number.
  [[nodiscard]] TagRule newRule() const;

  /// Takes the rules from the preferences as they are in memory, if they have any.
  void load();
  [[nodiscard]] Result<void> add(const TagRule& rule);
  /// Changes a rule, found as it was read, or else by its name. One that has gone is added again.
  [[nodiscard]] Result<void> replace(const TagRule& before, const TagRule& after);
  /// Takes away rules, found in the same way.
  [[nodiscard]] Result<void> remove(const std::vector<TagRule>& gone);

 private:
  [[nodiscard]] Result<void> edit(std::function<void(PlistArray&)> change);

  PreferencesFile& prefs_;
  std::vector<TagRule> rules_;
};

}  // namespace keldane
