#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What stands in a ledger, as values: shared by the rooms that write, read and show it.
namespace keldane {

/// What became of a message, or of a whole file: the last three are said of files and folders.
enum class LedgerOutcome {
  archived,
  duplicate,
  excluded,
  dropped,
  failed,
  notMail,
  unreadable,  ///< a file or folder that could not be read
  postponed,   ///< a file that was being written; the next run reads it
};

/// Whether the outcome is that of a file or folder, which counts as no message.
[[nodiscard]] constexpr bool isOfFile(LedgerOutcome outcome) {
  return outcome >= LedgerOutcome::notMail;
}

/// What a message's rows would hold, as far as it is needed to find its row again after a run was
/// cut off, and to tell whether it is whole.
struct ExpectedRows {
  std::string fingerprint;    ///< of the values of the insert statement, see message_fingerprint.h
  std::uint32_t afterId = 0;  ///< greatest id known before the insert
  std::string msgDate;        ///< as in the insert statement, to find candidates by index
  bool withSource = true;     ///< a row of `origemail` belongs to it
  std::size_t headingsBytes = 0;
  std::size_t partCount = 0;  ///< rows of `attachments` that it asks for
  std::size_t attachNamesBytes = 0;
  std::size_t attachTextBytes = 0;
  /// Which run it is that tries to store the message, those not counted in which the server only
  /// refused something and did not go.
  unsigned attempt = 1;
  bool operator==(const ExpectedRows&) const = default;
};

/// A message whose storing was begun and whose end is not known.
struct OpenEntry {
  std::uint64_t key = 0;  ///< names the entry within its ledger
  std::string database;
  std::string path;
  std::optional<std::uint64_t> offsetBytes;
  ExpectedRows mark;
  std::optional<std::uint32_t> insertedId;
};

/// An earlier run without an orderly end, as far as its ledger tells. When the machine itself went
/// down, the ledger's last lines may be missing although the server kept the rows.
struct InterruptedRun {
  std::string database;
  std::uint32_t fromId = 0;                  ///< greatest id before that run
  std::uint32_t lastClosedId = 0;            ///< greatest id whose line was closed
  std::uint32_t toId = 0;                    ///< greatest id found after it; 0: not yet known
  std::vector<std::uint32_t> sourcelessIds;  ///< rows that its ledger closed without a source
  bool operator==(const InterruptedRun&) const = default;
};

/// A source (an account, a mailbox, the import folder) that a run has begun to read and not yet
/// come to the end of, with the limits of the dates that the run was to take in.
struct UnfinishedSource {
  std::string database;
  std::string source;
  std::string from;  ///< "YYYY-MM-DD 00:00:00", as is `to`
  std::string to;
  std::string startedAt;  ///< of the first run that did not come to its end
  bool operator==(const UnfinishedSource&) const = default;
};

struct LedgerSums {
  long met = 0;  ///< messages met; always the sum of the five below
  long archived = 0;
  long duplicates = 0;
  long excluded = 0;
  long dropped = 0;
  long failed = 0;
  long notMail = 0;  ///< files, not messages, as are the two below
  long unreadable = 0;
  long postponed = 0;

  void count(LedgerOutcome outcome);
};

/// Word of an outcome as it stands in the file: "archived", "duplicate", "excluded", "dropped",
/// "failed", "not-mail", "unreadable", "postponed".
[[nodiscard]] std::string_view outcomeName(LedgerOutcome outcome);
[[nodiscard]] std::optional<LedgerOutcome> findOutcome(std::string_view name);

}  // namespace keldane
