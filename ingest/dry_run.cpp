#include "ingest/dry_run.h"

#include <exception>
#include <utility>

#include "base/spooled_text.h"
#include "ingest/reading/message_reader.h"
#include "ingest/run_watch.h"
#include "ingest/sources/mail_walk.h"
#include "ingest/storing/duplicate_check.h"
#include "ingest/storing/known_files.h"
#include "ingest/storing/message_store.h"

namespace keldane {
namespace {

/// What would stand in it is told as outcomes.
class NoLog : public StoreLog {
 public:
  void write(const std::string&) override {}
};

/// Of the others, the fields are those of an earlier message, or not all filled.
bool hasMessage(LedgerOutcome outcome) {
  return outcome == LedgerOutcome::archived || outcome == LedgerOutcome::duplicate ||
         outcome == LedgerOutcome::excluded;
}

}  // namespace

std::vector<PassPlan> dryPlans(const ArchiveRequest& request, const Settings& settings,
                               MailSources& sources, const TagRuleList& tagRules) {
  std::vector<PassPlan> plans;
  std::optional<RunPass> pass = RunPass::chosen;
  for (; pass; pass = passBehind(*pass, request, settings)) {
    plans.push_back(makePassPlan(request, *pass, settings, sources, tagRules));
    plans.back().deleteImportFiles = false;
  }
  return plans;
}

Result<RunReport> DryRun::run(const std::vector<PassPlan>& plans, bool hasArchive,
                              const std::function<void(const DryOutcome&)>& tell) {
  // Whatever else is wrong, the server itself then refuses to change a row or a table.
  if (hasArchive && !context_.session.query("SET SESSION TRANSACTION READ ONLY")) {
    return Failure{context_.session.error()};
  }
  RunReport report;
  readAll(plans, hasArchive, tell, report);
  // A server that is gone has forgotten it.
  if (hasArchive) static_cast<void>(context_.session.query("SET SESSION TRANSACTION READ WRITE"));
  return report;
}

void DryRun::readAll(const std::vector<PassPlan>& plans, bool hasArchive,
                     const std::function<void(const DryOutcome&)>& tell, RunReport& report) {
  RunLedger ledger;  // never begun: it only adds up
  CurrentMessage message;
  RunCounters counters;
  NoLog log;
  SpooledText duplicateLogText;
  DryStore dry(hasArchive);
  RunWatch watch(context_.session, ledger, context_.progress);
  watch.tell = [&](LedgerOutcome outcome, std::string_view detail, const std::string& path) {
    tell({outcome, detail, path, isOfFile(outcome) ? std::nullopt : ledger.offsetBytes(),
          hasMessage(outcome) ? &message : nullptr});
  };
  const auto mustEnd = [this, &watch] {
    return watch.isStopped() || (context_.isInterrupted && context_.isInterrupted());
  };
  const auto guarded = [&](const std::function<void()>& work) {
    try {
      work();
    } catch (const std::exception& error) {
      if (ledger.isPending()) {
        ledger.close(LedgerOutcome::failed, error.what());
      } else {
        ledger.recordUnreadable(message.currentPath,
                                std::string("the reading ended here: ") + error.what());
      }
    }
  };
  for (const PassPlan& plan : plans) {
    if (mustEnd()) break;
    report.missingFolders.insert(report.missingFolders.end(), plan.missingFolders.begin(),
                                 plan.missingFolders.end());
    KnownFiles knownFiles(context_.session, counters, true);
    KnownFiles* known = hasArchive && plan.skipsKnownFiles ? &knownFiles : nullptr;
    MessageStore store({.session = context_.session,
                        .message = message,
                        .counters = counters,
                        .ledger = ledger,
                        .storeLog = log,
                        .plan = plan,
                        .duplicateLogText = duplicateLogText,
                        .doConnect = {},
                        .dry = &dry});
    MessageReader reader({.process = context_.process,
                          .plan = plan,
                          .message = message,
                          .counters = counters,
                          .ledger = ledger,
                          .environment = context_.environment,
                          .progress = context_.progress,
                          .storeLog = log,
                          .debugLog = log,
                          .knownFiles = known,
                          .storeEmail = [&store](int partCount) { store.storeEmail(partCount); },
                          .guarded = guarded,
                          .isAbandoned = mustEnd});
    MailWalk walk({.process = context_.process,
                   .plan = plan,
                   .reader = reader,
                   .ledger = ledger,
                   .watch = watch,
                   .session = context_.session,
                   .environment = context_.environment,
                   .progress = context_.progress,
                   .storeLog = log,
                   .knownFiles = known,
                   .isAbandoned = mustEnd});
    std::optional<LeftInFolder> left;
    guarded([&walk, &left] { static_cast<void>(walk.getEmailPaths(left)); });
  }
  report.sums = ledger.sums();
  report.totals.processed = counters.processedCount;
  report.differing = watch.differing();
  report.noMessages = watch.noMessages();
  report.outsideRange = watch.outsideRange();
  report.notChosen = watch.notChosen();
  report.interrupted = context_.isInterrupted && context_.isInterrupted();
  const std::optional<StopReason>& stop = watch.stopReason();
  if (stop) (stop->serverLost ? report.lostServer : report.stoppedBy) = stop->text;
}

}  // namespace keldane
