#include "verify/archive_check.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "ingest/ledger/ledger_file.h"
#include "ingest/ledger/ledger_reader.h"

namespace keldane {
namespace {

constexpr int kIdsAtOnce = 500;

constexpr const char* kTables[] = {"origemail", "attachments", "tags", "keldane_fingerprints"};

Failure runAtWork() {
  return {"an archive run is at work on this machine: verify when it has come to its end"};
}

}  // namespace

ArchiveCheck::ArchiveCheck(Context context, Request request)
    : context_(std::move(context)),
      request_(request),
      check_(context_.session, context_.environment),
      repair_(context_.session) {}

void ArchiveCheck::tell(ArchiveFault fault) {
  const auto kind = static_cast<std::size_t>(fault.kind);
  ++report_.counts.faults[kind];
  if (fault.isMended) ++report_.counts.mended[kind];
  tell_(fault);
}

Result<CheckReport> ArchiveCheck::run(const std::function<void(const ArchiveFault&)>& tell) {
  tell_ = tell;
  // Rows that a run is still writing are half there, and are not to be written by two.
  std::unique_ptr<LedgerFile> held;
  if (LedgerFile::isHeld(context_.ledgerPath)) return runAtWork();
  if (request_.repairs) {
    Result<std::unique_ptr<LedgerFile>> taken = LedgerFile::take(context_.ledgerPath);
    if (!taken) return Failure{taken.error()};
    held = std::move(*taken);
  }
  Result<void> done = prepare();
  if (done) done = checkMessages();
  if (done && !report_.cancelled) done = checkOrphans();
  if (done && !report_.cancelled) done = checkLedger();
  if (done && !report_.cancelled) done = checkIndex();
  if (!done) return Failure{done.error()};
  if (!report_.cancelled) saveMark(true);
  return report_;
}

Result<void> ArchiveCheck::prepare() {
  begun_ = localDateTime(context_.environment.now());
  marks_ = CheckMarks::load(context_.markPath);
  if (request_.fromStart) marks_.going.reset();
  if (marks_.going && marks_.going->repairs == request_.repairs) {
    begun_ = report_.goesOnFrom = marks_.going->when;
    lastId_ = marks_.going->lastId;
    report_.counts = marks_.going->counts;
  }
  Result<void> begun = check_.begin();
  hadNoPrints_ = begun && !check_.hasFingerprints();
  if (!hadNoPrints_) return begun;
  if (request_.repairs) {
    Fingerprints prints({.session = context_.session});
    if (!prints.open()) return Failure{context_.session.error()};
    begun = check_.begin();
  }
  tell({.kind = FaultKind::fingerprint,
        .what = "there are no fingerprints: the archive is of an older program",
        .isMended = request_.repairs});
  return begun;
}

void ArchiveCheck::saveMark(bool isDone) {
  CheckMark mark{begun_, request_.repairs, lastId_, report_.counts};
  if (isDone) {
    mark.when = localDateTime(context_.environment.now());
    marks_.last = mark;
    marks_.going.reset();
  } else {
    marks_.going = mark;
  }
  // Only a help: the next check begins from the start.
  static_cast<void>(marks_.save(context_.markPath));
}

Result<std::vector<std::uint32_t>> ArchiveCheck::ids(const std::string& sql) {
  const auto rows = context_.session.query(sql) ? context_.session.storeResult() : nullptr;
  if (!rows) return Failure{context_.session.error()};
  std::vector<std::uint32_t> found;
  while (rows->next()) {
    const std::string cell(rows->cell(0).value_or("0"));
    found.push_back(static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, 10)));
  }
  return found;
}

Result<void> ArchiveCheck::checkMessages() {
  while (true) {
    const Result<std::vector<std::uint32_t>> page = ids(
        fmt::format("SELECT id FROM email WHERE id>{} ORDER BY id LIMIT {}", lastId_, kIdsAtOnce));
    if (!page) return Failure{page.error()};
    if (page->empty()) return {};
    Result<void> done;
    for (const std::uint32_t id : *page) {
      report_.cancelled = context_.progress.cancelled();
      if (!report_.cancelled) done = checkMessage(id);
      if (report_.cancelled || !done) break;
      lastId_ = id;
    }
    saveMark(false);
    if (report_.cancelled || !done) return done;
  }
}

Result<void> ArchiveCheck::checkMessage(std::uint32_t id) {
  const Result<bool> found = check_.check(id);
  if (!found) return Failure{found.error()};
  // Deleted since its id was read.
  if (!*found || !check_.stored().hasRow) return {};
  Result<void> done = mendMessage(id);
  if (!done) return done;
  CheckCounts& counts = report_.counts;
  ++counts.messages;
  if (check_.isExact()) ++counts.exact;
  if (check_.isBare()) ++counts.bare;
  context_.progress.step(static_cast<int>(counts.messages), check_.stored().column("subj_fld"));
  return {};
}

