#include "ingest/ledger/run_ledger.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "ingest/ledger/ledger_entries.h"
#include "ingest/ledger/ledger_file.h"
#include "ingest/ledger/ledger_reader.h"

namespace keldane {
namespace {

/// What earlier runs leave to this one, gathered from one ledger or several.
struct Legacy {
  std::vector<OpenEntry> open;
  std::vector<InterruptedRun> cuts;
  std::vector<std::string> elsewhere;
  std::vector<UnfinishedSource> unfinished;
};

UnfinishedSource* findSource(Legacy& legacy, const UnfinishedSource& source) {
  const auto found = std::find_if(
      legacy.unfinished.begin(), legacy.unfinished.end(), [&source](const UnfinishedSource& it) {
        return it.database == source.database && it.source == source.source;
      });
  return found == legacy.unfinished.end() ? nullptr : &*found;
}

/// Of two runs over one source, what either has left undone is to be done.
void adoptSource(Legacy& legacy, UnfinishedSource source) {
  UnfinishedSource* known = findSource(legacy, source);
  if (known == nullptr) {
    legacy.unfinished.push_back(std::move(source));
    return;
  }
  known->from = std::min(known->from, source.from);
  known->to = std::max(known->to, source.to);
  known->startedAt = std::min(known->startedAt, source.startedAt);
}

void adoptCut(Legacy& legacy, InterruptedRun run, const LedgerStart& start) {
  if (run.database.empty()) return;
  if (run.toId == 0 && run.database == start.database) {
    run.toId = start.greatestId;
    if (run.toId <= run.fromId) return;
  }
  const bool known =
      std::any_of(legacy.cuts.begin(), legacy.cuts.end(), [&run](const InterruptedRun& it) {
        return it.database == run.database && it.fromId == run.fromId;
      });
  if (!known) legacy.cuts.push_back(std::move(run));
}

/// An entry that belongs to another database is found in each ledger that has adopted it.
void adoptEntry(Legacy& legacy, OpenEntry entry) {
  const bool known =
      std::any_of(legacy.open.begin(), legacy.open.end(), [&entry](const OpenEntry& it) {
        return it.database == entry.database && it.path == entry.path &&
               it.offsetBytes == entry.offsetBytes && it.mark == entry.mark &&
               it.insertedId == entry.insertedId;
      });
  if (!known) legacy.open.push_back(std::move(entry));
}

void adopt(Legacy& legacy, LedgerState state, const LedgerStart& start) {
  for (OpenEntry& entry : state.open) adoptEntry(legacy, std::move(entry));
  for (InterruptedRun& run : state.cuts) adoptCut(legacy, std::move(run), start);
  for (UnfinishedSource& source : state.unfinished) adoptSource(legacy, std::move(source));
  if (!state.orderly) {
    adoptCut(
        legacy,
        {state.database, state.greatestId, state.lastClosedId, 0, std::move(state.sourcelessIds)},
        start);
  }
}

/// Adopts a ledger that is kept in another place. False: a living run holds it.
bool adoptFrom(Legacy& legacy, const std::string& path, const LedgerStart& start) {
  if (LedgerFile::isHeld(path)) return false;
  Result<LedgerState> state = readLedgerState(path);
  if (state && state->isLedger) adopt(legacy, std::move(*state), start);
  return true;
}

void adoptElsewhere(Legacy& legacy, const std::vector<std::string>& paths,
                    const std::string& ownPath, const LedgerStart& start) {
  for (const std::string& path : paths) {
    if (path == ownPath) continue;
    if (!adoptFrom(legacy, path, start)) legacy.elsewhere.push_back(path);
  }
}

/// Adopts what the ledger that every run looks at knows, when it is another than this run's.
std::optional<LedgerState> adoptHome(Legacy& legacy, const std::string& path,
                                     const std::string& realPath, const LedgerStart& start) {
  if (start.home.empty() || start.home == path || start.home == realPath) return std::nullopt;
  Result<LedgerState> home = readLedgerState(start.home);
  if (!home) return std::nullopt;
  adoptFrom(legacy, start.home, start);
  adoptElsewhere(legacy, home->elsewhere, realPath, start);
  return std::move(*home);
}

/// Begins the sources of this run. Those that it will have finished at its end: a run whose range
/// is narrower than what earlier ones have left undone finishes nothing.
std::vector<UnfinishedSource> beginSources(Legacy& legacy, const LedgerStart& start) {
  std::vector<UnfinishedSource> own;
  for (const std::string& name : start.sources) {
    const UnfinishedSource source{start.database, name, start.rangeFrom, start.rangeTo,
                                  start.startedAt};
    adoptSource(legacy, source);
    const UnfinishedSource* merged = findSource(legacy, source);
    if (merged->from == source.from && merged->to == source.to) own.push_back(source);
  }
  return own;
}

std::string headerLine(const LedgerStart& start, const std::string& runId) {
  std::string line(ledger::kHeader.substr(0, ledger::kHeader.size() - 1));
  ledger::addField(line, runId);
  ledger::addField(line, start.startedAt);
  ledger::addField(line, std::uint64_t{start.greatestId});
  ledger::addField(line, start.database);
  line += '\n';
  return line;
}

std::string markLine(std::string_view word, std::uint64_t key) {
  std::string line(word);
  ledger::addField(line, key);
  line += '\n';
  return line;
}

std::string rowLine(std::uint64_t key, std::uint32_t id) {
  std::string line(ledger::kRow);
  ledger::addField(line, key);
  ledger::addField(line, std::uint64_t{id});
  line += '\n';
  return line;
}

std::string pathLine(const std::string& path) {
  std::string line(ledger::kElsewhere);
  ledger::addField(line, path);
  line += '\n';
  return line;
}

/// Leaves word at the ledger that every run looks at. When that fails, a later run with the same
/// ledger still finds its open entries, so it is no reason not to start.
void pointFrom(const std::string& home, const LedgerState& homeState, const std::string& path) {
  const auto& known = homeState.elsewhere;
  if (!homeState.isLedger || std::find(known.begin(), known.end(), path) != known.end()) return;
  std::string lines;
  if (::access(home.c_str(), F_OK) != 0) lines = headerLine({}, "-");
  static_cast<void>(LedgerFile::appendTo(home, lines + pathLine(path)));
}

}  // namespace

RunLedger::RunLedger() = default;
RunLedger::~RunLedger() = default;

Result<void> RunLedger::begin(const std::string& path, const std::string& database) {
  LedgerStart start;
  start.database = database;
  return begin(path, start);
}

Result<void> RunLedger::begin(const std::string& path, const LedgerStart& start) {
  forget();
  Result<std::unique_ptr<LedgerFile>> file = LedgerFile::take(path);
  if (!file) return Failure{file.error()};
  const std::string& realPath = (*file)->path();
  Result<LedgerState> state = readLedgerState(realPath);
  if (!state) return Failure{state.error()};
  if (!state->isLedger) return Failure{realPath + ": is not a ledger, and is left as it is"};

  Legacy legacy;
  const std::vector<std::string> elsewhere = state->elsewhere;
  adopt(legacy, std::move(*state), start);
  adoptElsewhere(legacy, elsewhere, realPath, start);
  if (const auto home = adoptHome(legacy, path, realPath, start)) {
    pointFrom(start.home, *home, realPath);
    legacy.elsewhere.clear();  // home keeps them
  }
  std::vector<UnfinishedSource> ownSources = beginSources(legacy, start);

  runId_ = std::to_string(std::time(nullptr)) + "-" + std::to_string(::getpid());
  std::string content = headerLine(start, runId_);
  for (OpenEntry& entry : legacy.open) {
    entry.key = nextKey_++;
    ledger::addEntry(content, ledger::kKept, entry);
    if (entry.insertedId) content += rowLine(entry.key, *entry.insertedId);
  }
  for (const InterruptedRun& run : legacy.cuts) ledger::addCut(content, run);
  for (const std::string& other : legacy.elsewhere) content += pathLine(other);
  for (const UnfinishedSource& source : legacy.unfinished) ledger::addUnfinished(content, source);
  const Result<void> restarted = (*file)->restart(content);
  if (!restarted) return Failure{restarted.error()};

  path_ = realPath;
  database_ = start.database;
  greatestId_ = start.greatestId;
  leftOpen_ = std::move(legacy.open);
  interruptedRuns_ = std::move(legacy.cuts);
  ownSources_ = std::move(ownSources);
  leftToNext_ = leftOpen_.size() + interruptedRuns_.size() + legacy.elsewhere.size() +
                legacy.unfinished.size();
  file_ = std::move(*file);
  return {};
}

std::vector<UnfinishedSource> RunLedger::unfinishedSources(const std::string& path,
                                                           const std::string& home) {
  LedgerStart start;
  start.home = home;
  Legacy legacy;
  Result<LedgerState> state = readLedgerState(path);
  if (state && state->isLedger) {
    const std::vector<std::string> elsewhere = state->elsewhere;
    adopt(legacy, std::move(*state), start);
    adoptElsewhere(legacy, elsewhere, path, start);
  }
  adoptHome(legacy, path, path, start);
  return legacy.unfinished;
}

void RunLedger::forget() {
  file_.reset();
  path_.clear();
  sums_ = {};
  leftOpen_.clear();
  interruptedRuns_.clear();
  ownSources_.clear();
  leftToNext_ = 0;
  unwrittenLines_ = 0;
  greatestId_ = 0;
  nextKey_ = 1;
  openKey_ = 0;
  pending_ = false;
}

void RunLedger::append(std::string_view line) {
  if (file_ && !file_->append(line)) ++unwrittenLines_;
}

void RunLedger::settle(const OpenEntry& entry) {
  append(markLine(ledger::kSettled, entry.key));
  if (leftToNext_ > 0) --leftToNext_;
}

void RunLedger::recordFoundRow(const OpenEntry& entry, std::uint32_t id) {
  append(rowLine(entry.key, id));
}

void RunLedger::settle(const InterruptedRun& run) {
  std::string line(ledger::kUncut);
  ledger::addField(line, run.database);
  ledger::addField(line, std::uint64_t{run.fromId});
  line += '\n';
  append(line);
  if (leftToNext_ > 0) --leftToNext_;
}

void RunLedger::sourcesRead() {
  for (const UnfinishedSource& source : ownSources_) {
    std::string line(ledger::kFinished);
    ledger::addField(line, source.database);
    ledger::addField(line, source.source);
    line += '\n';
    append(line);
    if (leftToNext_ > 0) --leftToNext_;
  }
  ownSources_.clear();
}

void RunLedger::beginMessage(const std::string& path, std::optional<std::uint64_t> offsetBytes) {
  if (pending_) close(LedgerOutcome::failed, "left without an outcome");
  messagePath_ = path;
  messageOffset_ = offsetBytes;
  pending_ = true;
}

void RunLedger::open(const ExpectedRows& mark) {
  openKey_ = nextKey_++;
  openMark_ = mark;
  openRow_.reset();
  if (!file_) return;
  line_.clear();
  ledger::addEntry(line_, ledger::kOpen,
                   {openKey_, database_, messagePath_, messageOffset_, mark, std::nullopt});
  append(line_);
}

void RunLedger::recordRow(std::uint32_t id) {
  greatestId_ = std::max(greatestId_, id);
  if (openKey_ == 0) return;
  openRow_ = id;
  append(rowLine(openKey_, id));
}

std::optional<OpenEntry> RunLedger::suspend() {
  if (openKey_ == 0) return std::nullopt;
  append(markLine(ledger::kLeft, openKey_));
  ++leftToNext_;
  return OpenEntry{
      std::exchange(openKey_, 0), database_, messagePath_, messageOffset_, openMark_, openRow_};
}

void RunLedger::close(LedgerOutcome outcome, std::string_view detail) {
  line_.clear();
  writeOutcome(outcome, detail);
}

void RunLedger::leaveOpen(std::string_view error, bool refused) {
  line_.clear();
  if (openKey_ != 0) {
    line_ = markLine(ledger::kLeft, openKey_);
    if (refused) line_.insert(line_.size() - 1, std::string("\t") + std::string(ledger::kRefused));
    ++leftToNext_;
  }
  writeOutcome(LedgerOutcome::failed, error);
}

void RunLedger::writeOutcome(LedgerOutcome outcome, std::string_view detail) {
  sums_.count(outcome);
  line_ += outcomeName(outcome);
  ledger::addField(line_, detail);
  ledger::addOffset(line_, messageOffset_);
  ledger::addField(line_, messagePath_);
  line_ += '\n';
  append(line_);
  openKey_ = 0;
  pending_ = false;
  if (watcher_) watcher_(outcome, detail, messagePath_);
}

void RunLedger::recordNonMail(const std::string& path, std::string_view reason) {
  writeFile(LedgerOutcome::notMail, path, reason);
}

void RunLedger::recordUnreadable(const std::string& path, std::string_view reason) {
  writeFile(LedgerOutcome::unreadable, path, reason);
}

void RunLedger::recordPostponed(const std::string& path, std::string_view reason) {
  writeFile(LedgerOutcome::postponed, path, reason);
}

void RunLedger::recordUnchanged(const std::string& path) {
  writeFile(LedgerOutcome::unchanged, path, "");
}

void RunLedger::writeFile(LedgerOutcome outcome, const std::string& path, std::string_view reason) {
  sums_.count(outcome);
  std::string line(outcomeName(outcome));
  ledger::addField(line, reason);
  ledger::addOffset(line, std::nullopt);
  ledger::addField(line, path);
  line += '\n';
  append(line);
  if (watcher_) watcher_(outcome, reason, path);
}

void RunLedger::finish(bool serverLost) {
  if (pending_) close(LedgerOutcome::failed, "left without an outcome");
  if (!file_) return;
  std::string lines = ledger::sumsLine(sums_);
  if (!serverLost) {
    lines += ledger::kEnd;
    ledger::addField(lines, runId_);
    ledger::addField(lines, std::uint64_t{leftToNext_ + (file_->hasLinesOfOthers() ? 1U : 0U)});
    lines += '\n';
  }
  append(lines);
  file_.reset();
}

}  // namespace keldane
