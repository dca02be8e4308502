#pragma once

#include <string>
#include <vector>

#include "base/result.h"
#include "settings/preferences_file.h"

namespace keldane {

/// A name and one whole statement, never the state of the form.
struct SavedSearch {
  std::string name;
  std::string statement;
};

/// The saved searches stand in the preferences. Whatever else is in an entry there stays with it,
/// and what other programs have saved there meanwhile stays too.
[[nodiscard]] std::vector<SavedSearch> readSavedSearches(const PreferencesFile& prefs);
/// The statement of the search of this name, compared exactly; null when there is none.
[[nodiscard]] const std::string* findSearch(const std::vector<SavedSearch>& searches,
                                            const std::string& name);
/// Saves under the name, over an entry that has it. Fails when the preferences could not be
/// written; they keep the change in memory, as with the next.
[[nodiscard]] Result<void> saveSearch(PreferencesFile& prefs, const SavedSearch& search);
/// Deletes by its name, as another program may have moved it.
[[nodiscard]] Result<void> deleteSearch(PreferencesFile& prefs, const std::string& name);

}  // namespace keldane
