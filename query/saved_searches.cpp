#include "query/saved_searches.h"

#include <algorithm>

#include "settings/property_list.h"

namespace keldane {
namespace {

constexpr const char* kKey = "savedSearches";
constexpr const char* kName = "searchName";
constexpr const char* kStatement = "savedSearch";

std::string textOf(const PlistValue& entry, const char* key) {
  const auto found = entry.dict()->find(key);
  return found == entry.dict()->end() ? "" : found->second.text().value_or("");
}

}  // namespace

std::vector<SavedSearch> readSavedSearches(const PreferencesFile& prefs) {
  std::vector<SavedSearch> searches;
  const PlistValue* stored = prefs.find(kKey);
  if (stored == nullptr || stored->array() == nullptr) return searches;
  for (const PlistValue& entry : *stored->array()) {
    if (entry.dict() == nullptr) continue;
    searches.push_back({textOf(entry, kName), textOf(entry, kStatement)});
  }
  return searches;
}

const std::string* findSearch(const std::vector<SavedSearch>& searches, const std::string& name) {
  const auto found = std::find_if(searches.begin(), searches.end(),
                                  [&name](const SavedSearch& each) { return each.name == name; });
  return found == searches.end() ? nullptr : &found->statement;
}

Result<void> saveSearch(PreferencesFile& prefs, const SavedSearch& search) {
  return prefs.edit([search](PlistDict& keys) {
    PlistArray& list = listAt(keys, kKey);
    PlistDict* present = entryNamed(list, kName, search.name);
    if (present == nullptr) {
      present = std::get_if<PlistDict>(&list.emplace_back(PlistValue{PlistDict{}}).value);
    }
    present->insert_or_assign(kName, PlistValue{search.name});
    present->insert_or_assign(kStatement, PlistValue{search.statement});
  });
}

Result<void> deleteSearch(PreferencesFile& prefs, const std::string& name) {
  return prefs.edit([name](PlistDict& keys) {
    PlistArray& list = listAt(keys, kKey);
    const auto gone = std::find_if(list.begin(), list.end(), [&name](const PlistValue& entry) {
      return entry.dict() != nullptr && textOf(entry, kName) == name;
    });
    if (gone != list.end()) list.erase(gone);
  });
}

}  // namespace keldane
