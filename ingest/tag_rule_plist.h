#pragma once

#include <vector>

#include "app/preferences_file.h"
#include "ingest/tag_rules.h"

namespace keldane {

/// The rules as they stand in the preferences under "tagRules". Entries that are not dictionaries
/// are passed over; missing keys are empty.
[[nodiscard]] std::vector<TagRule> tagRulesFromPlist(const PlistArray& array);
[[nodiscard]] PlistArray tagRulesToPlist(const std::vector<TagRule>& rules);

}  // namespace keldane
