#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/user_interface.h"
#include "query/retrieve_sheet.h"
#include "settings/preferences_file.h"
#include "settings/property_list.h"

namespace keldane {

/// The saved searches and their panel. A saved search is a name and one whole statement, never the
/// state of the form. They are kept in the preferences under "savedSearches"; whatever else stands
/// in an entry there stays with it, and what other programs have saved there meanwhile stays too.
/// Main thread.
class SavedSearches {
 public:
  struct Callbacks {
    std::function<void()> getPrefs;  ///< after each change; reads the list again too
  };

  SavedSearches(PreferencesFile& prefs, RetrieveSheet& sheet, UserInterface& ui);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Takes the list from the preferences; nothing is selected afterwards.
  void load();

  /// Opens the panel with the statement of the form.
  void savedSearches();
  /// Opens it with the statement of the SQL editor.
  void savedEditedSearches();
  /// Saves the panel's statement under the panel's name, over an entry of exactly this name. False
  /// when the preferences could not be written, which has been shown; the list in memory keeps the
  /// change.
  bool saveSearch();
  /// Deletes the selected one, if any. False as above.
  bool deleteSearch();
  /// Runs the panel's statement, edited or not.
  void doSavedSearch();
  void cancelSavedSearch();
  void getSavedSearch();
  void setSavedSearch();
  /// The selection of the table has moved; -1: none.
  void selectRow(int row);

  /// Statement of the search of this name; null when there is none.
  [[nodiscard]] const std::string* find(const std::string& name) const;
  [[nodiscard]] const std::vector<std::string>& savedSearchNames() const {
    return savedSearchNames_;
  }
  /// Parallel to the names.
  [[nodiscard]] const std::vector<std::string>& statements() const { return statements_; }
  [[nodiscard]] int savedSearchIndex() const { return savedSearchIndex_; }
  [[nodiscard]] const std::string& savedSearchName() const { return savedSearchName_; }

 private:
  void openPanel();
  bool persist(std::function<void(PlistDict&)> change);

  PreferencesFile& prefs_;
  RetrieveSheet& sheet_;
  UserInterface& ui_;
  Callbacks callbacks_;
  std::vector<std::string> savedSearchNames_;
  std::vector<std::string> statements_;
  int savedSearchIndex_ = -1;
  std::string savedSearchName_;
};

}  // namespace keldane
