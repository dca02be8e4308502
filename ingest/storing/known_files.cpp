#include "ingest/storing/known_files.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

#include "base/hex.h"
#include "base/sha256.h"
#include "ingest/reading/message_file.h"

namespace keldane {
namespace {

/// Goes up by one whenever files come to be read differently: older rows are not believed.
constexpr int kReading = 1;

constexpr const char* kCreate =
    "CREATE TABLE IF NOT EXISTS keldane_files (path_sha256 BINARY(32) PRIMARY KEY NOT NULL,reading "
    "SMALLINT UNSIGNED NOT NULL,size_bytes BIGINT UNSIGNED NOT NULL,modified_ns BIGINT NOT NULL,"
    "changed_ns BIGINT NOT NULL,inode BIGINT UNSIGNED NOT NULL,end_sha256 BINARY(32))";

/// What tells the newest message from any other that could have its id.
constexpr std::string_view kNewestSha256 =
    "SHA2(CONCAT_WS('|',id,date_fld,HEX(from_fld),HEX(subj_fld)),256)";

/// So many bytes before the end of an mbox are compared with those of before.
constexpr std::uint64_t kEndBytes = 4096;
constexpr std::size_t kMostUnwritten = 1000;
/// A statement's answer is held whole, beside what is made of it.
constexpr std::size_t kRowsAtOnce = 20000;
constexpr std::chrono::seconds kLongestUnwritten{2};

constexpr std::int64_t kNsPerSecond = 1000000000;

/// The row of the archive itself, whose digest no path has: its number of messages, the id of the
/// newest, and what that says.
std::string archiveKey() { return std::string(32, '\0'); }

/// Enough of a path's digest: of two paths that share it, no file has the state of the other.
std::uint64_t shortKey(std::string_view digest) {
  std::uint64_t key = 0;
  std::memcpy(&key, digest.data(), std::min(digest.size(), sizeof key));
  return key;
}

/// Of a file's state, for millions of them to fit into memory.
std::uint64_t printOf(std::uint64_t sizeBytes, std::int64_t modifiedNs, std::int64_t changedNs,
                      std::uint64_t inode) {
  return shortKey(sha256(fmt::format("{} {} {} {}", sizeBytes, modifiedNs, changedNs, inode)));
}

std::int64_t nsOf(std::int64_t seconds, std::int64_t nanoseconds) {
  return seconds * kNsPerSecond + nanoseconds;
}

std::uint64_t numberOf(std::optional<std::string_view> cell) {
  return cell ? std::strtoull(std::string(*cell).c_str(), nullptr, 10) : 0;
}

std::int64_t signedOf(std::optional<std::string_view> cell) {
  return cell ? std::strtoll(std::string(*cell).c_str(), nullptr, 10) : 0;
}

std::string rowSql(std::string_view key, std::uint64_t sizeBytes, std::int64_t modifiedNs,
                   std::int64_t changedNs, std::uint64_t inode, std::string_view endSha256) {
  return fmt::format("(UNHEX('{}'),{},{},{},{},{},{})", hexText(key), kReading, sizeBytes,
                     modifiedNs, changedNs, inode,
                     endSha256.empty() ? "NULL" : "UNHEX('" + hexText(endSha256) + "')");
}

/// The bytes of a file from `begin` on, at most `most`; fewer when there are no more or they cannot
/// be read.
std::string bytesAt(const std::string& path, std::uint64_t begin, std::size_t most) {
  std::string bytes(most, '\0');
  std::size_t used = 0;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  while (fd >= 0 && used < most) {
    const ssize_t got =
        ::pread(fd, bytes.data() + used, most - used, static_cast<off_t>(begin + used));
    if (got <= 0) break;
    used += static_cast<std::size_t>(got);
  }
  if (fd >= 0) ::close(fd);
  bytes.resize(used);
  return bytes;
}

std::uint64_t endBytesOf(std::uint64_t sizeBytes) { return std::min(sizeBytes, kEndBytes); }

/// Where the new bytes begin with a separator line, line ends before it left out; npos: they do
/// not, and belong to the message before them.
std::size_t separatorIn(std::string_view bytes, std::size_t begin) {
  constexpr std::string_view kFrom = "From ";
  constexpr std::string_view kLineEnds = "\r\n";
  const std::size_t at = bytes.find_first_not_of(kLineEnds, begin);
  if (at == std::string_view::npos || at == 0 || !bytes.substr(at).starts_with(kFrom) ||
      kLineEnds.find(bytes[at - 1]) == std::string_view::npos) {
    return std::string_view::npos;
  }
  std::string_view before = bytes.substr(0, at);
  before.remove_suffix(before.ends_with("\r\n") ? 2 : 1);
  const bool isBehindBlankLine = before.ends_with('\n') || before.ends_with('\r');
  const std::string_view ahead = bytes.substr(at + kFrom.size(), kSeparatorAheadBytes);
  return isSeparator(ahead, isBehindBlankLine) ? at : std::string_view::npos;
}

}  // namespace

// What is known.

void KnownFiles::load(bool readsAll) {
  if (!readRows() || readsAll) clear();
}

void KnownFiles::clear() {
  whole_ = {};
  growing_.clear();
}

void KnownFiles::note(std::string_view key, Known known) {
  if (!known.endSha256.empty()) {
    growing_.emplace(shortKey(key), std::move(known));
  } else {
    whole_.emplace_back(shortKey(key),
                        printOf(known.sizeBytes, known.modifiedNs, known.changedNs, known.inode));
  }
}

/// False: no row is to be believed.
bool KnownFiles::readRows() {
  clear();
  std::optional<Known> archive;
  std::string last;  // key of the row read last
  std::size_t rowsRead = kRowsAtOnce;
  while (rowsRead == kRowsAtOnce) {
    const std::string behind =
        last.empty() ? std::string() : "path_sha256>UNHEX('" + hexText(last) + "') AND ";
    // Refused where nothing has been noted yet.
    hasTable_ = session_.query(
        fmt::format("SELECT path_sha256,size_bytes,modified_ns,changed_ns,inode,end_sha256 FROM "
                    "keldane_files WHERE {}reading={} ORDER BY path_sha256 LIMIT {}",
                    behind, kReading, kRowsAtOnce));
    const std::unique_ptr<ResultRows> rows = hasTable_ ? session_.storeResult() : nullptr;
    if (!rows) return false;
    for (rowsRead = 0; rows->next(); ++rowsRead) {
      Known known{numberOf(rows->cell(1)), signedOf(rows->cell(2)), signedOf(rows->cell(3)),
                  numberOf(rows->cell(4)), std::string(rows->cell(5).value_or(""))};
      last = rows->cell(0).value_or("");
      if (last == archiveKey()) {
        archive = std::move(known);
      } else {
        note(last, std::move(known));
      }
    }
  }
  std::sort(whole_.begin(), whole_.end());
  if (archive && isBelieved(archive->sizeBytes, archive->inode, archive->endSha256)) return true;
  forget();
  return false;
}

bool KnownFiles::isBelieved(std::uint64_t count, std::uint64_t newestId,
                            const std::string& newestSha256) {
  if (!session_.query("SELECT COUNT(*) FROM email")) return false;
  if (numberOf(fetchFirstCell(session_)) < count) return false;
  if (!session_.query(fmt::format("SELECT {} FROM email WHERE id={}", kNewestSha256, newestId))) {
    return false;
  }
  return fetchFirstCell(session_) == hexText(newestSha256);
}

/// So that rows that are not believed now are not believed together with new ones either.
void KnownFiles::forget() {
  if (!readsOnly_) isWritten_ = session_.query("DELETE FROM keldane_files");
}

bool KnownFiles::isUnchanged(const std::string& path, const FileState& state) const {
  if (whole_.empty() && growing_.empty()) return false;
  const std::uint64_t key = shortKey(sha256(path));
  const std::int64_t modifiedNs = nsOf(state.modifiedSeconds, state.modifiedNanoseconds);
  const std::int64_t changedNs = nsOf(state.changedSeconds, state.changedNanoseconds);
  if (const auto found = growing_.find(key); found != growing_.end()) {
    const Known& known = found->second;
    return known.sizeBytes == state.sizeBytes && known.inode == state.inode &&
           known.modifiedNs == modifiedNs && known.changedNs == changedNs;
  }
  const Whole whole{key, printOf(state.sizeBytes, modifiedNs, changedNs, state.inode)};
  return std::binary_search(whole_.begin(), whole_.end(), whole);
}

std::uint64_t KnownFiles::grownFrom(const std::string& path, const FileState& state) const {
  if (growing_.empty()) return 0;
  const auto found = growing_.find(shortKey(sha256(path)));
  if (found == growing_.end() || found->second.inode != state.inode ||
      state.sizeBytes <= found->second.sizeBytes) {
    return 0;
  }
  const Known& known = found->second;
  const std::uint64_t endBytes = endBytesOf(known.sizeBytes);
  const std::uint64_t begin = known.sizeBytes - endBytes;
  const std::string bytes = bytesAt(path, begin, endBytes + 2 * kSeparatorAheadBytes);
  if (bytes.size() <= endBytes ||
      sha256(std::string_view(bytes).substr(0, endBytes)) != known.endSha256) {
    return 0;
  }
  const std::size_t at = separatorIn(bytes, endBytes);
  return at == std::string::npos ? 0 : begin + at;
}

// What comes to be known.

void KnownFiles::beginFile(const std::string& path) {
  path_ = path;
  read_.reset();
  stored_ = 0;
  isFinal_ = true;
  hasDeleted_ = false;
}

void KnownFiles::take(LedgerOutcome outcome) {
  if (outcome == LedgerOutcome::archived || outcome == LedgerOutcome::duplicate) {
    ++stored_;
  } else if (outcome == LedgerOutcome::markedDeleted) {
    // A run that wants what is marked as deleted reads all.
    hasDeleted_ = true;
  } else if (outcome != LedgerOutcome::notMail) {
    isFinal_ = false;
  }
}

void KnownFiles::readToEnd(const FileState& state, bool canGrow) {
  Known known{state.sizeBytes,
              nsOf(state.modifiedSeconds, state.modifiedNanoseconds),
              nsOf(state.changedSeconds, state.changedNanoseconds),
              state.inode,
              {}};
  if (canGrow) {
    const std::uint64_t endBytes = endBytesOf(state.sizeBytes);
    known.endSha256 = sha256(bytesAt(path_, state.sizeBytes - endBytes, endBytes));
    const Result<FileState> after = stateOf(path_);
    if (!after || *after != state) return;
  }
  read_ = std::move(known);
}

void KnownFiles::endFile() {
  if (read_ && isFinal_ && stored_ > 0 && !readsOnly_) {
    // A mark may be taken back where it stands while the file grows: then all of it is read.
    if (hasDeleted_) read_->endSha256.clear();
    unwritten_.emplace_back(sha256(path_), std::move(*read_));
  }
  read_.reset();
  path_.clear();
  if (unwritten_.size() >= kMostUnwritten ||
      std::chrono::steady_clock::now() - lastFlush_ >= kLongestUnwritten) {
    flush();
  }
}

/// The row of the archive as it is now; absent: refused.
std::optional<std::string> KnownFiles::archiveRow() {
  const auto archived = static_cast<std::uint64_t>(counters_.archivedCount.load());
  if (!countBefore_) {
    if (!session_.query("SELECT COUNT(*) FROM email")) return std::nullopt;
    const std::uint64_t count = numberOf(fetchFirstCell(session_));
    countBefore_ = count - std::min(count, archived);
  }
  if (!session_.query(
          fmt::format("SELECT id,{} FROM email ORDER BY id DESC LIMIT 1", kNewestSha256))) {
    return std::nullopt;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (!rows || !rows->next()) return std::nullopt;
  return fmt::format("(UNHEX('{}'),{},{},0,0,{},UNHEX('{}'))", hexText(archiveKey()), kReading,
                     *countBefore_ + archived, numberOf(rows->cell(0)), rows->cell(1).value_or(""));
}

void KnownFiles::flush(bool isLast) {
  lastFlush_ = std::chrono::steady_clock::now();
  // Counted anew once: this run may have made rows that it does not count.
  if (isLast) countBefore_.reset();
  const auto rows = std::exchange(unwritten_, {});
  if (rows.empty() || !isWritten_) return;
  if (!hasTable_) hasTable_ = session_.query(kCreate);
  const std::optional<std::string> archive = hasTable_ ? archiveRow() : std::nullopt;
  if (!archive) return;
  std::string sql =
      "REPLACE INTO keldane_files (path_sha256,reading,size_bytes,modified_ns,changed_ns,inode,"
      "end_sha256) VALUES" +
      *archive;
  for (const auto& [key, known] : rows) {
    sql += ',';
    sql += rowSql(key, known.sizeBytes, known.modifiedNs, known.changedNs, known.inode,
                  known.endSha256);
  }
  // A row that is not written costs the next run a reading.
  static_cast<void>(session_.query(sql));
}

}  // namespace keldane
