#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "archive/server_session.h"
#include "ingest/ledger/ledger_entries.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/resting_file.h"

namespace keldane {

/// The table `keldane_files`: the state in which each file was when all of its messages had come
/// into the archive, so that a later run passes over it, or reads what an mbox has grown by. A help
/// only: without a row, a file is read.
///
/// A row is written when a file has been read to its end and every message of it is stored or was
/// before; behind the messages, several at once, so that a run that is cut off reads some files
/// again. No row is believed once the archive has lost messages: when it has fewer than it had when
/// rows were written last, or its newest one of then is another, as after a deletion, or when an
/// older state of it has been put back. Of a path its digest alone is kept; in memory, sixteen
/// bytes for each file that cannot grow. Worker thread only.
class KnownFiles {
 public:
  /// `readsOnly`: nothing is written.
  KnownFiles(ServerSession& session, const RunCounters& counters, bool readsOnly = false)
      : session_(session), counters_(counters), readsOnly_(readsOnly) {}

  /// Reads the table, before the walk. `readsAll`: nothing of it is believed.
  void load(bool readsAll);
  /// The file is as it was when all of it had come into the archive.
  [[nodiscard]] bool isUnchanged(const std::string& path, const FileState& state) const;
  /// Where the separator line of the first new message of an mbox stands, when it has only grown;
  /// 0: it is to be read from its beginning.
  [[nodiscard]] std::uint64_t grownFrom(const std::string& path, const FileState& state) const;

  void beginFile(const std::string& path);
  void take(LedgerOutcome outcome);
  /// The file at hand has been read to its end in this state. `canGrow`: more messages may come to
  /// stand behind that.
  void readToEnd(const FileState& state, bool canGrow);
  void endFile();
  /// Writes what is not written yet. `isLast`: the walk has ended.
  void flush(bool isLast = false);

 private:
  struct Known {
    std::uint64_t sizeBytes = 0;
    std::int64_t modifiedNs = 0;
    std::int64_t changedNs = 0;
    std::uint64_t inode = 0;
    std::string endSha256;  ///< of the last bytes; empty for what cannot grow
    bool operator==(const Known&) const = default;
  };

  /// Of what cannot grow: key and print of the state.
  using Whole = std::pair<std::uint64_t, std::uint64_t>;

  void clear();
  void note(std::string_view key, Known known);
  [[nodiscard]] bool readRows();
  [[nodiscard]] bool isBelieved(std::uint64_t count, std::uint64_t newestId,
                                const std::string& newestSha256);
  [[nodiscard]] std::optional<std::string> archiveRow();
  void forget();

  ServerSession& session_;
  const RunCounters& counters_;
  bool readsOnly_;
  bool hasTable_ = false;
  bool isWritten_ = true;  ///< false: the server has refused to
  // By the beginning of the path's digest.
  std::vector<Whole> whole_;  ///< sorted
  std::unordered_map<std::uint64_t, Known> growing_;
  std::vector<std::pair<std::string, Known>> unwritten_;
  std::chrono::steady_clock::time_point lastFlush_ = std::chrono::steady_clock::now();
  std::optional<std::uint64_t> countBefore_;  ///< messages in the archive, less those of this run
  // Of the file at hand.
  std::string path_;
  std::optional<Known> read_;
  std::size_t stored_ = 0;
  bool isFinal_ = true;
  bool hasDeleted_ = false;  ///< a message of it was left out as deleted
};

}  // namespace keldane
