#include "query/search_result.h"

#include <cstdlib>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "query/search_builder.h"

namespace keldane {
namespace {

/// More ids than this are not named in a statement; the table of tags is then read whole.
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

/// Which of the rows have tags, learnt with one statement; nullopt when it was refused.
std::optional<std::unordered_set<std::uint32_t>> findTaggedIds(ServerSession& session,
                                                               const std::vector<Emailrow>& rows) {
  std::unordered_set<std::uint32_t> tagged;
  if (rows.empty()) return tagged;
  std::string sql = "SELECT id FROM tags";
  if (rows.size() <= kMostIdsInOneTagQuery) {
    sql += " WHERE id IN (";
    for (const Emailrow& row : rows) fmt::format_to(std::back_inserter(sql), "{},", row.emailID);
    sql.back() = ')';
  }
  if (!session.query(sql)) return std::nullopt;
  const auto result = session.storeResult();
  if (!result) return std::nullopt;
  while (result->next()) {
    const std::string id(result->cell(0).value_or("0"));
    tagged.insert(static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10)));
  }
  return tagged;
}

/// The same for one row; nullopt with a complaint when it was refused.
std::optional<bool> askForTags(ServerSession& session, std::uint32_t id, std::string& complaint) {
  const std::string sql = fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", id);
  if (session.query(sql)) return leadingInt(fetchFirstCell(session)) != 0;
  complaint = fmt::format("SQL error: {}, {}\n", session.error(), sql);
  return std::nullopt;
}

/// The first cells of all rows, without the empty ones.
Result<std::vector<std::string>> readTexts(ServerSession& session, const std::string& sql) {
  if (!session.query(sql)) return Failure{fmt::format("{}, {}", session.error(), sql)};
  std::vector<std::string> texts;
  const auto rows = session.storeResult();
  while (rows && rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) texts.push_back(toUtf8(*cell));
  }
  return texts;
}

}  // namespace

Result<SearchResult> runSearch(ServerSession& session, const std::string& statement,
                               const SearchOptions& options, Progress& progress) {
  const std::string sent = options.sendsLatin1 ? utf8ToLatin1(statement).value_or("") : statement;
  if (!session.query(sent)) return Failure{session.error()};
  SearchResult result;
  auto rows = session.storeResult();
  if (!rows) {
    result.complaint = fmt::format("SQL error: {}\n", session.error());
    return result;
  }
  std::vector<Emailrow> found;
  std::vector<bool> latin1Senders;
  result.receivedCount = rows->rowCount();
  found.reserve(result.receivedCount);
  while (rows->next()) {
    found.push_back(readListRow(*rows));
    latin1Senders.push_back(!isValidUtf8(rows->cell(kListFromColumn).value_or(std::string_view())));
  }
  rows.reset();

  const auto tagged = findTaggedIds(session, found);
  result.rows.reserve(found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    Emailrow& row = found[i];
    const std::optional<bool> hasTags = tagged
                                            ? std::optional<bool>(tagged->count(row.emailID) != 0)
                                            : askForTags(session, row.emailID, result.complaint);
    if (!hasTags) return result;
    if (*hasTags ? options.onlyUntagged : options.onlyTagged) continue;
    row.emailDate = formatListDate(row.emailDate, options.style);
    if (*hasTags) row.emailDate += '*';
    result.hasLatin1Sender = result.hasLatin1Sender || latin1Senders[i];
    result.rows.push_back(std::move(row));
    progress.step(static_cast<int>(result.rows.size()), {});
    // What has come by then is the list.
    if (progress.cancelled()) break;
  }
  return result;
}

Result<std::string> countMessages(ServerSession& session) {
  if (!session.query("SELECT count(id) FROM email")) return Failure{session.error()};
  return fetchFirstCell(session);
}

Result<std::vector<std::string>> readMailboxes(ServerSession& session) {
  // The names of message files are no mailboxes; the last pattern holds a real line feed.
  return readTexts(session,
                   "SELECT  mailbox FROM email WHERE mailbox NOT LIKE '%.emlx%' AND mailbox NOT "
                   "LIKE '%.eml%' AND mailbox NOT LIKE '%\n' GROUP BY mailbox");
}

Result<std::vector<std::string>> readKeywords(ServerSession& session) {
  return readTexts(session, "SELECT DISTINCT key_fld FROM tags ORDER BY key_fld");
}

std::optional<CutList> findCut(ServerSession& session, const std::string& statement,
                               std::uint64_t receivedCount) {
  const std::optional<LimitedStatement> limited = splitLimit(statement);
  if (!limited || receivedCount < limited->limit) return std::nullopt;
  // The user's own statement may name a column twice, and then it cannot be counted so.
  if (!session.query("SELECT count(*) FROM (" + limited->unlimited + ") AS uncut")) {
    return CutList{};
  }
  const std::uint64_t all = std::strtoull(fetchFirstCell(session).c_str(), nullptr, 10);
  if (all <= receivedCount) return std::nullopt;
  return CutList{all};
}

bool createListView(ServerSession& session, int number, const std::vector<std::string>& ids) {
  return session.query(
      fmt::format("CREATE VIEW listView{} AS SELECT {} FROM email WHERE id IN ({})", number,
                  kListViewColumns, join(ids, ",")));
}

bool dropListView(ServerSession& session, int number) {
  return session.query(fmt::format("DROP VIEW IF EXISTS listView{}", number));
}

}  // namespace keldane
