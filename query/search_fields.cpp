#include "query/search_fields.h"

#include <vector>

namespace keldane {

std::string_view columnOf(TagField field) {
  return kTagSearchFields[static_cast<std::size_t>(field)].column;
}

std::string attachTypeLegend() {
  std::string legend;
  for (const AttachTypeGroup& group : kAttachTypeGroups) {
    legend.append(group.title).append(" - ").append(group.extensions).append("\n\n");
  }
  return legend;
}

std::array<std::string, kSearchRows> searchFieldTitles() {
  std::array<std::string, kSearchRows> titles;
  for (std::size_t row = 0; row < kSearchRows; ++row) titles[row] = kSearchFields[row].title;
  return titles;
}

std::string_view columnForField(std::string_view title) {
  for (const SearchField& field : kSearchFields) {
    if (field.title == title) return field.column;
  }
  return {};
}

std::string phrasePlaces() {
  struct Place {
    std::string_view name;
  };
  std::vector<Place> places;
  for (const SearchField& field : kSearchFields) {
    if (!field.phrasePlace.empty()) places.push_back({field.phrasePlace});
  }
  return namesOf(places, ", ", " or ");
}

}  // namespace keldane
