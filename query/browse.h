#pragma once

#include <functional>
#include <string>

#include "platform/user_interface.h"
#include "query/retrieve_sheet.h"
#include "query/saved_searches.h"

namespace keldane {

/// The Browse actions: the whole archive, or the saved search chosen for it, or everything by size.
/// Main thread.
class Browse {
 public:
  struct Callbacks {
    /// The name of the saved search that Browse runs, empty for all mail; kept with the archive's
    /// settings.
    std::function<std::string()> browseSearchName;
    std::function<void(const std::string& name)> setBrowseSearchName;
    std::function<void()> savePreferences;
    /// Whether a chosen search that is not among the saved ones is forgotten; empty: it is.
    std::function<bool()> forgetsMissingSearch;
    std::function<SearchContext()> settings;
  };

  Browse(RetrieveSheet& sheet, SavedSearches& searches, ResultList& list, UserInterface& ui);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Lists the archive as the Browse button does; a chosen saved search that is gone is
  /// forgotten where that is wanted, and the whole archive listed.
  void browseDatabase();
  /// Lists by length of the raw source, the longest first, after a question.
  void browseBySize();
  /// Makes the selected saved search the default of the Browse button.
  void setBrowse();
  void resetBrowse();

 private:
  void saveBrowseName(const std::string& name);

  RetrieveSheet& sheet_;
  SavedSearches& searches_;
  ResultList& list_;
  UserInterface& ui_;
  Callbacks callbacks_;
};

}  // namespace keldane
