#include "app/panels/retrieve_sheet.h"

#include <utility>

#include "app/query_settings.h"
#include "query/saved_searches.h"

namespace keldane {
namespace {

constexpr std::string_view kWholeArchiveTitle = "Search email in ";
constexpr const char* kListTitle = "Search Results List";

}  // namespace

bool RetrieveSheet::isArchiving() const { return context_.isArchiving && context_.isArchiving(); }

bool RetrieveSheet::leaveListMode() {
  if (!context_.table.dropAllViews()) return false;
  listMode = 0;
  context_.table.listViewCount = 0;
  return true;
}

void RetrieveSheet::showSavedSearchesButton(bool shown) {
  panel.savedSearchesButtonEnabled = shown;
  panel.savedSearchesButtonHidden = !shown;
  context_.ui.changed("savedSearchesButton");
}

void RetrieveSheet::retrieveFromDB() {
  if (isArchiving()) return;
  context_.doConnect();
  if (!leaveListMode()) return;
  showSavedSearchesButton(true);
  context_.ui.changed("Saved Searches...");
  panel.title = std::string(kWholeArchiveTitle) + context_.database.dbPath;
  context_.ui.setWindowTitle("retrievePanel", panel.title);
  retrieveFromDBorList();
}

void RetrieveSheet::retrieveFromList() {
  listMode = 1;
  resetRetrieve(form);
  resetTagSearch(form);
  retrieveFromDBorList();
  context_.ui.changed("Saved Searches...");
  showSavedSearchesButton(false);
  panel.title = kListTitle;
  context_.ui.setWindowTitle("retrievePanel", panel.title);
}

void RetrieveSheet::retrieveFromDBorList() {
  if (isArchiving()) return;
  panel.visible = true;
  context_.ui.openSheet("retrievePanel");
  context_.ui.changed("mySaveOrigSelected");
  context_.ui.changed("mySaveOrigAll");
}

void RetrieveSheet::closePanel() {
  panel.visible = false;
  context_.ui.closePanel("retrievePanel");
}

void RetrieveSheet::cancelRetrieve() { closePanel(); }

void RetrieveSheet::retrieveEmails() {
  closePanel();
  if (isArchiving()) return;
  // The sheet's title tells what it was opened for; one that was opened for the list keeps its
  // views.
  if (panel.title.starts_with(kWholeArchiveTitle.substr(0, kWholeArchiveTitle.size() - 1)) &&
      !leaveListMode()) {
    return;
  }
  if (!makeSearchSQL()) {
    context_.process.cancelFlag = 0;
    return;
  }
  run(beginSql + whereSql);
}

void RetrieveSheet::run(std::string sql) {
  if (isArchiving()) return;
  if (listMode != 0) context_.table.renewListView();
  context_.table.currentSql = std::move(sql);
  context_.table.withTagsCheck = form.withTagsCheck;
  context_.table.withoutTagsCheck = form.withoutTagsCheck;
  context_.table.onlyAttach = form.onlyAttachCheck;
  context_.table.retrieve();
}

bool RetrieveSheet::makeSearchSQL() {
  // What was cancelled before is not this search. The flag of a run is left to the run.
  if (!isArchiving()) context_.process.cancelFlag = 0;
  context_.openDatabase();
  if (context_.process.cancelFlag != 0) return false;
  SearchContext context = searchContextOf(context_.settings);
  if (listMode != 0) context.scope = listScope(context_.table.listViewCount);
  SearchSql sql = keldane::makeSearchSQL(requestOf(form), context);
  beginSql = std::move(sql.beginSql);
  whereSql = std::move(sql.whereSql);
  fromTables = std::move(sql.fromTables);
  context_.table.onlyAttach = form.onlyAttachCheck;
  return true;
}

void RetrieveSheet::makeSearchSQLOrEmpty() {
  beginSql.clear();
  whereSql.clear();
  if (isArchiving()) return;
  if (!makeSearchSQL()) context_.process.cancelFlag = 0;
}

void RetrieveSheet::doAttchTypes() {
  form.typeCheck = {};
  panel.attchTypeSheetVisible = true;
  context_.ui.openSheet("attchTypeSheet");
}

void RetrieveSheet::setAttchTypes() {
  panel.attchTypeSheetVisible = false;
  context_.ui.closePanel("attchTypeSheet");
  for (const bool checked : form.typeCheck) {
    if (!checked) continue;
    form.onlyAttachCheck = true;
    context_.table.onlyAttach = true;
    context_.ui.changed("onlyAttachCheck");
    return;
  }
}

void RetrieveSheet::cancelAttchTypes() {
  form.typeCheck = {};
  panel.attchTypeSheetVisible = false;
  context_.ui.closePanel("attchTypeSheet");
}

std::string RetrieveSheet::localDay(std::int64_t secondsAgo) const {
  return localDateTime(context_.environment.now() - secondsAgo).substr(0, 10);
}

void RetrieveSheet::doDay() { form.dates = weekMenus(localDay(0), localDay(0)); }
void RetrieveSheet::doWeek() { form.dates = weekMenus(localDay(0), localDay(kSixDaysInSeconds)); }
void RetrieveSheet::doMonth() { form.dates = monthMenus(localDay(0)); }
void RetrieveSheet::doYear() { form.dates = yearMenus(localDay(0)); }

void RetrieveSheet::browseDatabase() {
  if (isArchiving()) return;
  context_.doConnect();
  context_.table.listSearchButtonEnabled = true;
  if (!leaveListMode()) return;
  if (std::string& name = context_.settings.archive.browseNameString; !name.empty()) {
    const std::vector<SavedSearch> searches = readSavedSearches(context_.prefs);
    if (const std::string* statement = findSearch(searches, name)) return run(*statement);
    // The searches are this user's, the choice is the archive's: another user may have that one.
    if (context_.database.opening == Opening::create) {
      name.clear();
      context_.savePreferences();
    }
  }
  resetRetrieve(form);
  resetTagSearch(form);
  retrieveEmails();
}

void RetrieveSheet::browseBySize() {
  if (isArchiving()) return;
  const int answer = context_.ui.alert(
      {"Sort by size",
       "This search will retrieve email sorted by size in descending order.  It may take awhile.  "
       "You may want to set a search result limit in the General Settings.",
       AlertStyle::informational,
       {"OK", "Cancel"}});
  if (answer == kSecondButton) return;
  context_.table.currentSql = makeSizeSQL(searchContextOf(context_.settings));
  context_.table.retrieveUnfiltered();
}

}  // namespace keldane