/// Tells what was found, when it is known what of it could be mended.
Result<void> ArchiveCheck::mendMessage(std::uint32_t id) {
  const std::vector<Finding> found = check_.findings();
  if (found.empty()) return {};
  const bool canMend =
      std::any_of(found.begin(), found.end(), [](const Finding& one) { return one.canMend; });
  std::string refusal;
  if (request_.repairs && canMend) {
    const Result<void> mended = repair_.mend(check_);
    if (!mended) refusal = mended.error();
    // What is mended is what a second look no longer finds.
    const Result<bool> again = check_.check(id);
    if (!again) return Failure{again.error()};
  }
  for (const Finding& finding : found) {
    const auto& left = check_.findings();
    const bool isLeft = std::any_of(left.begin(), left.end(), [&finding](const Finding& one) {
      return one.kind == finding.kind && one.what == finding.what;
    });
    const bool isMended = request_.repairs && !isLeft;
    if (isMended && hadNoPrints_ && finding.kind == FaultKind::fingerprint) {
      ++report_.printsMade;
      continue;
    }
    std::string what = finding.what;
    if (!refusal.empty() && finding.canMend) what += "; it could not be mended: " + refusal;
    tell({id, finding.kind, std::move(what), isMended});
  }
  return {};
}

// Rows without a message.

Result<void> ArchiveCheck::checkOrphans() {
  std::map<std::uint32_t, std::string> tables;
  for (const char* const table : kTables) {
    if (!check_.hasFingerprints() && table == kTables[3]) continue;
    const Result<std::vector<std::uint32_t>> found = ids(fmt::format(
        "SELECT DISTINCT t.id FROM {} t LEFT JOIN email e ON e.id=t.id WHERE e.id IS NULL", table));
    if (!found) return Failure{found.error()};
    for (const std::uint32_t id : *found) {
      std::string& names = tables[id];
      names += (names.empty() ? "" : ", ") + std::string(table);
    }
  }
  for (const auto& [id, names] : tables) {
    report_.cancelled = context_.progress.cancelled();
    if (report_.cancelled) return {};
    Result<void> done = checkOrphan(id, names);
    if (!done) return done;
  }
  return {};
}

Result<void> ArchiveCheck::checkOrphan(std::uint32_t id, const std::string& tables) {
  const Result<bool> found = check_.check(id);
  if (!found) return Failure{found.error()};
  const std::vector<Finding>& findings = check_.findings();
  // With a source the message can be made whole again.
  if (std::any_of(findings.begin(), findings.end(),
                  [](const Finding& one) { return one.kind == FaultKind::row; })) {
    return mendMessage(id);
  }
  const StoredMessage& stored = check_.stored();
  // A digest alone is nothing of a message; the bytes of its file would be.
  const bool isOnlyPrint = tables == kTables[3] && !stored.fingerprint->packedBytes;
  ArchiveFault fault{id, FaultKind::orphan,
                     fmt::format("there is no such message, but rows of it in {}", tables)};
  if (isOnlyPrint && request_.repairs) {
    Fingerprints prints({.session = context_.session});
    if (!prints.open()) return Failure{context_.session.error()};
    prints.remove(id);
    const Result<bool> again = check_.check(id);
    fault.isMended = again && !*again;
  } else if (!isOnlyPrint) {
    fault.what += "; they are left there";
  }
  tell(std::move(fault));
  return {};
}

// What is beside the database.

Result<void> ArchiveCheck::checkLedger() {
  std::vector<std::string> paths = {context_.ledgerPath};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const Result<LedgerState> state = readLedgerState(paths[i]);
    if (!state) {
      // A ledger that a run kept elsewhere may be gone with its disk.
      if (i == 0) return Failure{state.error()};
      continue;
    }
    if (i == 0) paths.insert(paths.end(), state->elsewhere.begin(), state->elsewhere.end());
    for (const OpenEntry& entry : state->open) {
      if (entry.database != context_.ledgerDatabase) continue;
      tell({entry.insertedId.value_or(0), FaultKind::ledger,
            fmt::format("its storing was begun and not ended; archive {} again", entry.path)});
    }
    bool isCut = !state->orderly && state->database == context_.ledgerDatabase;
    for (const InterruptedRun& run : state->cuts) {
      isCut = isCut || run.database == context_.ledgerDatabase;
    }
    if (isCut) {
      tell({0, FaultKind::ledger,
            "an archive run was cut off; the next run looks after what it left"});
    }
  }
  return {};
}

Result<void> ArchiveCheck::checkIndex() {
  context_.progress.stage("Looking at the word index...");
  Result<IndexState> state = lookAtIndex(context_.session, context_.index, true);
  if (!state) return Failure{state.error()};
  report_.index = *state;
  if (!state->exists || (state->damage.empty() && state->behind == 0)) return {};
  bool isMended = false;
  if (request_.repairs) {
    const Result<CatchUpOutcome> made = state->damage.empty()
                                            ? context_.catchUp.run(context_.progress, false)
                                            : context_.catchUp.rebuild(context_.progress);
    context_.index.close();
    if (!made) return Failure{made.error()};
    report_.cancelled = made->cancelled;
    isMended = !made->cancelled && !made->isReader;
    if (isMended) {
      report_.index.damage.clear();
      report_.index.behind = 0;
    }
  }
  // One that is only behind is brought in step by the next question.
  if (!state->damage.empty()) {
    tell({0, FaultKind::index, "the word index is of no use: " + state->damage, isMended});
  }
  return {};
}

}  // namespace keldane
