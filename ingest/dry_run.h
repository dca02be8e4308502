#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ingest/archive_run.h"
#include "ingest/reading/current_message.h"
#include "ingest/run_observer.h"

namespace keldane {

/// What would become of one message, or of a file or folder that is none.
struct DryOutcome {
  LedgerOutcome outcome;
  /// As in a ledger; of a duplicate within the run, and of one that differs from such, where the
  /// other one lies.
  std::string_view detail;
  const std::string& path;
  std::optional<std::uint64_t> offsetBytes;  ///< within a file of many messages
  /// The message with the tags that it would get; null for what was dropped, and for files.
  const CurrentMessage* message;
};

/// Goes the way of an archive run and stores nothing: no row, no ledger, no log, no setting; the
/// import folder keeps its files. Reader, duplicate test and rules are those of the run, and the
/// server is told to take no change on this session meanwhile. What an interrupted run has left
/// half stored counts as stored. Main thread; the session must be free.
class DryRun {
 public:
  struct Context {
    ServerSession& session;
    ProcessState& process;
    Environment& environment;
    Progress& progress;
    /// True ends it after the message at hand.
    std::function<bool()> isInterrupted;
  };

  explicit DryRun(Context context) : context_(std::move(context)) {}

  /// Reads what the plans name. `hasArchive`: the session has a database open, to compare with;
  /// else all is new, and no statement is sent. Fails with the server's words when it refuses to be
  /// only read.
  [[nodiscard]] Result<RunReport> run(const std::vector<PassPlan>& plans, bool hasArchive,
                                      const std::function<void(const DryOutcome&)>& tell);

 private:
  void readAll(const std::vector<PassPlan>& plans, bool hasArchive,
               const std::function<void(const DryOutcome&)>& tell, RunReport& report);

  Context context_;
};

/// The passes that a run would make, with an import folder that is left as it is.
[[nodiscard]] std::vector<PassPlan> dryPlans(const ArchiveRequest& request,
                                             const Settings& settings, MailSources& sources,
                                             const TagRuleList& tagRules);

}  // namespace keldane
