#include "app/panels/result_table.h"

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <future>
#include <memory_resource>
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

/// A row's place among the others: by its key, and equal ones as they were. The beginning of the
/// key stands in numbers, which decide most comparisons without a look elsewhere in memory.
struct RowKey {
  std::array<std::uint64_t, 3> head = {};
  std::string_view rest;     ///< of the key, behind the head
  std::uint32_t length = 0;  ///< of the key, which may end in NUL as the head does
  std::uint32_t row = 0;
  auto operator<=>(const RowKey&) const = default;
};

/// The key of a text; what is not in its head lies in `texts`.
RowKey textKey(std::string_view text, std::pmr::memory_resource& texts) {
  RowKey key;
  key.length = static_cast<std::uint32_t>(text.size());
  constexpr std::size_t kHeadBytes = sizeof key.head;
  for (std::size_t i = 0; i < kHeadBytes; ++i) {
    std::uint64_t& number = key.head[i / sizeof(std::uint64_t)];
    number = number << 8U | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
  }
  if (text.size() > kHeadBytes) {
    const std::string_view rest = text.substr(kHeadBytes);
    auto* kept = static_cast<char*>(texts.allocate(rest.size(), 1));
    key.rest = {kept, rest.copy(kept, rest.size())};
  }
  return key;
}

RowKey numberKey(std::int64_t number) {
  RowKey key;
  constexpr std::uint64_t kZero = std::uint64_t{1} << 63U;  // negative ones come before
  key.head[0] = kZero + static_cast<std::uint64_t>(number);
  return key;
}

/// Runs `work` for the first and for the second half of so many, at once when they are many.
template <typename Work>
void runForHalves(std::size_t count, const Work& work) {
  constexpr std::size_t kMany = 20000;
  const std::size_t middle = count / 2;
  const auto policy = count < kMany ? std::launch::deferred : std::launch::async;
  std::future<void> first = std::async(policy, [&] { work(std::size_t{0}, middle); });
  work(middle, count);
  first.get();
}

/// Each row's key is made once, by `keyOf`, from its `text` if any, and each row is moved once.
/// What was sorted before lies anywhere in memory, which is told ahead what will be asked for.
template <typename KeyOf>
void sortRows(std::vector<Emailrow>& rows, std::string Emailrow::*text, const KeyOf& keyOf) {
  constexpr std::size_t kAhead = 16;
  std::pmr::monotonic_buffer_resource texts[2];
  std::vector<RowKey> order(rows.size());
  const auto at = [&order](std::size_t row) {
    return order.begin() + static_cast<std::ptrdiff_t>(row);
  };
  runForHalves(rows.size(), [&](std::size_t begin, std::size_t end) {
    for (std::size_t row = begin; row < end; ++row) {
      if (text != nullptr && row + kAhead < end) {
        __builtin_prefetch((rows[row + kAhead].*text).data());
      }
      order[row] = keyOf(rows[row], texts[begin == 0 ? 0 : 1]);
      order[row].row = static_cast<std::uint32_t>(row);
    }
    std::sort(at(begin), at(end));
  });
  std::inplace_merge(order.begin(), at(rows.size() / 2), order.end());
  std::vector<Emailrow> sorted;
  sorted.reserve(rows.size());
  for (std::size_t place = 0; place < rows.size(); ++place) {
    if (place + kAhead < rows.size()) {
      const Emailrow& next = rows[order[place + kAhead].row];
      __builtin_prefetch(&next);
      __builtin_prefetch(&next.emailSubject);
    }
    sorted.push_back(std::move(rows[order[place].row]));
  }
  rows = std::move(sorted);
}

/// False: there is no such column.
bool sortByColumn(std::vector<Emailrow>& rows, std::string_view identifier, int dateFormat) {
  const auto sortNumbers = [&rows](auto number) {
    sortRows(rows, nullptr,
             [number](const Emailrow& row, auto&) { return numberKey(row.*number); });
    return true;
  };
  if (identifier == "emailID") return sortNumbers(&Emailrow::emailID);
  if (identifier == "emailAtch") return sortNumbers(&Emailrow::emailAtch);
  for (const TextColumn& column : kTextColumns) {
    if (column.identifier != identifier) continue;
    const bool isDate = identifier == "emailDate";
    sortRows(rows, column.field, [&](const Emailrow& row, std::pmr::memory_resource& texts) {
      const std::string& text = row.*column.field;
      return textKey(isDate ? reorderDate(text, dateFormat) : foldedKey(text), texts);
    });
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
