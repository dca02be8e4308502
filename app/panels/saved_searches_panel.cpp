#include "app/panels/saved_searches_panel.h"

namespace keldane {

void SavedSearchesPanel::load() {
  list_ = readSavedSearches(prefs_);
  savedSearchIndex_ = -1;
  if (!list_.empty()) ui_.changed("savedSearchesTableView");
}

void SavedSearchesPanel::openPanel() {
  ui_.changed("savedSearchesTableView");
  ui_.showPanel("savedSearchesPanel");
}

void SavedSearchesPanel::showStatement() {
  sheet_.form.savedSearchTextField = sheet_.beginSql + sheet_.whereSql;
  sheet_.form.searchNameTextField.clear();
  savedSearchName_.clear();
  savedSearchIndex_ = -1;
  ui_.changed("savedSearchTextField");
}

void SavedSearchesPanel::savedSearches() {
  openPanel();
  sheet_.makeSearchSQLOrEmpty();
  showStatement();
}

void SavedSearchesPanel::savedEditedSearches() {
  openPanel();
  sheet_.whereSql = sheet_.form.whereTextField;
  showStatement();
}

void SavedSearchesPanel::saveSearch() {
  persisted(keldane::saveSearch(
      prefs_, {sheet_.form.searchNameTextField, sheet_.form.savedSearchTextField}));
  // The first row is selected, whichever was saved.
  selectRow(0);
}

void SavedSearchesPanel::deleteSearch() {
  if (savedSearchIndex_ < 0 || list_.empty()) return;
  persisted(keldane::deleteSearch(prefs_, list_[static_cast<std::size_t>(savedSearchIndex_)].name));
  savedSearchIndex_ = list_.empty() ? -1 : 0;
  getSavedSearch();
  setSavedSearch();
}

void SavedSearchesPanel::persisted(const Result<void>& saved) {
  if (!saved) ui_.alert({"Saved Searches", saved.error(), AlertStyle::critical, {"OK"}});
  load();
  if (getPrefs) getPrefs();
  ui_.changed("savedSearchesTableView");
}

void SavedSearchesPanel::getSavedSearch() {
  if (list_.empty()) {
    savedSearchName_.clear();
  } else if (savedSearchIndex_ >= 0) {
    savedSearchName_ = list_[static_cast<std::size_t>(savedSearchIndex_)].name;
  }
}

void SavedSearchesPanel::setSavedSearch() {
  if (savedSearchIndex_ < 0) return;
  sheet_.form.searchNameTextField = savedSearchName_;
  sheet_.form.savedSearchTextField = list_[static_cast<std::size_t>(savedSearchIndex_)].statement;
  ui_.changed("searchNameTextField");
  ui_.changed("savedSearchTextField");
}

void SavedSearchesPanel::selectRow(int row) {
  if (row >= static_cast<int>(list_.size())) return;
  savedSearchIndex_ = row;
  if (row < 0) return;
  getSavedSearch();
  setSavedSearch();
}

void SavedSearchesPanel::doSavedSearch() {
  cancelSavedSearch();
  sheet_.run(sheet_.form.savedSearchTextField);
}

void SavedSearchesPanel::cancelSavedSearch() {
  sheet_.closePanel();
  ui_.closePanel("savedSearchesPanel");
}

void SavedSearchesPanel::saveBrowseName(const std::string& name) {
  settings_.archive.browseNameString = name;
  if (savePreferences) savePreferences();
}

void SavedSearchesPanel::setBrowse() {
  getSavedSearch();
  const std::string name = savedSearchName_;
  saveBrowseName(name);
  ui_.alert({"Browse Default",
             "The " + name + " Saved Search is now the default action of the Browse button.",
             AlertStyle::informational,
             {"OK"}});
}

void SavedSearchesPanel::resetBrowse() {
  saveBrowseName("");
  ui_.alert({"Browse Button Reset",
             "The Browse button has been reset to list all emails in the database.",
             AlertStyle::informational,
             {"OK"}});
}

}  // namespace keldane
