#include "query/result_list.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kMostIdsInOneTagQuery = 10000;

/// UTF-8 as ISO Latin 1; nullopt when it holds a character beyond.
std::optional<std::string> utf8ToLatin1(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      bytes += text[i];
    } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < text.size()) {
      const auto low = static_cast<unsigned char>(text[++i]) & 0x3F;
      bytes += static_cast<char>(((byte & 3) << 6) | low);
    } else {
      return std::nullopt;
    }
  }
  return bytes;
}

using Comparison = int (*)(const Emailrow&, const Emailrow&);

Comparison comparisonFor(std::string_view identifier) {
  if (identifier == "emailID") return emailIDComparison;
  if (identifier == "emailAtch") return emailAtchComparison;
  if (identifier == "emailFrom") return emailFromComparison;
  if (identifier == "emailTo") return emailToComparison;
  if (identifier == "emailSubject") return emailSubjectComparison;
  if (identifier == "emailMailbox") return emailMailboxComparison;
  return nullptr;
}

std::string dropViewSql(int number) {
  return fmt::format("DROP VIEW IF EXISTS listView{}", number);
}

}  // namespace

ResultList::ResultList(ServerSession& session, ProgressPanel& progress, UserInterface& ui,
                       ProcessState& process)
    : session_(session), progress_(progress), ui_(ui), process_(process) {}

void ResultList::clear() {
  emailIds.clear();
  emailRows.clear();
  dbCountTextField.clear();
  listCountTextField.clear();
  rowCount = 0;
  receivedCount = archiveCount = 0;
  ui_.changed("storeTableView");
}

void ResultList::retrieve() {
  ui_.closePanel("SQLPanel");
  showRetrieving();
  withTags_ = std::exchange(withTagsCheck, false);
  withoutTags_ = std::exchange(withoutTagsCheck, false);
  getResults();
}

void ResultList::retrieveBySize(const std::string& limit) {
  showRetrieving();
  withTags_ = withoutTags_ = false;
  currentSql =
      "SELECT email.id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email,origemail "
      "WHERE origemail.id=email.id ORDER BY length(origemail.orig_fld) DESC" +
      limit;
  getResults();
}

void ResultList::showRetrieving() {
  clear();
  if (callbacks_.clearMessageViews) callbacks_.clearMessageViews();
  ui_.setWindowTitle("storePanel", "retrieving email from database...");
  if (process_.unattendedRun == 0) ui_.showPanel("storePanel");
  progress_.doProgressPanel("Retrieving...");
}

void ResultList::getResults() {
  // The list before this one decides the encoding: its senders were not UTF-8.
  const std::optional<std::string> latin1 =
      resultIsLatin1_ ? utf8ToLatin1(currentSql) : std::nullopt;
  const std::string statement = resultIsLatin1_ ? latin1.value_or("") : currentSql;
  if (!session_.query(statement)) {
    progress_.close();
    ui_.alert({"SQL Error",
               fmt::format("SQL error: {}\n", session_.error()),
               AlertStyle::critical,
               {"OK"}});
    return;
  }
  loadEmailRows();

  std::string count = "0";
  const std::string countSql = "SELECT count(id) FROM email";
  if (session_.query(countSql)) {
    count = fetchFirstCell(session_);
    archiveCount = std::strtoull(count.c_str(), nullptr, 10);
  } else if (callbacks_.storeLog) {
    callbacks_.storeLog(fmt::format("SQL error: {}, {}\n", session_.error(), countSql));
  }
  dbCountTextField = count + " emails in the database.";
  listCountTextField = fmt::format("{} emails in this list.", rowCount);
  ui_.changed("storeTableView");
  progress_.close();
  ui_.setWindowTitle("storePanel", "done retrieving email from " + callbacks_.dbPath());

  ++listViewCount;
  listSearchButtonEnabled = true;
  // An empty list has raised the number all the same: a search inside it fails at the server.
  if (!emailIds.empty() && makesListViews) makeListView();
  if (process_.unattendedRun == 0) ui_.changed("storePanel");
}

void ResultList::makeListView() {
  if (!session_.query(dropViewSql(listViewCount))) {
    printSqlError();
    --listViewCount;
  }
  std::string sql = fmt::format(
      "CREATE VIEW listView{} AS SELECT id,from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld,"
      "numAttach,attachNames,attachText,headings FROM email WHERE id IN (",
      listViewCount);
  sql.append(join(emailIds, ",")).append(")");
  if (!session_.query(sql)) {
    printSqlError();
    --listViewCount;
    listSearchButtonEnabled = false;
  }
}

