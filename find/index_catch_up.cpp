#include "find/index_catch_up.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>

#include <fmt/format.h>

#include "base/text.h"
#include "find/stored_ids.h"

namespace keldane {
namespace {

constexpr std::size_t kRowsAtOnce = 200;
/// Of rows that are held in memory at once, the one that goes over it not counted.
constexpr std::size_t kBytesAtOnce = std::size_t{16} << 20U;
constexpr std::size_t kMessagesPerCommit = 10000;
constexpr std::size_t kBytesPerCommit = std::size_t{96} << 20U;
constexpr std::size_t kSampleSize = 16;
/// An archive that keeps no sources has nothing else; only the newest of them may still get one.
constexpr std::size_t kMostBareAtOnce = 2000;
constexpr const char* kTagsNote = "keldane-tags";
constexpr const char* kMailboxesNote = "keldane-mailboxes";
constexpr const char* kPositionNote = "keldane-position";
constexpr const char* kTagsDigest =
    "SELECT CONCAT(COUNT(*),'/',COALESCE(SUM(CRC32(CONCAT_WS('|',id,cat_fld,key_fld,priority_fld,"
    "notes_fld))),0)) FROM tags";
constexpr const char* kMessageSums =
    "SELECT COUNT(*),COALESCE(SUM(id),0),COALESCE(BIT_XOR(id*id),0),"
    "COALESCE(SUM(CRC32(CONCAT_WS('|',id,mailbox))),0) FROM email";
/// A source shorter than this is none: "0" stands where there is no source.
constexpr std::size_t kLeastSourceBytes = 3;

std::string text(const ResultRows& rows, std::size_t column) {
  return std::string(rows.cell(column).value_or(""));
}

std::uint64_t numberOf(const ResultRows& rows, std::size_t column) {
  return std::strtoull(text(rows, column).c_str(), nullptr, 10);
}

std::uint32_t idOf(const ResultRows& rows, std::size_t column) {
  return static_cast<std::uint32_t>(numberOf(rows, column));
}

std::string idList(const std::vector<std::uint32_t>& ids, std::size_t from, std::size_t count) {
  std::string list;
  for (std::size_t i = from; i < std::min(from + count, ids.size()); ++i) {
    list += (list.empty() ? "" : ",") + std::to_string(ids[i]);
  }
  return list;
}

}  // namespace

Result<std::string> archiveIdentity(ServerSession& session) {
  if (!session.query("SELECT CONCAT(@@hostname,':',@@port,@@datadir,DATABASE())")) {
    return Failure{session.error()};
  }
  return fetchFirstCell(session);
}

std::string indexFolder(const std::string& supportFolder, const std::string& identity) {
  // FNV-1a: a name, no proof. The index itself knows whose it is.
  std::uint64_t name = 0xCBF29CE484222325U;
  for (const char c : identity) {
    name = (name ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  }
  return fmt::format("{}/Index/{:016x}", supportFolder, name);
}

Result<std::string> IndexCatchUp::open() {
  std::string rebuiltBecause;
  const WordIndex::State state = index_.open();
  if (state == WordIndex::State::reading) return rebuiltBecause;
  if (state == WordIndex::State::writing) {
    const Result<bool> same = isSameArchive();
    if (!same) return Failure{same.error()};
    if (!*same) rebuiltBecause = "it belongs to another archive";
  } else {
    rebuiltBecause = index_.trouble();
  }
  if (!rebuiltBecause.empty()) {
    const Result<void> made = index_.create(std::string(index_.stemLanguage()));
    if (!made) return Failure{made.error()};
  }
  return rebuiltBecause;
}

Result<CatchUpOutcome> IndexCatchUp::run(Progress& progress, bool trustsProof) {
  CatchUpOutcome outcome;
  outcome.inStep = trustsProof && isProvedInStep();
  if (outcome.inStep) return outcome;
  Result<std::string> opened = open();
  if (!opened) return Failure{opened.error()};
  if (index_.state() == WordIndex::State::reading) {
    const Result<std::uint64_t> missing = behind();
    if (!missing) return Failure{missing.error()};
    outcome.isReader = true;
    outcome.behind = *missing;
    return outcome;
  }
  outcome.rebuiltBecause = std::move(*opened);
  Result<void> followed = follow(outcome, progress);
  if (!followed && WordIndex::isDamage(followed.error())) {
    outcome = {.rebuiltBecause = followed.error()};
    followed = index_.create(std::string(index_.stemLanguage()));
    if (followed) followed = follow(outcome, progress);
  }
  if (!followed) return Failure{followed.error()};
  return outcome;
}

Result<CatchUpOutcome> IndexCatchUp::rebuild(Progress& progress, const std::string& stemLanguage) {
  CatchUpOutcome outcome;
  outcome.rebuiltBecause = "it was asked for";
  const Result<void> made = index_.create(stemLanguage);
  if (!made) return Failure{made.error()};
  const Result<void> followed = follow(outcome, progress);
  if (!followed) return Failure{followed.error()};
  return outcome;
}

/// By what the index has noted of the server, not of what it holds.
bool IndexCatchUp::isProvedInStep() {
  if (index_.state() == WordIndex::State::reading) index_.reopen();
  const bool isOpen = index_.state() == WordIndex::State::writing ||
                      index_.state() == WordIndex::State::reading ||
                      index_.openToRead() == WordIndex::State::reading;
  const Result<std::string> note = isOpen ? index_.note(kPositionNote) : Failure{index_.trouble()};
  if (!note || note->empty()) return false;
  const std::optional<ServerPosition> now = readServerPosition(session_);
  return now && now->isNoted(*note);
}

Result<void> IndexCatchUp::follow(CatchUpOutcome& outcome, Progress& progress) {
  // Asked first: what changes while we work differs from it the next time.
  const std::optional<ServerPosition> position = readServerPosition(session_);
  if (!session_.query(kTagsDigest)) return Failure{session_.error()};
  const std::string tags = fetchFirstCell(session_);
  const Result<MessageSums> sums = messageSums();
  const Result<std::uint32_t> high = sums ? index_.highId() : Failure{sums.error()};
  if (!high) return Failure{high.error()};
  Result<void> done = addAbove(*high, outcome, progress);
  const Result<std::uint64_t> apart = outcome.added == 0 ? behind(sums->ids) : behind();
  if (done && !apart) done = Failure{apart.error()};
  if (done && !outcome.cancelled && *apart > 0) done = mendRows(outcome, progress);
  if (done && !outcome.cancelled) done = mendBare(outcome, progress);
  if (!done || outcome.cancelled) return done ? commitWhenDue(true) : done;
  done = mendWhenChanged(kTagsNote, tags, &IndexCatchUp::mendTags, outcome);
  if (done)
    done = mendWhenChanged(kMailboxesNote, sums->mailboxes, &IndexCatchUp::mendMailboxes, outcome);
  if (done) done = noteProof(position);
  if (done) done = commitWhenDue(true);
  outcome.inStep = done.has_value();
  return done;
}

Result<void> IndexCatchUp::mendWhenChanged(const char* note, const std::string& digest, Mend mend,
                                           CatchUpOutcome& outcome) {
  const Result<std::string> before = index_.note(note);
  if (!before) return Failure{before.error()};
  if (*before == digest) return {};
  const Result<void> done = (this->*mend)(outcome);
  if (!done) return done;
  ++uncommittedMessages_;
  return index_.setNote(note, digest);
}

/// Only a server that stood still while all was compared proves anything; while others write, a
/// note would be of use to nobody.
Result<void> IndexCatchUp::noteProof(const std::optional<ServerPosition>& before) {
  if (!before) return {};
  const Result<std::string> noted = index_.note(kPositionNote);
  if (!noted) return Failure{noted.error()};
  if (before->isNoted(*noted) || !areTablesLogged(session_)) return {};
  const std::optional<ServerPosition> now = readServerPosition(session_);
  if (!now || !now->isNoted(before->note())) return {};
  ++uncommittedMessages_;
  return index_.setNote(kPositionNote, before->note());
}

/// An index beside which the database was restored or replaced has dates that are not those of the
/// rows.
Result<bool> IndexCatchUp::isSameArchive() {
  const auto sample = index_.sample(kSampleSize);
  if (!sample) return Failure{sample.error()};
  if (sample->empty()) return true;
  std::vector<std::uint32_t> ids;
  for (const auto& [id, date] : *sample) ids.push_back(id);
  if (!session_.query(fmt::format("SELECT id,date_fld FROM email WHERE id IN ({})",
                                  idList(ids, 0, ids.size())))) {
    return Failure{session_.error()};
  }
  const auto rows = session_.storeResult();
  while (rows && rows->next()) {
    const std::uint32_t id = idOf(*rows, 0);
    const auto known = std::find_if(sample->begin(), sample->end(),
                                    [&](const auto& one) { return one.first == id; });
    if (known != sample->end() && known->second != text(*rows, 1)) return false;
  }
  return true;
}

Result<std::uint64_t> IndexCatchUp::number(const std::string& sql) {
  if (!session_.query(sql)) return Failure{session_.error()};
  return std::strtoull(fetchFirstCell(session_).c_str(), nullptr, 10);
}

Result<IndexCatchUp::MessageSums> IndexCatchUp::messageSums() {
  if (!session_.query(kMessageSums)) return Failure{session_.error()};
  const auto rows = session_.storeResult();
  if (!rows || !rows->next()) return Failure{session_.error()};
  return MessageSums{{numberOf(*rows, 0), numberOf(*rows, 1), numberOf(*rows, 2)}, text(*rows, 3)};
}

Result<std::uint64_t> IndexCatchUp::behind() {
  const Result<MessageSums> sums = messageSums();
  return sums ? behind(sums->ids) : Failure{sums.error()};
}

/// A message that is missing and one that is there too much cancel each other out in the number.
Result<std::uint64_t> IndexCatchUp::behind(const WordIndex::IdSums& stored) {
  const Result<WordIndex::IdSums> indexed = index_.idSums();
  if (!indexed) return Failure{indexed.error()};
  if (stored == *indexed) return 0;
  const std::uint64_t apart =
      stored.count > indexed->count ? stored.count - indexed->count : indexed->count - stored.count;
  return std::max<std::uint64_t>(apart, 1);
}

Result<void> IndexCatchUp::checkTables() {
  if (isChecked_) return {};
  const Result<std::uint64_t> tables = number(
      "SELECT COUNT(*) FROM information_schema.tables WHERE table_schema=DATABASE() AND "
      "table_name='keldane_fingerprints'");
  if (!tables) return Failure{tables.error()};
  hasFingerprints_ = *tables > 0;
  isChecked_ = true;
  return {};
}

/// Streamed and cut off by size, so that no more than a batch is in memory whatever the messages
/// weigh. Rows behind the cut are left to the next statement.
Result<std::vector<ArchivedMessage>> IndexCatchUp::fetch(const std::string& condition) {
  const Result<void> checked = checkTables();
  if (!checked) return Failure{checked.error()};
  const std::string sql = fmt::format(
      "SELECT e.id,e.date_fld,e.from_fld,e.to_fld,e.subj_fld,e.mailbox,e.attachNames,"
      "IF(o.id IS NULL OR LENGTH(o.orig_fld)<{0},e.body_fld,''),"
      "IF(o.id IS NULL OR LENGTH(o.orig_fld)<{0},e.attachText,''),o.orig_fld,{1},"
      "t.cat_fld,t.key_fld,t.priority_fld,t.notes_fld FROM email e "
      "LEFT JOIN origemail o ON o.id=e.id LEFT JOIN tags t ON t.id=e.id{2} WHERE {3} ORDER BY e.id "
      "LIMIT {4}",
      kLeastSourceBytes, hasFingerprints_ ? "f.encoding" : "0",
      hasFingerprints_ ? " LEFT JOIN keldane_fingerprints f ON f.id=e.id" : "", condition,
      kRowsAtOnce);
  if (!session_.query(sql)) return Failure{session_.error()};
  const auto rows = session_.useResult();
  std::vector<ArchivedMessage> fetched;
  std::size_t bytes = 0;
  while (rows && bytes < kBytesAtOnce && rows->next()) {
    ArchivedMessage message;
    message.id = idOf(*rows, 0);
    message.date = text(*rows, 1);
    message.from = text(*rows, 2);
    message.to = text(*rows, 3);
    message.subject = text(*rows, 4);
    message.mailbox = text(*rows, 5);
    message.attachNames = text(*rows, 6);
    message.body = text(*rows, 7);
    message.attachText = text(*rows, 8);
    if (rows->cell(9) && rows->cell(9)->size() >= kLeastSourceBytes)
      message.source = text(*rows, 9);
    if (text(*rows, 10) == std::to_string(static_cast<int>(mime::SourceEncoding::latin1))) {
      message.encoding = mime::SourceEncoding::latin1;
    }
    message.tags = {message.id, text(*rows, 11), text(*rows, 12), text(*rows, 14),
                    leadingInt(text(*rows, 13))};
    bytes += message.body.size() + message.attachText.size() + message.to.size() +
             (message.source ? message.source->size() : 0);
    fetched.push_back(std::move(message));
  }
  if (session_.errorNumber() != 0) return Failure{session_.error()};
  return fetched;
}

Result<std::optional<ArchivedMessage>> IndexCatchUp::load(std::uint32_t id) {
  Result<std::vector<ArchivedMessage>> rows = fetch(fmt::format("e.id={}", id));
  if (!rows) return Failure{rows.error()};
  if (rows->empty()) return std::optional<ArchivedMessage>();
  return std::optional<ArchivedMessage>(std::move(rows->front()));
}

Result<std::vector<ArchivedMessage>> IndexCatchUp::load(const std::vector<std::uint32_t>& ids) {
  if (ids.empty()) return std::vector<ArchivedMessage>();
  return fetch("e.id IN (" + idList(ids, 0, ids.size()) + ")");
}

Result<void> IndexCatchUp::addAbove(std::uint32_t id, CatchUpOutcome& outcome, Progress& progress) {
  while (true) {
    Result<std::vector<ArchivedMessage>> rows = fetch(fmt::format("e.id>{}", id));
    if (!rows) return Failure{rows.error()};
    if (rows->empty()) return {};
    id = rows->back().id;
    const Result<void> added = add(std::move(*rows), outcome, progress);
    if (!added || outcome.cancelled) return added;
  }
}

Result<void> IndexCatchUp::add(std::vector<ArchivedMessage> rows, CatchUpOutcome& outcome,
                               Progress& progress) {
  for (ArchivedMessage& message : rows) {
    outcome.cancelled = progress.cancelled();
    if (outcome.cancelled) return commitWhenDue(true);
    IndexEntry entry = entryOf(message);
    const std::string subject = message.subject;
    entry.texts = reader_.read(std::move(message));
    Result<void> put = index_.put(entry);
    if (!put) return put;
    ++outcome.added;
    ++uncommittedMessages_;
    for (const FieldText& one : entry.texts.texts) uncommittedBytes_ += one.text.size();
    progress.step(static_cast<int>(outcome.added), subject);
    put = commitWhenDue();
    if (!put) return put;
  }
  return {};
}

Result<void> IndexCatchUp::commitWhenDue(bool now) {
  const bool isDue =
      uncommittedMessages_ >= kMessagesPerCommit || uncommittedBytes_ >= kBytesPerCommit;
  if (uncommittedMessages_ == 0 || !(now || isDue)) return {};
  uncommittedMessages_ = 0;
  uncommittedBytes_ = 0;
  return index_.commit();
}

/// Deleted rows, and rows that have come below the highest id.
Result<void> IndexCatchUp::mendRows(CatchUpOutcome& outcome, Progress& progress) {
  const Result<std::vector<std::uint32_t>> stored = storedIds(session_);
  if (!stored) return Failure{stored.error()};
  const Result<std::vector<std::uint32_t>> indexed = index_.ids();
  if (!indexed) return Failure{indexed.error()};
  std::vector<std::uint32_t> gone;
  std::vector<std::uint32_t> missing;
  std::set_difference(indexed->begin(), indexed->end(), stored->begin(), stored->end(),
                      std::back_inserter(gone));
  std::set_difference(stored->begin(), stored->end(), indexed->begin(), indexed->end(),
                      std::back_inserter(missing));
  for (const std::uint32_t id : gone) {
    const Result<void> removed = index_.remove(id);
    if (!removed) return removed;
    ++outcome.removed;
    ++uncommittedMessages_;
  }
  return addThese(missing, outcome, progress);
}

/// `missing`: ascending.
Result<void> IndexCatchUp::addThese(const std::vector<std::uint32_t>& missing,
                                    CatchUpOutcome& outcome, Progress& progress) {
  for (std::size_t i = 0; i < missing.size() && !outcome.cancelled;) {
    Result<std::vector<ArchivedMessage>> rows =
        fetch("e.id IN (" + idList(missing, i, kRowsAtOnce) + ")");
    if (!rows) return Failure{rows.error()};
    // The size may have cut it off; what is gone again gives no row.
    const std::uint32_t last = rows->empty() ? 0 : rows->back().id;
    const std::size_t next = std::min(i + kRowsAtOnce, missing.size());
    const bool isCut = !rows->empty() && rows->size() < next - i;
    i = isCut ? static_cast<std::size_t>(std::upper_bound(missing.begin(), missing.end(), last) -
                                         missing.begin())
              : next;
    const Result<void> added = add(std::move(*rows), outcome, progress);
    if (!added) return added;
  }
  return {};
}

/// Messages that were read while another program was about to write their source.
Result<void> IndexCatchUp::mendBare(CatchUpOutcome& outcome, Progress& progress) {
  const Result<std::vector<std::uint32_t>> bare = index_.bareIds(kMostBareAtOnce);
  if (!bare) return Failure{bare.error()};
  if (bare->empty()) return {};
  if (!session_.query(fmt::format(
          "SELECT id FROM origemail WHERE id IN ({}) AND LENGTH(orig_fld)>={} ORDER BY id",
          idList(*bare, 0, bare->size()), kLeastSourceBytes))) {
    return Failure{session_.error()};
  }
  std::vector<std::uint32_t> whole;
  if (const auto rows = session_.storeResult()) {
    while (rows->next()) whole.push_back(idOf(*rows, 0));
  }
  return addThese(whole, outcome, progress);
}

Result<void> IndexCatchUp::mendTags(CatchUpOutcome& outcome) {
  auto known = index_.tagDigests();
  if (!known) return Failure{known.error()};
  if (!session_.query("SELECT t.id,t.cat_fld,t.key_fld,t.priority_fld,t.notes_fld "
                      "FROM tags t INNER JOIN email e ON e.id=t.id ORDER BY t.id")) {
    return Failure{session_.error()};
  }
  const auto rows = session_.storeResult();
  auto at = known->begin();
  const auto put = [&](const TagRow& tags, const std::string& digest) {
    const Result<void> done = index_.putTags(tags.id, tags, digest);
    outcome.retagged += done ? 1 : 0;
    return done;
  };
  while (rows && rows->next()) {
    const TagRow tags{idOf(*rows, 0), text(*rows, 1), text(*rows, 2), text(*rows, 4),
                      leadingInt(text(*rows, 3))};
    const std::string digest = tagDigest(tags);
    if (digest.empty()) continue;
    for (; at != known->end() && at->first < tags.id; ++at) {
      const Result<void> done = put({at->first, {}, {}, {}, 0}, "");
      if (!done) return done;
    }
    const bool isKnown = at != known->end() && at->first == tags.id;
    if (!isKnown || at->second != digest) {
      const Result<void> done = put(tags, digest);
      // A message stored since the index was brought in step gets its tags with the next turn.
      if (!done && isKnown) return done;
    }
    if (isKnown) ++at;
  }
  for (; at != known->end(); ++at) {
    const Result<void> done = put({at->first, {}, {}, {}, 0}, "");
    if (!done) return done;
  }
  return {};
}

/// A run without the index, or another program, has moved mail.
Result<void> IndexCatchUp::mendMailboxes(CatchUpOutcome& outcome) {
  const auto known = index_.mailboxDigests();
  if (!known) return Failure{known.error()};
  std::vector<std::pair<std::uint32_t, std::string>> moved;
  {
    if (!session_.query("SELECT id,mailbox FROM email ORDER BY id"))
      return Failure{session_.error()};
    const auto rows = session_.useResult();
    auto at = known->begin();
    std::string mailbox;
    std::string digest;  // neighbours often share it
    while (rows && rows->next()) {
      const std::uint32_t id = idOf(*rows, 0);
      if (const std::string_view cell = rows->cell(1).value_or(""); cell != mailbox) {
        mailbox = cell;
        digest = mailboxDigest(mailbox);
      }
      while (at != known->end() && at->first < id) ++at;
      const bool isKnown = at != known->end() && at->first == id;
      if (isKnown ? at->second != digest : !digest.empty()) moved.emplace_back(id, mailbox);
    }
    if (session_.errorNumber() != 0) return Failure{session_.error()};
  }
  for (const auto& [id, mailbox] : moved) {
    const Result<void> done = index_.putMailbox(id, mailbox);
    if (!done) return done;
    ++outcome.moved;
  }
  return {};
}

}  // namespace keldane
