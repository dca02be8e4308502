#include "cli/run_report.h"

#include <cstdio>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/database_words.h"
#include "ingest/ledger/ledger_reader.h"

namespace keldane {
namespace {

/// More are counted and not named; the ledger has them all.
constexpr long kMostNamed = 20;
constexpr std::size_t kMostLeftNamed = 10;

void printCount(const char* name, long count, const char* only) {
  if (count == 0) return;
  fmt::print("{}: {} (see keldane logs ledger --only {})\n", name, count, only);
}

void tell(const std::string& message) { std::fprintf(stderr, "keldane: %s\n", message.c_str()); }

bool hasLeft(const LeftInFolder& left) { return left.count > 0 || !left.reason.empty(); }

/// "notes.zip: zip archive; box: came during the run; ..."
std::string leftText(const LeftInFolder& left) {
  if (!left.reason.empty()) return "everything (" + printable(left.reason) + ")";
  std::string text = std::to_string(left.count) + " (";
  const std::size_t named = std::min(left.entries.size(), kMostLeftNamed);
  for (std::size_t i = 0; i < named; ++i) {
    if (i > 0) text += "; ";
    text += printable(left.entries[i].name) + ": " + printable(left.entries[i].reason);
  }
  if (left.count > named) text += fmt::format("; and {} more", left.count - named);
  return text + ")";
}

nlohmann::ordered_json leftJson(const LeftInFolder& left) {
  nlohmann::ordered_json entries = nlohmann::ordered_json::array();
  for (const LeftInFolder::Entry& entry : left.entries) {
    entries.push_back({{"name", toUtf8(entry.name)}, {"reason", toUtf8(entry.reason)}});
  }
  return {{"count", left.count}, {"entries", entries}, {"reason", toUtf8(left.reason)}};
}

void tellUnreadable(const std::string& ledgerPath) {
  long told = 0;
  const auto read = forEachLedgerLine(ledgerPath, [&](const LedgerLine& line) {
    if (line.outcome != LedgerOutcome::unreadable || ++told > kMostNamed) return;
    tell(fmt::format("cannot be read: {}: {}", printable(toUtf8(line.path)),
                     printable(toUtf8(line.detail))));
  });
  if (!read) tell(read.error());
  if (told > kMostNamed) {
    tell(
        fmt::format("and {} more that cannot be read; `keldane logs ledger --only "
                    "unreadable` tells which",
                    told - kMostNamed));
  }
}

}  // namespace

void printRunSummary(const RunReport& report) {
  const LedgerSums& sums = report.sums;
  fmt::print("Messages read: {}\nArchived: {}\n", sums.met, sums.archived);
  if (report.differing > 0) {
    fmt::print("  of these {} differ from a message with the same date, sender and receivers\n",
               report.differing);
  }
  fmt::print("Duplicates: {}\n", sums.duplicates);
  printCount("Kept out by rules", sums.excluded, "excluded");
  printCount("Left out", sums.dropped, "dropped");
  if (report.outsideRange > 0) {
    fmt::print("  of these {} lie outside the days of this run; --from and --to name others\n",
               report.outsideRange);
  }
  printCount("Failed", sums.failed, "failed");
  if (sums.markedDeleted > 0) {
    fmt::print("Marked as deleted: {} (left out; archive --with-deleted takes them)\n",
               sums.markedDeleted);
  }
  printCount("Unreadable", sums.unreadable, "unreadable");
  printCount("Not chosen", report.notChosen, "not-mail");
  printCount("Not mail", sums.notMail - report.notChosen, "not-mail");
  if (sums.postponed > 0) {
    fmt::print("Postponed: {} (will be read by the next run)\n", sums.postponed);
  }
  if (sums.unchanged > 0) {
    fmt::print("Unchanged: {} file{}\n", sums.unchanged, sums.unchanged == 1 ? "" : "s");
  }
  if (hasLeft(report.left)) fmt::print("Left in the import folder: {}\n", leftText(report.left));
  if (report.interrupted) {
    fmt::print("The run was interrupted before all was read.\n");
  } else if (sums.met == report.noMessages && sums.unchanged == 0) {
    fmt::print("No mail was found.\n");
  }
}

nlohmann::ordered_json runSummaryJson(const RunReport& report) {
  const LedgerSums& sums = report.sums;
  nlohmann::ordered_json missing = nlohmann::ordered_json::array();
  for (const MailFolder& folder : report.missingFolders) missing.push_back(folder.path);
  return {{"processed", report.totals.processed},
          {"archived", sums.archived},
          {"duplicates", sums.duplicates},
          {"differing", report.differing},
          {"outsideRange", report.outsideRange},
          {"notChosen", report.notChosen},
          {"interrupted", report.interrupted},
          {"stoppedBy", toUtf8(report.stoppedBy)},
          {"ledger",
           {{"met", sums.met},
            {"archived", sums.archived},
            {"duplicates", sums.duplicates},
            {"excluded", sums.excluded},
            {"dropped", sums.dropped},
            {"failed", sums.failed},
            {"markedDeleted", sums.markedDeleted},
            {"notMail", sums.notMail},
            {"unreadable", sums.unreadable},
            {"postponed", sums.postponed},
            {"unchanged", sums.unchanged}}},
          {"leftInFolder", leftJson(report.left)},
          {"missingFolders", missing}};
}

void tellMissingFolders(const RunReport& report) {
  for (const MailFolder& folder : report.missingFolders) {
    tell(fmt::format("the source \"{}\" is not there at the moment: {}", printable(folder.name),
                     printable(folder.path)));
  }
}

bool reportRunProblems(const RunReport& report) {
  tellMissingFolders(report);
  if (report.sums.unreadable > 0) tellUnreadable(report.ledgerPath);
  if (!report.lostServer.empty()) {
    tell(fmt::format(
        "the server went away during the run: {}\nWhat was stored before is safe. Run the same "
        "command again: it goes on where this run was cut off.",
        printable(report.lostServer)));
  } else if (!report.stoppedBy.empty()) {
    tell(fmt::format(
        "the run has been stopped: {}\nWhat was stored before is safe. When the server can store "
        "again, run the same command again: it goes on where this run was cut off.",
        report.stoppedBy));
  } else if (report.sums.failed != 0) {
    tell(
        fmt::format("{} message{} could not be stored; `keldane logs ledger --only failed` tells "
                    "which and why",
                    report.sums.failed, report.sums.failed == 1 ? "" : "s"));
  }
  return report.sums.unreadable == 0 && report.sums.failed == 0 && report.stoppedBy.empty() &&
         report.lostServer.empty();
}

void tellNotStarted(const NotStarted& failure) {
  switch (failure.reason) {
    case NotStarted::Reason::noMailboxes:
      return tell(std::string(kNoMailboxWords));
    case NotStarted::Reason::noAccounts:
      return tell(std::string(kNoAccountWords));
    case NotStarted::Reason::sqlError:
      return tell(databaseSentence("SQL error: " + printable(failure.text)));
    case NotStarted::Reason::noLedger:
      return tell("The run has not been started, because its ledger cannot be kept. " +
                  printable(failure.text));
    case NotStarted::Reason::isRunning:
    case NotStarted::Reason::noDatabase:
      return;
  }
}

}  // namespace keldane
