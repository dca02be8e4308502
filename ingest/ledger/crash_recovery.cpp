#include "ingest/ledger/crash_recovery.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "archive/message_rows.h"
#include "archive/sql_values.h"
#include "archive/turns.h"
#include "base/text.h"

namespace keldane {
namespace {

/// So many rows are looked at for a message whose date no server understands; more are not told
/// apart.
constexpr int kMostCandidates = 1000;

/// More messages than can be stored in a second. A server that writes its log to disk once a second
/// may have lost what came in during the last one, though their lines were closed.
constexpr std::uint64_t kMayBeLost = 5000;

/// What a lost node of a cluster has sent last may still be on its way. A writing gets its place
/// behind it, and a reading waits for both.
constexpr const char* kComeBehind =
    "INSERT INTO keldane_turns (name,turn) VALUES('hosts',1) ON DUPLICATE KEY UPDATE turn=turn+1";
constexpr unsigned kNoSuchTable = 1146;

std::uint64_t number(std::optional<std::string_view> cell) {
  return cell ? std::strtoull(std::string(*cell).c_str(), nullptr, 10) : 0;
}

std::string text(std::optional<std::string_view> cell) { return std::string(cell.value_or("")); }

/// "YYYY-MM-DD HH:MM:SS": a date that every server takes.
bool isServerDate(std::string_view date) {
  constexpr std::string_view kForm = "0000-00-00 00:00:00";
  if (date.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < date.size(); ++i) {
    const bool digit = date[i] >= '0' && date[i] <= '9';
    if (kForm[i] == '0' ? !digit : date[i] != kForm[i]) return false;
  }
  return true;
}

}  // namespace

struct CrashRecovery::Row {
  std::uint32_t id = 0;
  std::string from, to, subject, mailto, mailbox, body;
  int numAttach = 0;
  std::size_t headingsBytes = 0;
  std::size_t attachNamesBytes = 0;
  std::size_t attachTextBytes = 0;

