#include "query/duplicate_sweep.h"

#include <cstdlib>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "archive/fingerprints.h"
#include "archive/message_rows.h"
#include "archive/sql_values.h"
#include "base/text.h"
#include "query/search_builder.h"

namespace keldane {
namespace {

/// Lets the server choose the index by how many rows a sender and receiver have on average. Asked
/// how many these two have, it takes the index on senders for a busy pair, or none, and reads all
/// their messages for each of them: the time would grow with the square of the archive. A server
/// that does not know the variable is only slower.
constexpr const char* kChooseByAverage = "SET SESSION eq_range_index_dive_limit=1";
constexpr const char* kChooseAsBefore = "SET SESSION eq_range_index_dive_limit=DEFAULT";

/// No other row can have the day and the time of one whose date is not among these.
constexpr const char* kRepeatedDates =
    "SELECT date_fld FROM email GROUP BY date_fld HAVING COUNT(id)>1";

std::uint32_t idOf(std::string_view cell) {
  return static_cast<std::uint32_t>(std::strtoul(std::string(cell).c_str(), nullptr, 10));
}

/// One row of the archive as the sweep sees it; texts that are not UTF-8 are empty.
struct Row {
  std::uint32_t id = 0;
  std::string date;
  std::string from;
  std::string to;
  std::string subject;
  std::string mailbox;
  int attachments = 0;
  std::string day;   ///< pattern of the day
  std::string time;  ///< pattern of the time of day
};

class Sweep {
 public:
  Sweep(ServerSession& session, bool deletes, const SourceReading& reading, Progress& progress)
      : session_(session),
        deletes_(deletes),
        progress_(progress),
        fingerprints_(
            {.session = session,
             .stripPlist = reading.stripPlist,
             .declaredCharsets = [charsets = reading.declaredCharsets] { return charsets; }}) {}

  Result<SweepResult> run();

 private:
  struct Handled {
    std::uint32_t group = 0;  ///< the row met first of those taken together
    std::uint32_t of = 0;     ///< the message that this one repeats or is similar to
    Relation relation = Relation::kept;
  };

  bool findRepeatedDates();
  void sweepRows();
  bool sweepRow(const Row& row);
  bool takeMatch(const Row& row, std::uint32_t match, std::uint32_t group);
  bool relate(std::uint32_t id, std::uint32_t group, Handled& handled);
  bool take(const Row& row, std::uint32_t id, const Handled& handled, std::string date,
            std::string mailbox);
  bool passTagsOn(std::uint32_t copy, std::uint32_t kept);
  bool firstCell(const std::string& sql, std::string& value);
  bool firstId(const std::string& sql, std::uint32_t& id);
  bool tagMark(std::uint32_t id, std::string& date);
  [[nodiscard]] std::uint32_t groupOf(std::uint32_t id) const;
  [[nodiscard]] bool isDeleted(std::uint32_t id) const;
  bool failed();

