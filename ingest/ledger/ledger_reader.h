#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "ingest/ledger/ledger_entries.h"

/// Reading a ledger: for the eye, and for the next run. A ledger may end anywhere, in the middle of
/// a line too; what cannot be read is passed over.
namespace keldane {

/// One line for the eye.
struct LedgerLine {
  LedgerOutcome outcome = LedgerOutcome::failed;
  std::string detail;
  std::optional<std::uint64_t> offsetBytes;
  std::string path;
};

/// Hands over each outcome line in order. Fails when the file cannot be read.
[[nodiscard]] Result<void> forEachLedgerLine(const std::string& path,
                                             const std::function<void(const LedgerLine&)>& take);

/// What a ledger leaves to the next run.
struct LedgerState {
  bool isLedger = true;  ///< false: the file holds something else
  bool orderly = true;   ///< the run came to its end, or there was none
  std::string database;
  std::uint32_t greatestId = 0;  ///< before that run
  std::uint32_t lastClosedId = 0;
  std::vector<std::uint32_t> sourcelessIds;
  std::vector<OpenEntry> open;  ///< in the order in which they were opened
  std::vector<InterruptedRun> cuts;
  std::vector<UnfinishedSource> unfinished;
  std::vector<std::string> elsewhere;  ///< ledgers of runs that kept theirs in another place
};

/// Reads a ledger up to its end, or the last line only when that says that nothing is left. A
/// missing or empty file is an orderly ledger with nothing in it.
[[nodiscard]] Result<LedgerState> readLedgerState(const std::string& path);

/// The lines of a ledger for the eye: outcome, detail, offset and path between tabs, fit for a
/// terminal, and the sums at the end. `only` keeps the lines of one outcome ("dropped"); "open"
/// asks for the messages whose storing was begun and not ended; empty: all. Fails when the file
/// cannot be read or is no ledger.
[[nodiscard]] Result<std::string> readLedgerLines(const std::string& path, const std::string& only);

}  // namespace keldane