void ResultList::loadEmailRows() {
  resultIsLatin1_ = false;
  auto rows = session_.storeResult();
  if (!rows) {
    printSqlError();
    return;
  }
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows->cell(column).value_or(std::string_view()));
  };
  std::vector<Emailrow> found;
  receivedCount = rows->rowCount();
  found.reserve(receivedCount);
  std::vector<bool> latin1Senders;
  while (rows->next()) {
    Emailrow row;
    const std::string id(rows->cell(0).value_or("0"));
    row.emailID = static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10));
    row.emailDate = text(1);
    latin1Senders.push_back(!isValidUtf8(rows->cell(2).value_or(std::string_view())));
    row.emailFrom = text(2);
    row.emailTo = text(3);
    row.emailSubject = text(4);
    row.emailMailbox = text(5);
    row.emailAtch = leadingInt(rows->cell(6).value_or("0"));
    found.push_back(std::move(row));
  }
  rows.reset();

  const std::optional<std::unordered_set<std::uint32_t>> tagged = findTaggedIds(found);
  const DateStyle style =
      callbacks_.dateStyle && !keepsServerDates ? callbacks_.dateStyle() : DateStyle{};
  emailRows.reserve(found.size());
  emailIds.reserve(found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    Emailrow& row = found[i];
    const std::optional<bool> hasTags =
        tagged ? std::optional<bool>(tagged->count(row.emailID) != 0) : askForTags(row.emailID);
    if (!hasTags) return;
    if (*hasTags ? withoutTags_ : withTags_) continue;
    row.emailDate = formatListDate(row.emailDate, style);
    if (*hasTags) row.emailDate += '*';
    if (latin1Senders[i]) resultIsLatin1_ = true;
    emailIds.push_back(fmt::format("{}", row.emailID));
    emailRows.push_back(std::move(row));
    ++rowCount;
    progress_.doProgressCount(rowCount, 10);
  }
}

std::optional<std::unordered_set<std::uint32_t>> ResultList::findTaggedIds(
    const std::vector<Emailrow>& rows) {
  std::unordered_set<std::uint32_t> tagged;
  if (rows.empty()) return tagged;
  std::string sql = "SELECT id FROM tags";
  if (rows.size() <= kMostIdsInOneTagQuery) {
    sql += " WHERE id IN (";
    for (const Emailrow& row : rows) fmt::format_to(std::back_inserter(sql), "{},", row.emailID);
    sql.back() = ')';
  }
  if (!session_.query(sql)) return std::nullopt;
  const auto result = session_.storeResult();
  if (!result) return std::nullopt;
  while (result->next()) {
    const std::string id(result->cell(0).value_or("0"));
    tagged.insert(static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10)));
  }
  return tagged;
}

std::optional<bool> ResultList::askForTags(std::uint32_t id) {
  const std::string sql = fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", id);
  if (!session_.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return std::nullopt;
  }
  return leadingInt(fetchFirstCell(session_)) != 0;
}

void ResultList::get500emails() {
  if (makesListViews) (void)session_.query(dropViewSql(1));
  currentSql =
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email ORDER BY date_fld "
      "DESC LIMIT 200";
  onlyAttach = false;
  retrieve();
  listCountTextField = "The 200 most recent emails.";
  messageButtonsEnabled = false;
  if (callbacks_.clearMessageViews) callbacks_.clearMessageViews();
  ui_.changed("storePanel");
}

bool ResultList::dropAllViews() {
  if (!makesListViews) return true;
  for (int n = 1; n <= listViewCount; ++n) {
    if (!session_.query(dropViewSql(n))) {
      ui_.alert({"SQL Error",
                 fmt::format("SQL error: {}", session_.error()),
                 AlertStyle::critical,
                 {"OK"}});
      return false;
    }
  }
  return true;
}

void ResultList::dropAllViewsQuietly() {
  if (!makesListViews) return;
  for (int n = 1; n <= listViewCount; ++n) (void)session_.query(dropViewSql(n));
}

void ResultList::didClickTableColumn(const std::string& identifier) {
  if (emailRows.empty()) return;
  if (identifier == sortColumn) {
    reverseList = !reverseList;
  } else if (identifier == "emailDate") {
    sortColumn = identifier;
    const int format = callbacks_.dateStyle ? callbacks_.dateStyle().dateFormat : 0;
    std::stable_sort(emailRows.begin(), emailRows.end(),
                     [format](const Emailrow& a, const Emailrow& b) {
                       return emailDateComparison(a, b, format) < 0;
                     });
  } else if (const Comparison compare = comparisonFor(identifier)) {
    sortColumn = identifier;
    std::stable_sort(emailRows.begin(), emailRows.end(),
                     [compare](const Emailrow& a, const Emailrow& b) { return compare(a, b) < 0; });
  } else {
    return;
  }
  ui_.changed("storeTableView");
}

std::optional<std::string> ResultList::objectValueForTableColumn(std::string_view identifier,
                                                                 std::size_t row) const {
  if (row >= emailRows.size()) return std::nullopt;
  const Emailrow& shown = emailRows[modelIndex(row)];
  if (identifier == "emailID") return fmt::format("{}", shown.emailID);
  if (identifier == "emailAtch") return fmt::format("{}", shown.emailAtch);
  if (identifier == "emailDate") return shown.emailDate;
  if (identifier == "emailFrom") return shown.emailFrom;
  if (identifier == "emailTo") return shown.emailTo;
  if (identifier == "emailSubject") return shown.emailSubject;
  if (identifier == "emailMailbox") return shown.emailMailbox;
  return std::nullopt;
}

std::string_view ResultList::sortIndicator(std::string_view identifier) const {
  if (sortColumn.empty() || identifier != sortColumn) return {};
  return reverseList ? "NSDescendingSortIndicator" : "NSAscendingSortIndicator";
}

void ResultList::printSqlError() const {
  std::fputs(fmt::format("SQL error: {}\n", session_.error()).c_str(), stderr);
}

}  // namespace keldane
