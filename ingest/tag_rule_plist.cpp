#include "ingest/tag_rule_plist.h"

namespace keldane {
namespace {

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

}  // namespace

std::vector<TagRule> tagRulesFromPlist(const PlistArray& array) {
  std::vector<TagRule> rules;
  for (const PlistValue& entry : array) {
    const PlistDict* dict = entry.dict();
    if (dict == nullptr) continue;
    TagRule rule;
    rule.ruleDescription = textAt(*dict, "ruleDescription");
    rule.ruleAll = textAt(*dict, "ruleAll");
    rule.ruleCat = textAt(*dict, "ruleCat");
    rule.ruleKeywords = textAt(*dict, "ruleKeywords");
    rule.ruleNotes = textAt(*dict, "ruleNotes");
    rule.rulePriority = textAt(*dict, "rulePriority");
    rule.tagOrExclude = numberAt(*dict, "tagOrExclude");
    rule.ruleActive = numberAt(*dict, "ruleActive");
    rule.ruleCriteria = criteriaAt(*dict);
    rules.push_back(std::move(rule));
  }
  return rules;
}

PlistArray tagRulesToPlist(const std::vector<TagRule>& rules) {
  PlistArray array;
  for (const TagRule& rule : rules) {
    PlistArray criteria;
    for (const RuleCriterion& criterion : rule.ruleCriteria) {
      criteria.push_back({PlistArray{{criterion.field}, {criterion.relation}, {criterion.value}}});
    }
    array.push_back({PlistDict{
        {"ruleDescription", {rule.ruleDescription}},
        {"ruleAll", {rule.ruleAll}},
        {"ruleCat", {rule.ruleCat}},
        {"ruleKeywords", {rule.ruleKeywords}},
        {"ruleNotes", {rule.ruleNotes}},
        {"rulePriority", {rule.rulePriority}},
        {"tagOrExclude", {std::int64_t{rule.tagOrExclude}}},
        {"ruleActive", {std::int64_t{rule.ruleActive}}},
        {"ruleCriteria", {std::move(criteria)}},
    }});
  }
  return array;
}

}  // namespace keldane