  [[nodiscard]] MatchLevel matchLevel(const ExpectedRows& mark) const {
    return compareFingerprint(mark.fingerprint,
                              {from, to, subject, mailto, mailbox, body, numAttach});
  }
};

CrashRecovery::CrashRecovery(ServerSession& session, RunLedger& ledger, StoreLog& storeLog,
                             std::string database)
    : session_(session), ledger_(ledger), storeLog_(storeLog), database_(std::move(database)) {}

void CrashRecovery::run() {
  for (const OpenEntry& entry : ledger_.leftOpen()) {
    if (entry.database == database_ && look(entry)) ledger_.settle(entry);
  }
  for (const InterruptedRun& run : ledger_.interruptedRuns()) {
    if (run.database == database_) collectSuspects(run);
  }
}

CrashRecovery::Arrived CrashRecovery::lookAgain(OpenEntry entry, std::uint32_t& id) {
  if (!comeBehind()) {
    reportError(entry.path);
    return Arrived::refused;
  }
  own_.push_back(std::move(entry));
  const OpenEntry& kept = own_.back();
  const bool isSettled = look(kept);
  if (isSettled) ledger_.settle(kept);
  id = wholeId_;
  if (isSettled) return id != 0 ? Arrived::whole : Arrived::nothing;
  const bool isHalf = std::any_of(halves_.begin(), halves_.end(),
                                  [&kept](const auto& half) { return half.second == &kept; });
  return isHalf ? Arrived::half : Arrived::refused;
}

bool CrashRecovery::comeBehind() {
  if (session_.query(kComeBehind)) return true;
  return session_.errorNumber() == kNoSuchTable && session_.query(kMakeTurns) &&
         session_.query(kComeBehind);
}

bool CrashRecovery::look(const OpenEntry& entry) {
  wholeId_ = 0;
  return entry.insertedId ? lookAtKnown(entry, *entry.insertedId) : lookAtUnknown(entry);
}

bool CrashRecovery::lookAtKnown(const OpenEntry& entry, std::uint32_t id) {
  const Rows rows = readRows("id=" + std::to_string(id));
  if (!rows) {
    reportError(entry.path);
    return false;
  }
  if (rows->empty()) {
    if (deleteRowsBeside(session_, id, true)) return true;
    reportError(entry.path);
    return false;
  }
  const Row& row = rows->front();
  if (row.matchLevel(entry.mark) == MatchLevel::different) {
    reportLeftAlone(id, entry.path);
    return true;
  }
  const std::optional<bool> whole = isWhole(row, entry.mark, MatchLevel::equal);
  if (!whole) {
    reportError(entry.path);
    return false;
  }
  if (*whole) wholeId_ = id;
  return *whole || keepHalf(entry, id);
}

bool CrashRecovery::lookAtUnknown(const OpenEntry& entry) {
  const ExpectedRows& mark = entry.mark;
  std::string condition = "id>" + std::to_string(mark.afterId);
  if (isServerDate(mark.msgDate)) condition += " AND date_fld=" + quotedInline(mark.msgDate);
  const Rows rows = readRows(condition + " ORDER BY id LIMIT " + std::to_string(kMostCandidates));
  if (!rows) {
    reportError(entry.path);
    return false;
  }
  const bool sameDate = isServerDate(mark.msgDate);
  std::vector<std::uint32_t> equals;
  std::vector<std::uint32_t> equalHalves;
  std::vector<std::uint32_t> otherHalves;
  for (const Row& row : *rows) {
    const MatchLevel matchLevel = row.matchLevel(mark);
    if (matchLevel == MatchLevel::different && !sameDate) continue;
    const std::optional<bool> whole = isWhole(row, mark, matchLevel);
    if (!whole) {
      reportError(entry.path);
      return false;
    }
    if (matchLevel == MatchLevel::equal) equals.push_back(row.id);
    if (matchLevel == MatchLevel::equal && *whole) wholeId_ = row.id;
    if (!*whole) (matchLevel == MatchLevel::equal ? equalHalves : otherHalves).push_back(row.id);
  }
  if (equals.size() == 1) return equalHalves.empty() || keepHalf(entry, equals[0]);
  // Several rows that are the message's: nothing tells which of them this run has made. None: those
  // without a source may be of another message, or of this one in a form that is not recognised.
  for (const std::uint32_t id : equals.empty() ? otherHalves : equalHalves) {
    reportLeftAlone(id, entry.path);
  }
  return true;
}

/// Never dealt with: the message has to come by first.
bool CrashRecovery::keepHalf(const OpenEntry& entry, std::uint32_t id) {
  if (!entry.insertedId) ledger_.recordFoundRow(entry, id);
  halves_.emplace(id, &entry);
  halfIds_.emplace(entry.mark.fingerprint, id);
  return false;
}

unsigned CrashRecovery::attemptAt(std::uint32_t id) const {
  unsigned attempt = 0;
  const auto [begin, end] = halves_.equal_range(id);
  for (auto half = begin; half != end; ++half) {
    attempt = std::max(attempt, half->second->mark.attempt);
  }
  return attempt + 1;
}

std::optional<std::uint32_t> CrashRecovery::halfOf(const EmailValues& values,
                                                   const ExpectedRows& mark) {
  const auto [begin, end] = halfIds_.equal_range(mark.fingerprint);
  for (auto half = begin; half != end; ++half) {
    const std::uint32_t id = half->second;
    if (!halves_.contains(id)) continue;
    const std::optional<bool> found = isHalf(id, values, mark);
    if (!found) return std::nullopt;
    if (*found) return id;
  }
  return 0;
}

std::optional<bool> CrashRecovery::isHalf(std::uint32_t id, const EmailValues& values,
                                          const ExpectedRows& mark) {
  const Rows rows = readRows("id=" + std::to_string(id));
  if (!rows) return std::nullopt;
  if (rows->empty()) return false;
  const Row& row = rows->front();
  EmailValues there = values;
  there.mailbox = row.mailbox;
  ExpectedRows marked = mark;
  marked.fingerprint = fingerprintOf(there);
  if (row.matchLevel(marked) != MatchLevel::equal) return false;
  const std::optional<bool> whole = isWhole(row, mark, MatchLevel::equal);
  if (!whole) return std::nullopt;
  return !*whole;
}

void CrashRecovery::takeOver(std::uint32_t id, const std::string& path) {
  const auto [begin, end] = halves_.equal_range(id);
  for (auto half = begin; half != end; ++half) ledger_.settle(*half->second);
  halves_.erase(begin, end);
  for (SuspectRange& range : suspects_) range.withoutSource.erase(id);
  storeLog_.write("Cut-off run: the half-stored message " + std::to_string(id) +
                  " is being completed, " + printable(path) + "\n");
}

bool CrashRecovery::clearParts(std::uint32_t id) { return deleteRowsBeside(session_, id, false); }

CrashRecovery::Rows CrashRecovery::readRows(const std::string& condition) {
  const std::string sql =
      "SELECT id,from_fld,to_fld,subj_fld,mailto,mailbox,LEFT(body_fld," +
      std::to_string(kFingerprintBodyBytes) +
      "),numAttach,LENGTH(headings),LENGTH(attachNames),LENGTH(attachText) FROM email WHERE " +
      condition;
  if (!session_.query(sql)) return std::nullopt;
  const std::unique_ptr<ResultRows> result = session_.storeResult();
  if (!result) return std::nullopt;
  std::vector<Row> rows;
  while (result->next()) {
    Row row;
    row.id = static_cast<std::uint32_t>(number(result->cell(0)));
    row.from = text(result->cell(1));
    row.to = text(result->cell(2));
    row.subject = text(result->cell(3));
    row.mailto = text(result->cell(4));
    row.mailbox = text(result->cell(5));
    row.body = text(result->cell(6));
    row.numAttach = leadingInt(result->cell(7).value_or(""));
    row.headingsBytes = number(result->cell(8));
    row.attachNamesBytes = number(result->cell(9));
    row.attachTextBytes = number(result->cell(10));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::optional<bool> CrashRecovery::isWhole(const Row& row, const ExpectedRows& mark,
                                           MatchLevel matchLevel) {
  if (mark.withSource) {
    const std::optional<std::uint64_t> sources = countRows("origemail", row.id);
    if (!sources) return std::nullopt;
    if (*sources == 0) return false;
  }
  // Another message's row; what more belongs to it is not known.
  if (matchLevel == MatchLevel::different) return true;
  if (mark.headingsBytes > 0 && row.headingsBytes == 0) return false;
  if (mark.attachNamesBytes > 0 && row.attachNamesBytes == 0) return false;
  if (mark.attachTextBytes > 0 && row.attachTextBytes == 0) return false;
  if (mark.partCount == 0) return true;
  const std::optional<std::uint64_t> parts = countRows("attachments", row.id);
  if (!parts) return std::nullopt;
  return *parts >= mark.partCount;
}

std::optional<std::uint64_t> CrashRecovery::countRows(std::string_view table, std::uint32_t id) {
  std::string sql = "SELECT COUNT(*) FROM ";
  sql.append(table).append(" WHERE id=").append(std::to_string(id));
  if (!session_.query(sql)) return std::nullopt;
  const std::unique_ptr<ResultRows> result = session_.storeResult();
  if (!result || !result->next()) return std::nullopt;
  return number(result->cell(0));
}

// Rows whose line the ledger lost with the machine.

void CrashRecovery::collectSuspects(const InterruptedRun& run) {
  SuspectRange range{run, {run.sourcelessIds.begin(), run.sourcelessIds.end()}, {}};
  const std::string sql =
      "SELECT email.id FROM email LEFT JOIN origemail ON email.id=origemail.id WHERE email.id>" +
      std::to_string(run.fromId) + " AND email.id<=" + std::to_string(run.toId) +
      " AND origemail.id IS NULL";
  const std::unique_ptr<ResultRows> result = session_.query(sql) ? session_.storeResult() : nullptr;
  if (!result) {
    // Not looked at in this run, and kept in the ledger for the next one.
    reportError(ledger_.path());
    return;
  }
  while (result->next()) {
    const auto id = static_cast<std::uint32_t>(number(result->cell(0)));
    if (!range.sourcelessIds.contains(id)) range.withoutSource.insert(id);
  }
  suspects_.push_back(std::move(range));
}

bool CrashRecovery::isSuspect(std::uint32_t id) const {
  if (halves_.contains(id)) return true;
  for (const SuspectRange& range : suspects_) {
    if (id <= range.run.fromId || id > range.run.toId || range.sourcelessIds.contains(id)) continue;
    if (id + kMayBeLost > range.run.lastClosedId || range.withoutSource.contains(id)) return true;
  }
  return false;
}

void CrashRecovery::finish() {
  for (const SuspectRange& range : suspects_) {
    if (range.withoutSource.empty()) ledger_.settle(range.run);
  }
  suspects_.clear();
}

void CrashRecovery::reportLeftAlone(std::uint32_t id, const std::string& path) {
  storeLog_.write("Cut-off run: row " + std::to_string(id) +
                  " cannot be shown to be half of a message and is left alone, " + printable(path) +
                  "\n");
}

void CrashRecovery::reportError(const std::string& path) {
  storeLog_.write("SQL error: " + printable(session_.error()) + ", " + printable(path) + "\n");
}

}  // namespace keldane
