#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "archive/tag_row.h"

namespace keldane {

/// An object with category, keywords, priority and notes; null without tags.
[[nodiscard]] nlohmann::ordered_json tagsJson(const std::optional<TagRow>& tags);

/// A line for each tag that is given, in the manner of the lines above a message.
[[nodiscard]] std::string tagLines(const TagRow& tags);

}  // namespace keldane
