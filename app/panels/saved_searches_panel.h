#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/panels/retrieve_sheet.h"
#include "app/user_interface.h"
#include "query/saved_searches.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"

namespace keldane {

/// The panel of the saved searches, with the choice of the one that the Browse button runs. Its
/// text fields are those of the search form. Main thread.
class SavedSearchesPanel {
 public:
  SavedSearchesPanel(PreferencesFile& prefs, Settings& settings, RetrieveSheet& sheet,
                     UserInterface& ui)
      : prefs_(prefs), settings_(settings), sheet_(sheet), ui_(ui) {}

  /// Takes the list from the preferences; nothing is selected afterwards.
  void load();

  /// Opens the panel with the statement of the form.
  void savedSearches();
  /// Opens it with the statement of the SQL editor.
  void savedEditedSearches();
  /// Saves the panel's statement under the panel's name, over an entry of exactly this name. A
  /// failure to write the preferences is shown.
  void saveSearch();
  /// Deletes the selected one, if any.
  void deleteSearch();
  /// Runs the panel's statement, edited or not.
  void doSavedSearch();
  void cancelSavedSearch();
  void getSavedSearch();
  void setSavedSearch();
  /// The selection of the table has moved; -1: none.
  void selectRow(int row);

  /// Makes the selected saved search the default of the Browse button.
  void setBrowse();
  void resetBrowse();

  /// What the settings do here: saving them, and reading them anew once the list has been saved.
  std::function<void()> savePreferences;
  std::function<void()> getPrefs;

  [[nodiscard]] const std::vector<SavedSearch>& savedSearchList() const { return list_; }
  [[nodiscard]] int savedSearchIndex() const { return savedSearchIndex_; }
  [[nodiscard]] const std::string& savedSearchName() const { return savedSearchName_; }

 private:
  void openPanel();
  void showStatement();
  void persisted(const Result<void>& saved);
  void saveBrowseName(const std::string& name);

  PreferencesFile& prefs_;
  Settings& settings_;
  RetrieveSheet& sheet_;
  UserInterface& ui_;
  std::vector<SavedSearch> list_;
  int savedSearchIndex_ = -1;
  std::string savedSearchName_;
};

}  // namespace keldane
