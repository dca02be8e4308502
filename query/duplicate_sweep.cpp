#include "query/duplicate_sweep.h"

#include <cstdlib>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/text.h"

namespace keldane {
namespace {

/// Lets the server choose the index by how many rows a sender and receiver have on average. Asked
/// how many these two have, it takes the index on senders for a busy pair, or none, and reads all
/// their messages for each of them: the time would grow with the square of the archive. A server
/// that does not know the variable is only slower.
constexpr const char* kChooseByAverage = "SET SESSION eq_range_index_dive_limit=1";
constexpr const char* kChooseAsBefore = "SET SESSION eq_range_index_dive_limit=DEFAULT";

std::uint32_t idOf(std::string_view cell) {
  return static_cast<std::uint32_t>(std::strtoul(std::string(cell).c_str(), nullptr, 10));
}

}  // namespace

/// One row of the archive as the sweep sees it; texts that are not UTF-8 are empty.
struct DuplicateSweep::Row {
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

DuplicateSweep::DuplicateSweep(ServerSession& session, ResultList& list, ProgressPanel& progress,
                               UserInterface& ui, Callbacks callbacks)
    : session_(session),
      list_(list),
      progress_(progress),
      ui_(ui),
      callbacks_(std::move(callbacks)),
      fingerprints_({.session = session,
                     .stripPlist = callbacks_.stripPlist,
                     .declaredCharsets = callbacks_.declaredCharsets}) {}

DuplicateSweep::Outcome DuplicateSweep::checkDups(bool deleteDuplicates) {
  deleteDuplicates_ = deleteDuplicates;
  ui_.closePanel("dupsPanel");
  ui_.closePanel("SQLPanel");
  list_.clear();
  if (callbacks_.clearMessageViews) callbacks_.clearMessageViews();
  ui_.setWindowTitle("storePanel", "checking for duplicates...");
  ui_.showPanel("storePanel");
  ui_.progressChanged(0, "");
  progress_.doProgressPanel("Checking for duplicates...");
  handled_.clear();
  distinct_.clear();
  outcome_ = {};
  deletedDuplicateCount_ = 0;
  looked_ = 0;
  listed_ = 0;
  static_cast<void>(session_.query(kChooseByAverage));
  static_cast<void>(fingerprints_.open());
  if (!session_.query("SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email")) {
    progress_.close();
    ui_.alert({"SQL Error",
               fmt::format("SQL error: {}", session_.error()),
               AlertStyle::critical,
               {"OK"}});
    static_cast<void>(session_.query(kChooseAsBefore));
    return {};
  }
  outcome_.complete = dupSweep() == 0;
  static_cast<void>(session_.query(kChooseAsBefore));
  progress_.close();

  std::string count = "0";
  if (session_.query("SELECT count(id) FROM email")) {
    count = fetchFirstCell(session_);
  } else if (callbacks_.storeLog) {
    callbacks_.storeLog(fmt::format("SQL error: {}\n", session_.error()));
  }
  list_.dbCountTextField = count + " emails in the database.";
  list_.listCountTextField = fmt::format("{} emails in this list.", listed_);
  list_.rowCount = listed_;
  ui_.setWindowTitle("storePanel", "Duplicate emails found in " + callbacks_.dbPath());
  list_.listSearchButtonEnabled = false;
  ui_.changed("storeTableView");
  if (deleteDuplicates_) {
    ui_.alert({"Duplicates were deleted",
               fmt::format("{} duplicate emails have been deleted from the database.",
                           deletedDuplicateCount_),
               AlertStyle::informational,
               {"OK"}});
  }
  distinct_.clear();
  outcome_.deleted = deletedDuplicateCount_;
  deletedDuplicateCount_ = 0;
  deleteDuplicates_ = false;
  return outcome_;
}

std::uint32_t DuplicateSweep::keptOf(std::uint32_t id) const {
  const auto found = handled_.find(id);
  return found == handled_.end() ? 0 : found->second.of;
}

DuplicateSweep::Relation DuplicateSweep::relationOf(std::uint32_t id) const {
  const auto found = handled_.find(id);
  return found == handled_.end() ? Relation::none : found->second.relation;
}

std::uint32_t DuplicateSweep::groupOf(std::uint32_t id) const {
  const auto found = handled_.find(id);
  return found == handled_.end() ? 0 : found->second.group;
}

int DuplicateSweep::dupSweep() {
  const auto rows = session_.storeResult();
  if (!rows) {
    failed();
    return 1;
  }
  const auto text = [&rows](std::size_t column) {
    const std::string_view cell = rows->cell(column).value_or(std::string_view());
    return isValidUtf8(cell) ? std::string(cell) : std::string();
  };
  while (rows->next()) {
    progress_.doProgressCount(++looked_, 10);
    Row row;
    row.id = idOf(rows->cell(0).value_or("0"));
    row.date = text(1);
    row.from = text(2);
    row.to = text(3);
    row.subject = text(4);
    row.mailbox = text(5);
    row.attachments = leadingInt(rows->cell(6).value_or("0"));
    row.day = row.date.substr(0, 10) + "%";
    row.time = "%" + (row.date.size() > 11 ? row.date.substr(11) : std::string());
    if (!sweepRow(row)) return 1;
  }
  return 0;
}

bool DuplicateSweep::sweepRow(const Row& row) {
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

bool DuplicateSweep::takeMatch(const Row& row, std::uint32_t match, std::uint32_t group) {
  const auto cell = [this](const std::string& sql, std::string& value) {
    if (!session_.query(sql)) return failed();
    value = toUtf8(fetchFirstCell(session_));
    return true;
  };
  std::string mailbox;
  std::string date;
  if (!cell(fmt::format("SELECT mailbox FROM email WHERE id = {}", match), mailbox)) return false;
  if (!cell(fmt::format("SELECT date_fld FROM email WHERE id={}", match), date)) return false;
  if (!tagMark(match, date)) return false;
  if (groupOf(match) != 0) return true;
  Handled handled;
  return relate(match, group, handled) &&
         take(row, match, handled, std::move(date), std::move(mailbox));
}

/// Finds out what a row is to those of its group.
bool DuplicateSweep::relate(std::uint32_t id, std::uint32_t group, Handled& handled) {
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
bool DuplicateSweep::take(const Row& row, std::uint32_t id, const Handled& handled,
                          std::string date, std::string mailbox) {
  if (handled.relation == Relation::copy) ++outcome_.copies;
  if (handled.relation == Relation::similar) ++outcome_.similar;
  const bool deletes = deleteDuplicates_ && handled.relation == Relation::copy;
  handled_.emplace(id, handled);
  list_.emailIds.push_back(fmt::format("{}", id));
  if (!deletes) {
    addRow(row, id, std::move(date), std::move(mailbox));
    return true;
  }
  if (!deleteMessage(id)) return false;
  ++deletedDuplicateCount_;
  return true;
}

bool DuplicateSweep::deleteMessage(std::uint32_t id) {
  for (const char* table : {"email", "attachments", "tags", "origemail"}) {
    if (!session_.query(fmt::format("DELETE FROM {} WHERE id={}", table, id))) return failed();
  }
  fingerprints_.remove(id);
  return true;
}

bool DuplicateSweep::firstId(const std::string& sql, std::uint32_t& id) {
  if (!session_.query(sql)) return failed();
  id = idOf(fetchFirstCell(session_));
  return true;
}

bool DuplicateSweep::tagMark(std::uint32_t id, std::string& date) {
  if (!session_.query(fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", id))) {
    return failed();
  }
  if (leadingInt(fetchFirstCell(session_)) != 0) date += '*';
  return true;
}

void DuplicateSweep::addRow(const Row& row, std::uint32_t id, std::string date,
                            std::string mailbox) {
  list_.emailRows.push_back(
      {id, row.attachments, std::move(date), row.from, row.to, row.subject, std::move(mailbox)});
  ++listed_;
}

/// Whether this sweep has deleted the row. One that was taken for a wildcard in a subject may have
/// a copy of its own, and this copy is then the last of the two.
bool DuplicateSweep::isDeleted(std::uint32_t id) const {
  return deleteDuplicates_ && relationOf(id) == Relation::copy;
}

bool DuplicateSweep::failed() {
  ui_.alert({"SQL Error",
             fmt::format("SQL error: {}\n", session_.error()),
             AlertStyle::critical,
             {"OK"}});
  return false;
}

}  // namespace keldane
