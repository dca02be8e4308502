#include "query/saved_searches.h"

#include <algorithm>
#include <utility>

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

SavedSearches::SavedSearches(PreferencesFile& prefs, RetrieveSheet& sheet, UserInterface& ui)
    : prefs_(prefs), sheet_(sheet), ui_(ui) {}

void SavedSearches::load() {
  savedSearchNames_.clear();
  statements_.clear();
  const PlistValue* stored = prefs_.find(kKey);
  if (stored != nullptr && stored->array() != nullptr) {
    for (const PlistValue& entry : *stored->array()) {
      if (entry.dict() == nullptr) continue;
      savedSearchNames_.push_back(textOf(entry, kName));
      statements_.push_back(textOf(entry, kStatement));
    }
  }
  savedSearchIndex_ = -1;
  if (savedSearchNames_.empty()) return;
  ui_.changed("savedSearchesTableView");
  getSavedSearch();
  setSavedSearch();
}

void SavedSearches::openPanel() {
  ui_.changed("savedSearchesTableView");
  ui_.showPanel("savedSearchesPanel");
}

void SavedSearches::savedSearches() {
  openPanel();
  sheet_.makeSearchSQLOrEmpty();
  sheet_.form.savedSearchTextField = sheet_.beginSql + sheet_.whereSql;
  sheet_.form.searchNameTextField.clear();
  savedSearchName_.clear();
  savedSearchIndex_ = -1;
  ui_.changed("savedSearchTextField");
}

void SavedSearches::savedEditedSearches() {
  openPanel();
  sheet_.whereSql = sheet_.form.whereTextField;
  sheet_.form.savedSearchTextField = sheet_.beginSql + sheet_.whereSql;
  sheet_.form.searchNameTextField.clear();
  savedSearchName_.clear();
  savedSearchIndex_ = -1;
  ui_.changed("savedSearchTextField");
}

bool SavedSearches::saveSearch() {
  const bool saved = persist([name = sheet_.form.searchNameTextField,
                              statement = sheet_.form.savedSearchTextField](PlistDict& keys) {
    PlistArray& list = listAt(keys, kKey);
    PlistDict* present = entryNamed(list, kName, name);
    if (present == nullptr) {
      present = std::get_if<PlistDict>(&list.emplace_back(PlistValue{PlistDict{}}).value);
    }
    present->insert_or_assign(kName, PlistValue{name});
    present->insert_or_assign(kStatement, PlistValue{statement});
  });
  // The first row is selected, whichever was saved.
  selectRow(0);
  return saved;
}

bool SavedSearches::deleteSearch() {
  if (savedSearchIndex_ < 0 || savedSearchNames_.empty()) return true;
  // By its name: another program may have moved it.
  const std::string name = savedSearchNames_.at(static_cast<std::size_t>(savedSearchIndex_));
  const bool saved = persist([name](PlistDict& keys) {
    PlistArray& list = listAt(keys, kKey);
    const auto gone = std::find_if(list.begin(), list.end(), [&name](const PlistValue& entry) {
      return entry.dict() != nullptr && textOf(entry, kName) == name;
    });
    if (gone != list.end()) list.erase(gone);
  });
  savedSearchIndex_ = savedSearchNames_.empty() ? -1 : 0;
  getSavedSearch();
  setSavedSearch();
  return saved;
}

bool SavedSearches::persist(std::function<void(PlistDict&)> change) {
  const Result<void> saved = prefs_.edit(std::move(change));
  if (!saved) {
    ui_.alert({"Saved Searches", saved.error(), AlertStyle::critical, {"OK"}});
  }
  load();
  if (callbacks_.getPrefs) callbacks_.getPrefs();
  ui_.changed("savedSearchesTableView");
  return saved.has_value();
}

void SavedSearches::getSavedSearch() {
  if (savedSearchNames_.empty()) {
    savedSearchName_.clear();
  } else if (savedSearchIndex_ >= 0) {
    savedSearchName_ = savedSearchNames_.at(static_cast<std::size_t>(savedSearchIndex_));
  }
}

void SavedSearches::setSavedSearch() {
  if (savedSearchIndex_ < 0) return;
  sheet_.form.searchNameTextField = savedSearchName_;
  sheet_.form.savedSearchTextField = statements_.at(static_cast<std::size_t>(savedSearchIndex_));
  ui_.changed("searchNameTextField");
  ui_.changed("savedSearchTextField");
}

void SavedSearches::selectRow(int row) {
  if (row >= static_cast<int>(savedSearchNames_.size())) return;
  savedSearchIndex_ = row;
  if (row < 0) return;
  getSavedSearch();
  setSavedSearch();
}

void SavedSearches::doSavedSearch() {
  cancelSavedSearch();
  sheet_.run(sheet_.form.savedSearchTextField);
}

void SavedSearches::cancelSavedSearch() {
  sheet_.closePanel();
  ui_.closePanel("savedSearchesPanel");
}

const std::string* SavedSearches::find(const std::string& name) const {
  const auto found = std::find(savedSearchNames_.begin(), savedSearchNames_.end(), name);
  if (found == savedSearchNames_.end()) return nullptr;
  return &statements_[static_cast<std::size_t>(found - savedSearchNames_.begin())];
}

}  // namespace keldane
