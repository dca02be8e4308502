#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/sources/import_folder.h"
#include "ingest/storing/known_files.h"
#include "platform/progress.h"

namespace keldane {

/// Why no further message can be stored: the server is gone, its disk is full, or it takes no
/// changes. Absent for a failure of one message. `number` and `text` as the session has them,
/// `detail` as the ledger.
struct StopReason {
  bool serverLost = false;
  std::string text;  ///< a sentence for the user
};
[[nodiscard]] std::optional<StopReason> lastingFailure(unsigned number, std::string_view text,
                                                       std::string_view detail);

/// Looks at each outcome of a run as the ledger takes it: counts what the summary tells beyond the
/// ledger's sums, moves the progress on, ends the run at a failure that would repeat itself for
/// every message, and tells the import folder. Worker thread; the rest is to be asked when the walk
/// has ended, but for `isStopped`.
class RunWatch {
 public:
  RunWatch(ServerSession& session, RunLedger& ledger, Progress& progress);
  ~RunWatch();
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

  /// A run begins.
  void reset();
  /// A walk over so many files begins. `folder` and `known`: to be told of what becomes of them;
  /// may be null.
  void beginWalk(std::size_t files, ImportFolder* folder, KnownFiles* known = nullptr);
  void beginFile(std::uint64_t sizeBytes);
  void endFile();
  /// A file lies where the run was not to look.
  void skipNotChosen() { ++notChosen_; }

  /// Told of each outcome, behind all else. May be empty.
  RunLedger::Watcher tell;

  /// No further message can be stored.
  [[nodiscard]] bool isStopped() const { return stopped_; }
  [[nodiscard]] const std::optional<StopReason>& stopReason() const { return stopReason_; }
  /// Archived messages that differ from one of the same date, sender and receivers.
  [[nodiscard]] long differing() const { return differing_; }
  /// Of those left out, what was no mail message.
  [[nodiscard]] long noMessages() const { return noMessages_; }
  /// Of those left out, what lies outside the days of the run.
  [[nodiscard]] long outsideRange() const { return outsideRange_; }
  /// Of the files that the ledger has as no mail, those in mailboxes that were not chosen.
  [[nodiscard]] long notChosen() const { return notChosen_; }

 private:
  void take(LedgerOutcome outcome, std::string_view detail);
  void showProgress();

  ServerSession& session_;
  RunLedger& ledger_;
  Progress& progress_;
  ImportFolder* folder_ = nullptr;
  KnownFiles* known_ = nullptr;
  std::atomic<bool> stopped_ = false;
  std::optional<StopReason> stopReason_;
  long differing_ = 0;
  long noMessages_ = 0;
  long outsideRange_ = 0;
  long notChosen_ = 0;
  std::size_t files_ = 0;
  std::size_t filesRead_ = 0;
  std::uint64_t fileBytes_ = 0;
};

}  // namespace keldane
