#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "ingest/ledger/ledger_entries.h"

namespace keldane {

/// How a run introduces itself to its ledger.
struct LedgerStart {
  std::string database;          ///< with its server, so that two of one name are told apart
  std::uint32_t greatestId = 0;  ///< greatest id of `email` before the run
  std::string startedAt;
  /// Path of the ledger that every run looks at. A run that keeps its ledger elsewhere leaves a
  /// pointer there, so that its open entries are found all the same. Empty: none.
  std::string home;
  /// What the run reads, and the limits of the dates that it takes in. The ledger remembers them
  /// until a run over them has come to its end. Empty: nothing to remember.
  std::vector<std::string> sources;
  std::string rangeFrom;
  std::string rangeTo;
};

class LedgerFile;

/// The account book of one run: a line for each file that is not mail and for each message met,
/// with what became of it. Tab-separated text, appended with one write a line, so that a killed
/// program leaves every line that it wrote. A message's line is opened before its first row is
/// written and closed after its last. Before `begin`, and after a failed one, it only adds up.
///
/// Worker thread only, except `begin` and `finish`. A file belongs to one living run: it is locked.
class RunLedger {
 public:
  RunLedger();
  ~RunLedger();
  RunLedger(const RunLedger&) = delete;
  RunLedger& operator=(const RunLedger&) = delete;

  /// Takes over `path`: reads the open entries that earlier runs left there, then starts the file
  /// anew with those entries carried over. Fails, and leaves the file as it is, when it cannot be
  /// written, when another run holds it, or when it holds something else than a ledger.
  [[nodiscard]] Result<void> begin(const std::string& path, const LedgerStart& start);
  [[nodiscard]] Result<void> begin(const std::string& path, const std::string& database);

  /// Sources that earlier runs have not read to the end, as a run with this ledger and this home
  /// would find them. Reads only.
  [[nodiscard]] static std::vector<UnfinishedSource> unfinishedSources(const std::string& path,
                                                                       const std::string& home);

  /// Called with each outcome when it has been counted and written, and the file that it is about.
  /// Empty: nobody watches.
  using Watcher =
      std::function<void(LedgerOutcome outcome, std::string_view detail, const std::string& path)>;
  void watch(Watcher watcher) { watcher_ = std::move(watcher); }

  /// Open entries of earlier runs, of any database; those not settled stay in the file.
  [[nodiscard]] const std::vector<OpenEntry>& leftOpen() const { return leftOpen_; }
  /// An open entry has been dealt with and need not be carried on.
  void settle(const OpenEntry& entry);
  /// The row of an open entry has been found.
  void recordFoundRow(const OpenEntry& entry, std::uint32_t id);
  /// Earlier runs without an orderly end, of any database.
  [[nodiscard]] const std::vector<InterruptedRun>& interruptedRuns() const {
    return interruptedRuns_;
  }
  /// Nothing is left to be found out about this run.
  void settle(const InterruptedRun& run);

  /// Names the message at hand: the file, and its offset in bytes when the file is an mbox.
  void beginMessage(const std::string& path, std::optional<std::uint64_t> offsetBytes);
  /// Its storing begins: from here until `close` a crash leaves an open entry.
  void open(const ExpectedRows& mark);
  /// Its row of `email` has been made.
  void recordRow(std::uint32_t id);
  /// The outcome of the message at hand. `detail` is the id, the rule, the reason or the error.
  void close(LedgerOutcome outcome, std::string_view detail);
  /// The storing came to no end: the entry stays open for the next run, the outcome is counted as
  /// failed. `refused`: the server is there and did not take a statement.
  void leaveOpen(std::string_view error, bool refused = false);
  /// The server was lost in the middle of storing the message at hand, which another one is to
  /// take: its entry, if it is open, is left open until it is settled; there is no outcome yet.
  [[nodiscard]] std::optional<OpenEntry> suspend();
  /// The message at hand has an open entry.
  [[nodiscard]] bool isOpen() const { return openKey_ != 0; }
  /// Where in its file the message at hand begins; absent when the file is that message.
  [[nodiscard]] const std::optional<std::uint64_t>& offsetBytes() const { return messageOffset_; }
  /// The message at hand has no outcome yet.
  [[nodiscard]] bool isPending() const { return pending_; }
  /// A file that is not mail.
  void recordNonMail(const std::string& path, std::string_view reason);
  /// A file or folder that could not be read, whole or from some place on.
  void recordUnreadable(const std::string& path, std::string_view reason);
  /// A file that is left for the next run.
  void recordPostponed(const std::string& path, std::string_view reason);
  /// A file that was passed over, because all of it is in the archive.
  void recordUnchanged(const std::string& path);

  /// All sources of this run have been read to their end.
  void sourcesRead();
  /// Writes the sums and the mark of an orderly end, and lets go of the file. A run that has lost
  /// its server gets no such mark: what the server had taken in last may not have outlived it.
  void finish(bool serverLost = false);
  [[nodiscard]] const LedgerSums& sums() const { return sums_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  /// Lines that the system refused to write; the run goes on without them.
  [[nodiscard]] long unwrittenLines() const { return unwrittenLines_; }
  /// Greatest id of `email` known to the run.
  [[nodiscard]] std::uint32_t greatestId() const { return greatestId_; }

 private:
  void forget();
  void writeOutcome(LedgerOutcome outcome, std::string_view detail);
  void writeFile(LedgerOutcome outcome, const std::string& path, std::string_view reason);
  void append(std::string_view line);

  std::string path_;
  std::string database_;
  std::string runId_;
  std::unique_ptr<LedgerFile> file_;
  LedgerSums sums_;
  std::vector<OpenEntry> leftOpen_;
  std::vector<InterruptedRun> interruptedRuns_;
  std::vector<UnfinishedSource> ownSources_;  ///< that this run will have finished at its end
  std::size_t leftToNext_ = 0;                ///< lines that the next run takes on
  long unwrittenLines_ = 0;
  std::uint32_t greatestId_ = 0;
  std::uint64_t nextKey_ = 1;
  std::uint64_t openKey_ = 0;
  ExpectedRows openMark_;  ///< of the open entry, as the next
  std::optional<std::uint32_t> openRow_;
  std::string messagePath_;
  std::optional<std::uint64_t> messageOffset_;
  bool pending_ = false;
  Watcher watcher_;
  std::string line_;
};

}  // namespace keldane
