#include "app/panels/result_table.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "app/panels/panel_progress.h"
#include "app/query_settings.h"
#include "base/text.h"
#include "query/search_builder.h"

namespace keldane {
namespace {

/// A column whose cells are texts: its identifier, and its field.
struct TextColumn {
  std::string_view identifier;
  std::string Emailrow::*field;
};
constexpr TextColumn kTextColumns[] = {{"emailDate", &Emailrow::emailDate},
                                       {"emailFrom", &Emailrow::emailFrom},
                                       {"emailTo", &Emailrow::emailTo},
                                       {"emailSubject", &Emailrow::emailSubject},
                                       {"emailMailbox", &Emailrow::emailMailbox}};

/// The rows by their keys; equal ones stay as they are. Each row's key is made once, and each row
/// is moved once.
template <typename KeyOf>
void sortRows(std::vector<Emailrow>& rows, const KeyOf& keyOf) {
  using Key = decltype(keyOf(rows.front()));
  std::vector<std::pair<Key, std::uint32_t>> order;
  order.reserve(rows.size());
  for (const Emailrow& row : rows) {
    order.emplace_back(keyOf(row), static_cast<std::uint32_t>(order.size()));
  }
  std::sort(order.begin(), order.end());
  std::vector<Emailrow> sorted;
  sorted.reserve(rows.size());
  for (const auto& [key, row] : order) sorted.push_back(std::move(rows[row]));
  rows = std::move(sorted);
}

/// False: there is no such column.
bool sortByColumn(std::vector<Emailrow>& rows, std::string_view identifier, int dateFormat) {
  if (identifier == "emailID") {
    sortRows(rows, [](const Emailrow& row) { return row.emailID; });
    return true;
  }
  if (identifier == "emailAtch") {
    sortRows(rows, [](const Emailrow& row) { return row.emailAtch; });
    return true;
  }
  if (identifier == "emailDate") {
    sortRows(rows, [&](const Emailrow& row) { return reorderDate(row.emailDate, dateFormat); });
    return true;
  }
  for (const TextColumn& column : kTextColumns) {
    if (column.identifier != identifier) continue;
    sortRows(rows, [&](const Emailrow& row) { return foldedKey(row.*column.field); });
    return true;
  }
  return false;
}

}  // namespace

void ResultTable::clear() {
  emailIds.clear();
  emailRows.clear();
  selectedRows.clear();
  dbCountTextField.clear();
  listCountTextField.clear();
  rowCount = 0;
  context_.ui.changed("storeTableView");
}

std::vector<std::size_t> ResultTable::selectedInOrder() const {
  std::vector<std::size_t> rows = selectedRows;
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  rows.erase(std::lower_bound(rows.begin(), rows.end(), emailRows.size()), rows.end());
  return rows;
}

void ResultTable::retrieve() {
  context_.ui.closePanel("SQLPanel");
  showRetrieving();
  SearchOptions filter;
  filter.onlyTagged = std::exchange(withTagsCheck, false);
  filter.onlyUntagged = std::exchange(withoutTagsCheck, false);
  getResults(filter);
}

void ResultTable::retrieveUnfiltered() {
  showRetrieving();
  getResults({});
}

void ResultTable::showRetrieving() {
  clear();
  if (clearMessageViews) clearMessageViews();
  context_.ui.setWindowTitle("storePanel", "retrieving email from database...");
  if (context_.process.unattendedRun == 0) context_.ui.showPanel("storePanel");
  context_.progress.doProgressPanel("Retrieving...");
}

void ResultTable::getResults(const SearchOptions& filter) {
  SearchOptions options = filter;
  options.style = dateStyleOf(context_.settings);
  // The list before this one decides the encoding: its senders were not UTF-8.
  options.sendsLatin1 = resultIsLatin1_;
  EndablePanelProgress progress(context_.progress, context_.ui);
  Result<SearchResult> found = runSearch(context_.session, currentSql, options, progress);
  if (!found) {
    context_.progress.close();
    context_.ui.alert(
        {"SQL Error", fmt::format("SQL error: {}\n", found.error()), AlertStyle::critical, {"OK"}});
    return;
  }
  std::fputs(found->complaint.c_str(), stderr);
  resultIsLatin1_ = found->hasLatin1Sender;
  emailRows = std::move(found->rows);
  for (const Emailrow& row : emailRows) emailIds.push_back(fmt::format("{}", row.emailID));
  rowCount = static_cast<int>(emailRows.size());

  const Result<std::string> count = countMessages(context_.session);
  if (!count && context_.storeLog) {
    context_.storeLog(fmt::format("SQL error: {}, SELECT count(id) FROM email\n", count.error()));
  }
  archiveIsEmpty = count && *count == "0";
  dbCountTextField = (count ? *count : "0") + " emails in the database.";
  listCountTextField = fmt::format("{} emails in this list.", rowCount);
  context_.ui.changed("storeTableView");
  context_.progress.close();
  context_.ui.setWindowTitle("storePanel",
                             "done retrieving email from " + context_.database.dbPath);

  ++listViewCount;
  listSearchButtonEnabled = true;
  viewIds_.clear();
  for (const Emailrow& row : emailRows) viewIds_.push_back(row.emailID);
  // An empty list has raised the number all the same: a search inside it fails at the server.
  if (!emailIds.empty()) makeListView();
  if (context_.process.unattendedRun == 0) context_.ui.changed("storePanel");
}

std::string listOfIdsSQL(const std::vector<std::uint32_t>& ids) {
  return selectListColumns("id") +
         fmt::format("email WHERE id IN ({}) ORDER BY date_fld DESC",
                     ids.empty() ? "0" : fmt::format("{}", fmt::join(ids, ",")));
}

KeptList ResultTable::takeList() {
  return {std::exchange(emailRows, {}),  std::exchange(emailIds, {}),
          std::exchange(rowCount, 0),    std::exchange(reverseList, false),
          std::exchange(sortColumn, {}), std::exchange(listCountTextField, {})};
}

void ResultTable::putBack(KeptList list) {
  emailRows = std::move(list.emailRows);
  emailIds = std::move(list.emailIds);
  rowCount = list.rowCount;
  reverseList = list.reverseList;
  sortColumn = std::move(list.sortColumn);
  listCountTextField = std::move(list.listCountTextField);
  context_.ui.changed("storeTableView");
  context_.ui.changed("listCountTextField");
}

void ResultTable::showFound(const std::vector<std::uint32_t>& ids, bool more) {
  static_cast<void>(takeList());
  SearchOptions options;
  options.style = dateStyleOf(context_.settings);
  Progress unseen;
  Result<SearchResult> found = SearchResult();
  if (!ids.empty()) found = runSearch(context_.session, listOfIdsSQL(ids), options, unseen);
  if (found) {
    emailRows = std::move(found->rows);
  } else {
    printSqlError();
  }
  for (const Emailrow& row : emailRows) emailIds.push_back(fmt::format("{}", row.emailID));
  rowCount = static_cast<int>(emailRows.size());
  listCountTextField = fmt::format(
      fmt::runtime(more ? "The newest {} emails found." : "{} emails found."), rowCount);
  context_.ui.changed("storeTableView");
  context_.ui.changed("listCountTextField");
}

void ResultTable::makeListView() {
  if (!dropListView(context_.session, listViewCount)) {
    printSqlError();
    --listViewCount;
  }
  if (!createListView(context_.session, listViewCount, emailIds)) {
    printSqlError();
    --listViewCount;
    listSearchButtonEnabled = false;
  }
}

void ResultTable::renewListView() {
  if (listViewCount == 0 || !dropListView(context_.session, listViewCount)) return;
  std::vector<std::string> ids;
  for (const std::uint32_t id : viewIds_) ids.push_back(fmt::format("{}", id));
  if (!ids.empty()) (void)createListView(context_.session, listViewCount, ids);
}

void ResultTable::get500emails() {
  (void)dropListView(context_.session, 1);
  currentSql = makeNewestSQL(" LIMIT 200");
  onlyAttach = false;
  retrieve();
  listCountTextField = "The 200 most recent emails.";
  messageButtonsEnabled = false;
  if (clearMessageViews) clearMessageViews();
  context_.ui.changed("storePanel");
}

bool ResultTable::dropAllViews() {
  for (int n = 1; n <= listViewCount; ++n) {
    if (dropListView(context_.session, n)) continue;
    context_.ui.alert({"SQL Error",
                       fmt::format("SQL error: {}", context_.session.error()),
                       AlertStyle::critical,
                       {"OK"}});
    return false;
  }
  return true;
}

void ResultTable::dropAllViewsQuietly() {
  for (int n = 1; n <= listViewCount; ++n) (void)dropListView(context_.session, n);
}

void ResultTable::didClickTableColumn(const std::string& identifier) {
  if (emailRows.empty()) return;
  if (identifier == sortColumn) {
    reverseList = !reverseList;
  } else {
    if (!sortByColumn(emailRows, identifier, context_.settings.dateFormat)) return;
    sortColumn = identifier;
  }
  context_.ui.changed("storeTableView");
}

std::optional<std::string> ResultTable::objectValueForTableColumn(std::string_view identifier,
                                                                  std::size_t row) const {
  if (row >= emailRows.size()) return std::nullopt;
  const Emailrow& shown = emailRows[modelIndex(row)];
  if (identifier == "emailID") return fmt::format("{}", shown.emailID);
  if (identifier == "emailAtch") return fmt::format("{}", shown.emailAtch);
  for (const TextColumn& column : kTextColumns) {
    if (column.identifier == identifier) return shown.*column.field;
  }
  return std::nullopt;
}

std::string_view ResultTable::sortIndicator(std::string_view identifier) const {
  if (sortColumn.empty() || identifier != sortColumn) return {};
  return reverseList ? "NSDescendingSortIndicator" : "NSAscendingSortIndicator";
}

void ResultTable::printSqlError() const {
  std::fputs(fmt::format("SQL error: {}\n", context_.session.error()).c_str(), stderr);
}

}  // namespace keldane
