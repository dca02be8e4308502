#include "ingest/storing/stored_rows.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

namespace keldane {
namespace {

constexpr std::size_t kIdsAtATime = 1000;
/// Longer than a server that flushes once a second takes.
constexpr int kFlushSeconds = 2;

/// A commit of our own that changes nothing of the archive.
bool commitSomething(ServerSession& session) {
  return session.query("CREATE TABLE IF NOT EXISTS keldane_flush (id INT) ENGINE=InnoDB") &&
         session.query("INSERT INTO keldane_flush (id) VALUES(1)") &&
         session.query("DROP TABLE IF EXISTS keldane_flush");
}

}  // namespace

void flushServerLog(ServerSession& session, const std::function<void(int seconds)>& pause) {
  std::string mode;
  if (session.query("SELECT @@GLOBAL.innodb_flush_log_at_trx_commit")) {
    mode = fetchFirstCell(session);
  }
  if (mode == "1") return;  // each commit has waited for the disk
  const bool isKnown = mode == "0" || mode == "2" || mode == "3";
  const bool isStrict = isKnown && session.query("SET GLOBAL innodb_flush_log_at_trx_commit=1");
  const bool committed = commitSomething(session);
  bool restored = true;
  if (isStrict) restored = session.query("SET GLOBAL innodb_flush_log_at_trx_commit=" + mode);
  // A setting that stays strict is the safe one.
  static_cast<void>(restored);
  if (!isStrict || !committed) pause(kFlushSeconds);
}

std::optional<std::vector<std::uint32_t>> idsWithoutRows(ServerSession& session,
                                                         std::vector<std::uint32_t> ids) {
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  std::vector<std::uint32_t> missing;
  for (std::size_t begin = 0; begin < ids.size(); begin += kIdsAtATime) {
    const std::size_t end = std::min(ids.size(), begin + kIdsAtATime);
    std::string sql =
        "SELECT email.id FROM email JOIN origemail ON origemail.id=email.id WHERE email.id IN (";
    for (std::size_t i = begin; i < end; ++i) {
      if (i > begin) sql += ',';
      sql += std::to_string(ids[i]);
    }
    if (!session.query(sql + ") ORDER BY email.id")) return std::nullopt;
    const std::unique_ptr<ResultRows> rows = session.storeResult();
    if (!rows) return std::nullopt;
    std::vector<std::uint32_t> there;
    while (rows->next()) {
      const std::string cell(rows->cell(0).value_or("0"));
      there.push_back(static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, 10)));
    }
    std::set_difference(ids.begin() + static_cast<std::ptrdiff_t>(begin),
                        ids.begin() + static_cast<std::ptrdiff_t>(end), there.begin(), there.end(),
                        std::back_inserter(missing));
  }
  return missing;
}

}  // namespace keldane
