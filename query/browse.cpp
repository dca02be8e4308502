#include "query/browse.h"

namespace keldane {

Browse::Browse(RetrieveSheet& sheet, SavedSearches& searches, ResultList& list, UserInterface& ui)
    : sheet_(sheet), searches_(searches), list_(list), ui_(ui) {}

void Browse::browseDatabase() {
  if (sheet_.isArchiving()) return;
  sheet_.doConnect();
  list_.listSearchButtonEnabled = true;
  if (!sheet_.leaveListMode()) return;
  if (const std::string name = callbacks_.browseSearchName(); !name.empty()) {
    if (const std::string* statement = searches_.find(name)) {
      sheet_.run(*statement);
      return;
    }
    if (!callbacks_.forgetsMissingSearch || callbacks_.forgetsMissingSearch()) saveBrowseName("");
  }
  resetRetrieve(sheet_.form);
  resetTagSearch(sheet_.form);
  sheet_.retrieveEmails();
}

void Browse::browseBySize() {
  if (sheet_.isArchiving()) return;
  const int answer = ui_.alert(
      {"Sort by size",
       "This search will retrieve email sorted by size in descending order.  It may take awhile.  "
       "You may want to set a search result limit in the General Settings.",
       AlertStyle::informational,
       {"OK", "Cancel"}});
  if (answer == kSecondButton) return;
  list_.retrieveBySize(limitClause(callbacks_.settings()));
}

void Browse::saveBrowseName(const std::string& name) {
  callbacks_.setBrowseSearchName(name);
  if (callbacks_.savePreferences) callbacks_.savePreferences();
}

void Browse::setBrowse() {
  searches_.getSavedSearch();
  const std::string name = searches_.savedSearchName();
  saveBrowseName(name);
  ui_.alert({"Browse Default",
             "The " + name + " Saved Search is now the default action of the Browse button.",
             AlertStyle::informational,
             {"OK"}});
}

void Browse::resetBrowse() {
  saveBrowseName("");
  ui_.alert({"Browse Button Reset",
             "The Browse button has been reset to list all emails in the database.",
             AlertStyle::informational,
             {"OK"}});
}

}  // namespace keldane
