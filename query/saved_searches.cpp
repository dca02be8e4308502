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
  savedSearchList_.clear();
  const PlistValue* stored = prefs_.find(kKey);
  if (stored != nullptr && stored->array() != nullptr) {
    for (const PlistValue& entry : *stored->array()) {
      if (entry.dict() != nullptr) savedSearchList_.push_back(entry);
    }
  }
  savedSearchIndex_ = -1;
  rebuildNames();
  if (savedSearchNames_.empty()) return;
  ui_.changed("savedSearchesTableView");
  getSavedSearch();
  setSavedSearch();
}

void SavedSearches::rebuildNames() {
  savedSearchNames_.clear();
  statements_.clear();
  for (const PlistValue& entry : savedSearchList_) {
    savedSearchNames_.push_back(textOf(entry, kName));
    statements_.push_back(textOf(entry, kStatement));
  }
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
  const std::string& name = sheet_.form.searchNameTextField;
  const auto found = std::find(savedSearchNames_.begin(), savedSearchNames_.end(), name);
  const auto index = static_cast<std::size_t>(found - savedSearchNames_.begin());
  if (found == savedSearchNames_.end()) savedSearchList_.push_back({PlistDict{}});
  PlistDict& entry = std::get<PlistDict>(savedSearchList_[index].value);
  entry.insert_or_assign(kName, PlistValue{name});
  entry.insert_or_assign(kStatement, PlistValue{sheet_.form.savedSearchTextField});
  savedSearchIndex_ = static_cast<int>(index);
  rebuildNames();
  const bool saved = persist();
  ui_.changed("savedSearchesTableView");
  // The first row is selected, whichever was saved.
  selectRow(0);
  return saved;
}

bool SavedSearches::deleteSearch() {
  if (savedSearchIndex_ < 0 || savedSearchList_.empty()) return true;
  savedSearchList_.erase(savedSearchList_.begin() + savedSearchIndex_);
  rebuildNames();
  const bool saved = persist();
  ui_.changed("savedSearchesTableView");
  savedSearchIndex_ = savedSearchList_.empty() ? -1 : 0;
  getSavedSearch();
  setSavedSearch();
  return saved;
}

bool SavedSearches::persist() {
  prefs_.set(kKey, {savedSearchList_});
  const Result<void> saved = prefs_.save();
  if (!saved) {
    ui_.alert({"Saved Searches", saved.error(), AlertStyle::critical, {"OK"}});
  }
  if (callbacks_.getPrefs) callbacks_.getPrefs();
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
