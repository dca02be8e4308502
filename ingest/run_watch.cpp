#include "ingest/run_watch.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "ingest/reading/message_date.h"

namespace keldane {
namespace {

// Numbers of the server's errors.
constexpr std::array<unsigned, 2> kDiskFull = {1021, 1114};
/// Failures of the system below, which name its own number: 28 is "no space left".
constexpr std::array<unsigned, 3> kSystemFailure = {3, 1026, 1030};
constexpr std::array<unsigned, 2> kReadOnly = {1290, 1836};
constexpr std::array<unsigned, 6> kServerGone = {1053, 1927, 2002, 2003, 2006, 2013};

template <std::size_t kSize>
bool isOneOf(unsigned number, const std::array<unsigned, kSize>& numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

bool saysNoSpace(std::string_view text) {
  return holds(text, "error 28") || holds(text, "errno: 28") || holds(text, "Errcode: 28");
}

/// The reason that stands in the ledger, without the row that it is about.
std::string_view serverWords(std::string_view detail) {
  if (!detail.starts_with("row ")) return detail;
  const std::size_t colon = detail.find(": ");
  return colon == std::string_view::npos ? detail : detail.substr(colon + 2);
}

// Only what the server itself begins with: it quotes text of messages further on.
bool tellsOfFullDisk(std::string_view words) {
  return (words.starts_with("The table '") && words.ends_with("' is full")) ||
         words.starts_with("Disk full") || words.starts_with("Got error 28 ") ||
         (words.starts_with("Error writing file") && saysNoSpace(words));
}

}  // namespace

std::optional<StopReason> lastingFailure(unsigned number, std::string_view text,
                                         std::string_view detail) {
  const std::string reason = printable(text.empty() ? detail : text);
  if (isOneOf(number, kServerGone) || isLostConnection(text) || isLostConnection(detail)) {
    return StopReason{true, reason};
  }
  // The end of a prepared statement clears the number and the text; the ledger's reason stays.
  if (isOneOf(number, kDiskFull) || (isOneOf(number, kSystemFailure) && saysNoSpace(text)) ||
      tellsOfFullDisk(serverWords(detail))) {
    return StopReason{false, "there is no room left on the disk of the server: " + reason};
  }
  if (isOneOf(number, kReadOnly)) {
    return StopReason{false, "the server takes no changes: " + reason};
  }
  return std::nullopt;
}

RunWatch::RunWatch(ServerSession& session, RunLedger& ledger, Progress& progress)
    : session_(session), ledger_(ledger), progress_(progress) {
  ledger_.watch([this](LedgerOutcome outcome, std::string_view detail, const std::string& path) {
    take(outcome, detail);
    if (tell) tell(outcome, detail, path);
  });
}

RunWatch::~RunWatch() { ledger_.watch({}); }

void RunWatch::reset() {
  folder_ = nullptr;
  known_ = nullptr;
  stopped_ = false;
  stopReason_.reset();
  differing_ = noMessages_ = outsideRange_ = notChosen_ = 0;
  files_ = filesRead_ = 0;
}

void RunWatch::beginWalk(std::size_t files, ImportFolder* folder, KnownFiles* known) {
  folder_ = folder;
  known_ = known;
  files_ = files;
  filesRead_ = 0;
}

void RunWatch::beginFile(std::uint64_t sizeBytes) { fileBytes_ = sizeBytes; }

void RunWatch::endFile() {
  ++filesRead_;
  fileBytes_ = 0;
  showProgress();
}

void RunWatch::take(LedgerOutcome outcome, std::string_view detail) {
  if (folder_ != nullptr) folder_->outcome(outcome, detail);
  if (known_ != nullptr) known_->take(outcome);
  if (outcome == LedgerOutcome::archived && holds(detail, "differs from")) ++differing_;
  if (outcome == LedgerOutcome::dropped &&
      (detail.starts_with("not a mail message") || detail.starts_with("no sender, recipients"))) {
    ++noMessages_;
  }
  if (outcome == LedgerOutcome::dropped && detail == drop::kOutsideRange) ++outsideRange_;
  if (outcome == LedgerOutcome::failed && !stopped_) {
    stopReason_ = lastingFailure(session_.errorNumber(), session_.error(), detail);
    stopped_ = stopReason_.has_value();
  }
  showProgress();
}

void RunWatch::showProgress() {
  if (files_ == 0) return;
  ReadingProgress progress;
  progress.files = filesRead_;
  progress.allFiles = files_;
  progress.messages = ledger_.sums().met;
  auto share = static_cast<double>(filesRead_);
  // Within a file of many messages, its offset tells how far it has been read.
  if (fileBytes_ > 0 && ledger_.offsetBytes()) {
    share += std::min(
        1.0, static_cast<double>(*ledger_.offsetBytes()) / static_cast<double>(fileBytes_));
  }
  progress.share = share / static_cast<double>(files_);
  progress_.reading(progress, "");
}

}  // namespace keldane