  ServerSession& session_;
  const bool deletes_;
  Progress& progress_;
  Fingerprints fingerprints_;
  std::unordered_set<std::string> repeatedDates_;
  std::unordered_map<std::uint32_t, Handled> handled_;
  /// For each group, those of its messages that say something different.
  std::unordered_map<std::uint32_t, std::vector<Fingerprints::Stored>> distinct_;
  SweepResult result_;
};

Result<SweepResult> Sweep::run() {
  static_cast<void>(session_.query(kChooseByAverage));
  static_cast<void>(fingerprints_.open());
  std::optional<Failure> refused;
  if (findRepeatedDates() && session_.query(selectListColumns("id") + "email")) {
    sweepRows();
  } else {
    refused = Failure{session_.error()};
  }
  static_cast<void>(session_.query(kChooseAsBefore));
  if (refused) return *refused;
  return std::move(result_);
}

std::uint32_t Sweep::groupOf(std::uint32_t id) const {
  const auto found = handled_.find(id);
  return found == handled_.end() ? 0 : found->second.group;
}

bool Sweep::findRepeatedDates() {
  if (!session_.query(kRepeatedDates)) return false;
  const auto dates = session_.storeResult();
  while (dates && dates->next()) repeatedDates_.emplace(dates->cell(0).value_or(""));
  return dates != nullptr;
}

void Sweep::sweepRows() {
  const auto rows = session_.storeResult();
  if (!rows) {
    failed();
    return;
  }
  const auto text = [&rows](std::size_t column) {
    const std::string_view cell = rows->cell(column).value_or(std::string_view());
    return isValidUtf8(cell) ? std::string(cell) : std::string();
  };
  for (int looked = 1; rows->next(); ++looked) {
    progress_.step(looked, {});
    if (progress_.cancelled()) return;
    Row row;
    row.id = idOf(rows->cell(0).value_or("0"));
    row.date = text(1);
    if (repeatedDates_.count(row.date) == 0) continue;
    row.from = text(2);
    row.to = text(3);
    row.subject = text(4);
    row.mailbox = text(5);
    row.attachments = leadingInt(rows->cell(6).value_or("0"));
    row.day = row.date.substr(0, 10) + "%";
    row.time = "%" + (row.date.size() > 11 ? row.date.substr(11) : std::string());
    if (!sweepRow(row)) return;
  }
}

bool Sweep::sweepRow(const Row& row) {
  const std::string from = quotedInline(row.from);
  const std::string to = quotedInline(row.to);
  const std::string subject = quotedInline(row.subject);
  const std::string dates = fmt::format("date_fld LIKE {} AND date_fld LIKE {} AND NOT id = {}",
                                        quotedInline(row.day), quotedInline(row.time), row.id);
  std::uint32_t match = 0;
  if (!firstId(fmt::format("SELECT id FROM email WHERE from_fld={} AND to_fld={} AND subj_fld LIKE "
                           "{} AND {}",
                           from, to, subject, dates),
               match)) {
    return false;
  }
  const bool deleted = isDeleted(row.id);
  if (match == 0 || (deleted && groupOf(match) == 0)) return true;
  std::string date = row.date;
  if (!tagMark(row.id, date)) return false;
  if (groupOf(row.id) == 0) {
    // A row may be found by none of its group: then it is its own turn that tells.
    const std::uint32_t group = groupOf(match);
    Handled handled{row.id, row.id, Relation::kept};
    if (group != 0 && !relate(row.id, group, handled)) return false;
    if (!take(row, row.id, handled, std::move(date), row.mailbox)) return false;
    if (isDeleted(row.id)) return true;
  }
  while (true) {
    if (!takeMatch(row, match, groupOf(row.id))) return false;
    // Only the last match is left out here, so an earlier copy may come back and end the search.
    const std::string sql = fmt::format(
        "SELECT id FROM email WHERE from_fld={} AND to_fld={} AND subj_fld={} AND {} AND NOT id = "
        "{}",
        from, to, subject, dates, match);
    if (!firstId(sql, match)) return false;
    if (match == 0 || deleted || handled_.count(match) != 0) return true;
  }
}

bool Sweep::takeMatch(const Row& row, std::uint32_t match, std::uint32_t group) {
  std::string mailbox;
  std::string date;
  if (!firstCell(fmt::format("SELECT mailbox FROM email WHERE id = {}", match), mailbox) ||
      !firstCell(fmt::format("SELECT date_fld FROM email WHERE id={}", match), date)) {
    return false;
  }
  if (!tagMark(match, date)) return false;
  if (groupOf(match) != 0) return true;
  Handled handled;
  return relate(match, group, handled) &&
         take(row, match, handled, std::move(date), std::move(mailbox));
}

/// Finds out what a row is to those of its group.
bool Sweep::relate(std::uint32_t id, std::uint32_t group, Handled& handled) {
  std::vector<Fingerprints::Stored>& known = distinct_[group];
  if (known.empty()) {
    std::optional<Fingerprints::Stored> first = fingerprints_.load(group);
    if (!first) return failed();
    known.push_back(std::move(*first));
  }
  std::optional<Fingerprints::Stored> stored = fingerprints_.load(id);
  if (!stored) return failed();
  for (const Fingerprints::Stored& other : known) {
    const Fingerprints::Match match = fingerprints_.compare(other, *stored);
    if (match == Fingerprints::Match::refused) return failed();
    if (match != Fingerprints::Match::same) continue;
    handled = {group, other.id, Relation::copy};
    return true;
  }
  known.push_back(std::move(*stored));
  handled = {group, group, Relation::similar};
  return true;
}

/// Deletes a row or puts it on the list.
bool Sweep::take(const Row& row, std::uint32_t id, const Handled& handled, std::string date,
                 std::string mailbox) {
  if (handled.relation == Relation::copy) ++result_.copies;
  if (handled.relation == Relation::similar) ++result_.similar;
  handled_.emplace(id, handled);
  result_.handledIds.push_back(id);
  if (!deletes_ || handled.relation != Relation::copy) {
    result_.listed.push_back(
        {{id, row.attachments, std::move(date), row.from, row.to, row.subject, std::move(mailbox)},
         handled.relation,
         handled.of});
    return true;
  }
  if (date.ends_with('*') && !passTagsOn(id, handled.of)) return false;
  if (!deleteMessageRows(session_, id)) return failed();
  ++result_.deleted;
  return true;
}

/// The tags of a copy are the user's work: the message that stays gets them when it has none.
bool Sweep::passTagsOn(std::uint32_t copy, std::uint32_t kept) {
  std::string count;
  if (!firstCell(fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", kept), count)) {
    return false;
  }
  if (leadingInt(count) != 0) return true;
  return session_.query(fmt::format("UPDATE tags SET id={} WHERE id={}", kept, copy)) || failed();
}

bool Sweep::firstCell(const std::string& sql, std::string& value) {
  if (!session_.query(sql)) return failed();
  value = toUtf8(fetchFirstCell(session_));
  return true;
}

bool Sweep::firstId(const std::string& sql, std::uint32_t& id) {
  std::string value;
  if (!firstCell(sql, value)) return false;
  id = idOf(value);
  return true;
}

bool Sweep::tagMark(std::uint32_t id, std::string& date) {
  std::string count;
  if (!firstCell(fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", id), count)) {
    return false;
  }
  if (leadingInt(count) != 0) date += '*';
  return true;
}

/// Whether this sweep has deleted the row. One that was taken for a wildcard in a subject may have
/// a copy of its own, and this copy is then the last of the two.
bool Sweep::isDeleted(std::uint32_t id) const {
  const auto found = handled_.find(id);
  return deletes_ && found != handled_.end() && found->second.relation == Relation::copy;
}

bool Sweep::failed() {
  result_.error = session_.error();
  return false;
}

}  // namespace

Result<SweepResult> sweepDuplicates(ServerSession& session, bool deletes,
                                    const SourceReading& reading, Progress& progress) {
  return Sweep(session, deletes, reading, progress).run();
}

}  // namespace keldane
