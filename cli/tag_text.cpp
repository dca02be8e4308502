#include "cli/tag_text.h"

#include <algorithm>

#include "query/message_tags.h"

namespace keldane {
namespace {

std::string priorityName(int priority) {
  std::string name(priorityTitle(priority));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return name;
}

}  // namespace

nlohmann::ordered_json tagsJson(const std::optional<TagRow>& tags) {
  if (!tags) return nullptr;
  return {{"category", tags->category},
          {"keywords", wordsOf(tags->keywords)},
          {"priority", priorityName(tags->priority)},
          {"notes", tags->notes}};
}

std::string tagLines(const TagRow& tags) {
  std::string lines;
  const auto add = [&lines](const char* title, const std::string& value) {
    if (!value.empty()) lines.append(title).append(": ").append(value).append("\n");
  };
  add("CATEGORY", tags.category);
  add("KEYWORDS", tags.keywords);
  if (tags.priority != 0) add("PRIORITY", std::string(priorityTitle(tags.priority)));
  add("NOTES", tags.notes);
  return lines;
}

}  // namespace keldane
