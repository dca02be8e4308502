#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/fault.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/run_logs.h"
#include "ingest/sources/import_folder.h"
#include "settings/mail_folder.h"

namespace keldane {

/// How a run went, beside the sums of its ledger.
struct RunReport {
  RunTotals totals;
  LedgerSums sums;
  long differing = 0;   ///< archived ones that differ from a message of the same date and addresses
  long noMessages = 0;  ///< of those left out, what was no mail message
  long outsideRange = 0;     ///< of those left out, what lies outside the days of the run
  long notChosen = 0;        ///< of what is no mail, files in mailboxes that were not chosen
  bool interrupted = false;  ///< ended by the user before all was read
  /// Why the run was ended before all was read; empty when it was not, or the server was lost.
  std::string stoppedBy;
  std::string lostServer;  ///< the last error of a server that was lost; empty when none was
  std::vector<MailFolder> missingFolders;  ///< kept as sources, and not there at the moment
  LeftInFolder left;                       ///< in the import folder, when it was to be emptied
  /// Ids of the messages stored; the first is above the last when none was.
  std::uint32_t firstStoredId = 0;
  std::uint32_t lastStoredId = 0;
  std::string ledgerPath;
};

/// Is told of a run by `ArchiveRun` while it goes through its steps, each on the main thread and at
/// its place in the order.
class RunObserver {
 public:
  virtual ~RunObserver() = default;

  /// What could not be done; the run goes on, or tells that it does not.
  virtual void failed(const Faults&) {}
  /// The files of a pass are about to be looked for; `passEnds` follows.
  virtual void passBegins() {}
  virtual void passEnds() {}
  /// A message is larger than any server takes and is left out. The run goes on meanwhile.
  virtual void messageTooLarge() {}
  /// The settings are saved next, as they stand by then.
  virtual void savesSettings() {}
  /// All is stored and the ledger closed. The run's log can still take lines.
  virtual void stored(const RunReport&) {}
  /// The run's log is whole; its path is still `ProcessState::storeLogPath`.
  virtual void logged(const RunReport&) {}
  /// The run is over, and another may be started.
  virtual void ended() {}
};

}  // namespace keldane
