#include "ingest/storing/tag_rule_list.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kKey = "tagRules";

std::string textAt(const PlistDict& dict, const std::string& key) {
  const auto found = dict.find(key);
  return found == dict.end() ? std::string() : found->second.text().value_or("");
}

int numberAt(const PlistDict& dict, const std::string& key) {
  const auto found = dict.find(key);
  return found == dict.end() ? 0 : static_cast<int>(found->second.integer().value_or(0));
}

std::vector<RuleCriterion> criteriaAt(const PlistDict& dict) {
  std::vector<RuleCriterion> criteria;
  const auto found = dict.find("ruleCriteria");
  const PlistArray* rows = found == dict.end() ? nullptr : found->second.array();
  if (rows == nullptr) return criteria;
  for (const PlistValue& row : *rows) {
    const PlistArray* cells = row.array();
    if (cells == nullptr || cells->size() < 3) continue;
    criteria.push_back({(*cells)[0].text().value_or(""), (*cells)[1].text().value_or(""),
                        (*cells)[2].text().value_or("")});
  }
  return criteria;
}

TagRule ruleFrom(const PlistDict& dict) {
  TagRule rule;
  rule.ruleDescription = textAt(dict, "ruleDescription");
  rule.ruleAll = textAt(dict, "ruleAll");
  rule.ruleCat = textAt(dict, "ruleCat");
  rule.ruleKeywords = textAt(dict, "ruleKeywords");
  rule.ruleNotes = textAt(dict, "ruleNotes");
  rule.rulePriority = textAt(dict, "rulePriority");
  rule.tagOrExclude = numberAt(dict, "tagOrExclude");
  rule.ruleActive = numberAt(dict, "ruleActive");
  rule.ruleCriteria = criteriaAt(dict);
  return rule;
}

PlistArray::iterator findRule(PlistArray& array, const TagRule& wanted) {
  const auto same = [&wanted](const PlistValue& entry) {
    return entry.dict() != nullptr && ruleFrom(*entry.dict()) == wanted;
  };
  const auto found = std::find_if(array.begin(), array.end(), same);
  if (found != array.end()) return found;
  return std::find_if(array.begin(), array.end(), [&wanted](const PlistValue& entry) {
    return entry.dict() != nullptr &&
           textAt(*entry.dict(), "ruleDescription") == wanted.ruleDescription;
  });
}

std::vector<TagRule> tagRulesFromPlist(const PlistArray& array) {
  std::vector<TagRule> rules;
  for (const PlistValue& entry : array) {
    if (entry.dict() != nullptr) rules.push_back(ruleFrom(*entry.dict()));
  }
  return rules;
}

PlistValue tagRuleToPlist(const TagRule& rule) {
  PlistArray criteria;
  for (const RuleCriterion& criterion : rule.ruleCriteria) {
    criteria.push_back({PlistArray{{criterion.field}, {criterion.relation}, {criterion.value}}});
  }
  return {PlistDict{
      {"ruleDescription", {rule.ruleDescription}},
      {"ruleAll", {rule.ruleAll}},
      {"ruleCat", {rule.ruleCat}},
      {"ruleKeywords", {rule.ruleKeywords}},
      {"ruleNotes", {rule.ruleNotes}},
      {"rulePriority", {rule.rulePriority}},
      {"tagOrExclude", {std::int64_t{rule.tagOrExclude}}},
      {"ruleActive", {std::int64_t{rule.ruleActive}}},
      {"ruleCriteria", {std::move(criteria)}},
  }};
}

}  // namespace

std::vector<RuleCriterion> emptyRuleCriteria() {
  std::vector<RuleCriterion> criteria;
  for (std::size_t i = 0; i < kRuleCriteria; ++i) {
    criteria.push_back({std::string(kRuleFieldTitles[i]), std::string(kRuleRelationTitles[0]), ""});
  }
  return criteria;
}

TagRule asWrittenHere(TagRule rule) {
  std::vector<RuleCriterion> criteria = emptyRuleCriteria();
  const std::size_t count = std::min(rule.ruleCriteria.size(), criteria.size());
  std::copy_n(rule.ruleCriteria.begin(), count, criteria.begin());
  rule.ruleCriteria = std::move(criteria);
  rule.rulePriority =
      fmt::format("{}", priorityOfTitle(priorityTitle(leadingInt(rule.rulePriority))));
  return rule;
}

TagRule TagRuleList::newRule() const {
  TagRule rule;
  rule.ruleDescription = fmt::format("rule{}", rules_.size() + 1);
  rule.ruleCriteria = emptyRuleCriteria();
  return rule;
}

void TagRuleList::load() {
  const PlistValue* rules = prefs_.find(kKey);
  if (rules != nullptr && rules->array() != nullptr) rules_ = tagRulesFromPlist(*rules->array());
}

Result<void> TagRuleList::edit(std::function<void(PlistArray&)> change) {
  Result<void> saved =
      prefs_.edit([change = std::move(change)](PlistDict& keys) { change(listAt(keys, kKey)); });
  load();
  return saved;
}

// What the changes need is copied into them: the preferences keep one that could not be saved.

Result<void> TagRuleList::add(const TagRule& rule) {
  return edit([rule](PlistArray& list) { list.push_back(tagRuleToPlist(rule)); });
}

Result<void> TagRuleList::replace(const TagRule& before, const TagRule& after) {
  return edit([before, after](PlistArray& list) {
    const auto found = findRule(list, before);
    if (found == list.end()) {
      list.push_back(tagRuleToPlist(after));
    } else {
      *found = tagRuleToPlist(after);
    }
  });
}

Result<void> TagRuleList::remove(const std::vector<TagRule>& gone) {
  return edit([gone](PlistArray& list) {
    for (const TagRule& rule : gone) {
      const auto found = findRule(list, rule);
      if (found != list.end()) list.erase(found);
    }
  });
}

}  // namespace keldane
