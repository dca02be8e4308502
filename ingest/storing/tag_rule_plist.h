#pragma once

#include <vector>

#include "ingest/storing/tag_rules.h"
#include "settings/preferences_file.h"

namespace keldane {

/// The rules as they stand in the preferences under "tagRules". Entries that are not dictionaries
/// are passed over; missing keys are empty.
[[nodiscard]] std::vector<TagRule> tagRulesFromPlist(const PlistArray& array);
[[nodiscard]] PlistValue tagRuleToPlist(const TagRule& rule);

/// Each changes one rule in the list that the preferences hold by now, found by `before` as it was
/// read, or else by its name. A replaced rule that has gone is added again.
void addTagRule(PlistArray& array, const TagRule& rule);
void replaceTagRule(PlistArray& array, const TagRule& before, const TagRule& after);
void removeTagRule(PlistArray& array, const TagRule& before);

}  // namespace keldane
