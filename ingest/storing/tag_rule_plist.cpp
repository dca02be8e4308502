#include "ingest/storing/tag_rule_plist.h"

#include <algorithm>
#include <utility>

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

}  // namespace

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

void addTagRule(PlistArray& array, const TagRule& rule) { array.push_back(tagRuleToPlist(rule)); }

void replaceTagRule(PlistArray& array, const TagRule& before, const TagRule& after) {
  const auto found = findRule(array, before);
  if (found == array.end()) {
    addTagRule(array, after);
  } else {
    *found = tagRuleToPlist(after);
  }
}

void removeTagRule(PlistArray& array, const TagRule& before) {
  const auto found = findRule(array, before);
  if (found != array.end()) array.erase(found);
}

}  // namespace keldane
