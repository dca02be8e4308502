#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "find/index_catch_up.h"
#include "find/index_check.h"
#include "find/word_index.h"
#include "platform/environment.h"
#include "platform/progress.h"
#include "verify/archive_fault.h"
#include "verify/check_mark.h"
#include "verify/message_check.h"
#include "verify/message_repair.h"

namespace keldane {

struct CheckReport {
  CheckCounts counts;            ///< since the check was begun
  std::string goesOnFrom;        ///< when that was; empty: now
  std::uint64_t printsMade = 0;  ///< fingerprints of an archive that had none
  IndexState index;
  bool cancelled = false;
};

/// Goes through a whole archive and names each thing that is not as it should be: of every message
/// what `MessageCheck` finds; rows of messages that are not there; what the ledger has left open;
/// and the word index. With `repairs` it mends what the sources can mend, and never deletes a row
/// of a message.
///
/// In pages, with one message in memory. After each page it notes how far it has come: a check that
/// was interrupted goes on there. One thread at a time.
class ArchiveCheck {
 public:
  struct Context {
    ServerSession& session;
    Environment& environment;
    Progress& progress;
    WordIndex& index;
    IndexCatchUp& catchUp;
    std::string markPath;
    /// The ledger of runs, and how it names this database.
    std::string ledgerPath;
    std::string ledgerDatabase;
  };
  struct Request {
    bool repairs = false;
    bool fromStart = false;  ///< not from where an earlier check was interrupted
  };

  ArchiveCheck(Context context, Request request);

  /// `tell` gets each fault as it is found. Fails with the server's words, or when an archive run
  /// is at work; what was looked at by then is noted.
  [[nodiscard]] Result<CheckReport> run(const std::function<void(const ArchiveFault&)>& tell);

 private:
  [[nodiscard]] Result<void> prepare();
  [[nodiscard]] Result<void> checkMessages();
  [[nodiscard]] Result<void> checkMessage(std::uint32_t id);
  [[nodiscard]] Result<void> mendMessage(std::uint32_t id);
  [[nodiscard]] Result<void> checkOrphans();
  [[nodiscard]] Result<void> checkOrphan(std::uint32_t id, const std::string& tables);
  [[nodiscard]] Result<void> checkLedger();
  [[nodiscard]] Result<void> checkIndex();
  [[nodiscard]] Result<std::vector<std::uint32_t>> ids(const std::string& sql);
  void tell(ArchiveFault fault);
  void saveMark(bool isDone);

  Context context_;
  const Request request_;
  std::function<void(const ArchiveFault&)> tell_;
  MessageCheck check_;
  MessageRepair repair_;
  CheckMarks marks_;
  CheckReport report_;
  std::uint32_t lastId_ = 0;
  bool hadNoPrints_ = false;
  std::string begun_;
};

}  // namespace keldane
