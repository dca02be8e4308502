#include "query/retrieve_sheet.h"

#include <utility>

namespace keldane {
namespace {

constexpr std::string_view kWholeArchiveTitle = "Search email in ";
constexpr const char* kListTitle = "Search Results List";
constexpr std::int64_t kSixDays = 518400;

}  // namespace

RetrieveSheet::RetrieveSheet(ResultList& list, ProcessState& process, Environment& environment,
                             UserInterface& ui)
    : list_(list), process_(process), environment_(environment), ui_(ui) {}

bool RetrieveSheet::isArchiving() const {
  return callbacks_.isArchiving && callbacks_.isArchiving();
}

void RetrieveSheet::doConnect() {
  if (callbacks_.doConnect) callbacks_.doConnect();
}

bool RetrieveSheet::leaveListMode() {
  if (!list_.dropAllViews()) return false;
  listMode = 0;
  list_.listViewCount = 0;
  return true;
}

void RetrieveSheet::showSavedSearchesButton(bool shown) {
  panel.savedSearchesButtonEnabled = shown;
  panel.savedSearchesButtonHidden = !shown;
  ui_.changed("savedSearchesButton");
}

void RetrieveSheet::retrieveFromDB() {
  if (isArchiving()) return;
  doConnect();
  if (!leaveListMode()) return;
  showSavedSearchesButton(true);
  ui_.changed("Saved Searches...");
  panel.title = std::string(kWholeArchiveTitle);
  if (callbacks_.dbPath) panel.title += callbacks_.dbPath();
  ui_.setWindowTitle("retrievePanel", panel.title);
  retrieveFromDBorList();
}

void RetrieveSheet::retrieveFromList() {
  listMode = 1;
  resetRetrieve(form);
  resetTagSearch(form);
  retrieveFromDBorList();
  ui_.changed("Saved Searches...");
  showSavedSearchesButton(false);
  panel.title = kListTitle;
  ui_.setWindowTitle("retrievePanel", panel.title);
}

void RetrieveSheet::retrieveFromDBorList() {
  if (isArchiving()) return;
  panel.visible = true;
  ui_.openSheet("retrievePanel");
  ui_.changed("mySaveOrigSelected");
  ui_.changed("mySaveOrigAll");
}

void RetrieveSheet::closePanel() {
  panel.visible = false;
  ui_.closePanel("retrievePanel");
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
    process_.cancelFlag = 0;
    return;
  }
  run(beginSql + whereSql);
}

void RetrieveSheet::run(std::string sql) {
  if (isArchiving()) return;
  list_.currentSql = std::move(sql);
  list_.withTagsCheck = form.withTagsCheck;
  list_.withoutTagsCheck = form.withoutTagsCheck;
  list_.onlyAttach = form.onlyAttachCheck;
  list_.retrieve();
}

bool RetrieveSheet::makeSearchSQL() {
  // What was cancelled before is not this search. The flag of a run is left to the run.
  if (!isArchiving()) process_.cancelFlag = 0;
  if (callbacks_.openDatabase) callbacks_.openDatabase();
  if (process_.cancelFlag != 0) return false;
  SearchContext context;
  if (orderAndLimit) {
    context = *orderAndLimit;
  } else if (callbacks_.settings) {
    context = callbacks_.settings();
  }
  context.listMode = listMode;
  context.listViewCount = list_.listViewCount;
  SearchSql sql = keldane::makeSearchSQL(form, context);
  beginSql = std::move(sql.beginSql);
  whereSql = std::move(sql.whereSql);
  fromTables = std::move(sql.fromTables);
  list_.onlyAttach = sql.onlyAttach;
  return true;
}

void RetrieveSheet::makeSearchSQLOrEmpty() {
  beginSql.clear();
  whereSql.clear();
  if (isArchiving()) return;
  if (!makeSearchSQL()) process_.cancelFlag = 0;
}

void RetrieveSheet::doAttchTypes() {
  form.typeCheck = {};
  panel.attchTypeSheetVisible = true;
  ui_.openSheet("attchTypeSheet");
}

void RetrieveSheet::setAttchTypes() {
  panel.attchTypeSheetVisible = false;
  ui_.closePanel("attchTypeSheet");
  for (const bool checked : form.typeCheck) {
    if (!checked) continue;
    form.onlyAttachCheck = true;
    list_.onlyAttach = true;
    ui_.changed("onlyAttachCheck");
    return;
  }
}

void RetrieveSheet::cancelAttchTypes() {
  form.typeCheck = {};
  panel.attchTypeSheetVisible = false;
  ui_.closePanel("attchTypeSheet");
}

std::string RetrieveSheet::localDay(std::int64_t secondsAgo) const {
  return localDateTime(environment_.now() - secondsAgo).substr(0, 10);
}

void RetrieveSheet::doDay() { keldane::doDay(form.dates, localDay(0)); }
void RetrieveSheet::doWeek() { keldane::doWeek(form.dates, localDay(0), localDay(kSixDays)); }
void RetrieveSheet::doMonth() { keldane::doMonth(form.dates, localDay(0)); }
void RetrieveSheet::doYear() { keldane::doYear(form.dates, localDay(0)); }

}  // namespace keldane
