#include "cli/dry_run_report.h"

#include <cstdio>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/run_report.h"

namespace keldane {
namespace {

/// So many lines are shown unasked.
constexpr std::size_t kFew = 20;

/// What the detail of an outcome says, as words.
std::string reasonText(const DryOutcome& outcome) {
  const std::string detail = printable(toUtf8(outcome.detail));
  if (detail.empty()) return {};
  switch (outcome.outcome) {
    case LedgerOutcome::duplicate:
      return detail.find_first_not_of("0123456789") == std::string::npos
                 ? fmt::format(" (of message {})", detail)
                 : fmt::format(" ({})", detail);
    case LedgerOutcome::excluded:
      return fmt::format(" (by rule \"{}\")", detail);
    default:
      return fmt::format(" ({})", detail);
  }
}

std::string lineOf(const DryOutcome& outcome) {
  const bool isNew = outcome.outcome == LedgerOutcome::archived;
  std::string line = fmt::format("{:<10} {}", isNew ? "new" : outcomeName(outcome.outcome),
                                 printable(toUtf8(placeText(outcome))));
  if (outcome.message != nullptr) line += ": " + printable(toUtf8(outcome.message->msgSubject));
  return line + reasonText(outcome) + "\n";
}

void printCount(const char* title, long count) {
  if (count != 0) fmt::print("{}: {}\n", title, count);
}

}  // namespace

std::string placeText(const DryOutcome& outcome) {
  if (!outcome.offsetBytes) return outcome.path;
  return fmt::format("{}, byte {}", outcome.path, *outcome.offsetBytes);
}

nlohmann::ordered_json placeJson(const DryOutcome& outcome) {
  nlohmann::ordered_json place = {{"file", toUtf8(outcome.path)}};
  if (outcome.offsetBytes) place["offset"] = *outcome.offsetBytes;
  if (outcome.message == nullptr) return place;
  place["subject"] = toUtf8(outcome.message->msgSubject);
  place["date"] = isoDate(outcome.message->msgDate);
  return place;
}

void DryRunReport::take(const DryOutcome& outcome) {
  ++taken_;
  if (json_) {
    if (!list_) return;
    nlohmann::ordered_json object = {{"outcome", outcomeName(outcome.outcome)},
                                     {"detail", toUtf8(outcome.detail)}};
    object.update(placeJson(outcome));
    printJson(object);
  } else if (list_) {
    std::fputs(lineOf(outcome).c_str(), stdout);
  } else if (taken_ <= kFew) {
    lines_.push_back(lineOf(outcome));
  }
}

int DryRunReport::finish(const RunReport& report) {
  if (json_) {
    nlohmann::ordered_json summary = runSummaryJson(report);
    summary.erase("leftInFolder");
    summary["dryRun"] = true;
    printJson(summary);
  } else {
    if (taken_ <= kFew) {
      for (const std::string& line : lines_) std::fputs(line.c_str(), stdout);
    }
    printSums(report);
  }
  std::fflush(stdout);
  tellMissingFolders(report);
  const std::string& stop = report.lostServer.empty() ? report.stoppedBy : report.lostServer;
  if (!stop.empty()) return program_.fail("not all was read: " + stop);
  if (report.interrupted) return kExitInterrupted;
  if (report.sums.failed == 0 && report.sums.unreadable == 0) return kExitDone;
  return program_.fail(fmt::format("{} could not be read or would not be stored; --list tells why",
                                   report.sums.failed + report.sums.unreadable));
}

void DryRunReport::printSums(const RunReport& report) const {
  const LedgerSums& sums = report.sums;
  fmt::print("Messages read: {}\nWould be archived: {}\n", sums.met, sums.archived);
  if (report.differing > 0) {
    fmt::print("  of these {} differ from a message with the same date, sender and receivers\n",
               report.differing);
  }
  fmt::print("Duplicates: {}\n", sums.duplicates);
  printCount("Would be kept out by rules", sums.excluded);
  printCount("Would be left out", sums.dropped);
  if (report.outsideRange > 0) {
    fmt::print("  of these {} lie outside the days of this run; --from and --to name others\n",
               report.outsideRange);
  }
  printCount("Would fail", sums.failed);
  printCount("Marked as deleted", sums.markedDeleted);
  printCount("Unreadable", sums.unreadable);
  printCount("Not mail", sums.notMail);
  printCount("Would be postponed", sums.postponed);
  if (sums.unchanged > 0) {
    fmt::print("Unchanged: {} file{}\n", sums.unchanged, sums.unchanged == 1 ? "" : "s");
  }
  if (report.interrupted) fmt::print("It was interrupted before all was read.\n");
  if (taken_ > kFew && !list_) fmt::print("--list shows what would become of each.\n");
  fmt::print("Nothing has been written.\n");
}

}  // namespace keldane
