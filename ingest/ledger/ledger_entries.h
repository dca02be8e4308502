#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What stands in a ledger, as values: shared by the rooms that write, read and show it.
namespace keldane {

/// What became of a message, or of a whole file: the last four are said of files and folders.
enum class LedgerOutcome {
  archived,
  duplicate,
  excluded,
  dropped,
  failed,
  markedDeleted,  ///< by its mail program, which has not taken it away yet
  notMail,
  unreadable,  ///< a file or folder that could not be read
  postponed,   ///< a file that was being written; the next run reads it
  unchanged,   ///< a file that lies there as it did when all of it came into the archive
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
  long met = 0;  ///< messages met; always the sum of the six below
  long archived = 0;
  long duplicates = 0;
  long excluded = 0;
  long dropped = 0;
  long failed = 0;
  long markedDeleted = 0;
  long notMail = 0;  ///< files, not messages, as are the three below
  long unreadable = 0;
  long postponed = 0;
  long unchanged = 0;

  void count(LedgerOutcome outcome);
};

/// Word of an outcome as it stands in the file: "archived", "duplicate", "excluded", "dropped",
/// "failed", "marked-deleted", "not-mail", "unreadable", "postponed", "unchanged".
[[nodiscard]] std::string_view outcomeName(LedgerOutcome outcome);
[[nodiscard]] std::optional<LedgerOutcome> findOutcome(std::string_view name);

}  // namespace keldane

/// The lines of a ledger. Lines for the eye are "outcome, detail, offset, path"; lines for the
/// program begin with "#". Fields stand between tabs, and a field never holds a control character.
///
///   #ledger  1  run  started  greatest-id  database
///   #kept    key  database  offset  mark...  path     an open entry of an earlier run
///   #cut     database  from  last-closed  to  ids     an earlier run without an end
///   #open    key  database  offset  mark...  path     storing begins
///   #row     key  id                                  its row has been made
///   archived 17  -  /mail/1.emlx                      storing has ended
///   #left    key  [refused]                           the next outcome leaves the entry open; a
///                                                     refused statement is no lost server
///   #settled key                                      an open entry has been dealt with
///   #uncut   database  from                           so has a run without an end
///   #elsewhere  path                                  another run keeps its ledger there
///   #unfinished  database  from  to  started  source  reading it has begun
///   #finished  database  source                       and has come to its end
///   #sums    met=1 archived=1 ...
///   #end     run  how many of the above the next run has to see to
namespace keldane::ledger {

inline constexpr std::string_view kHeader = "#ledger\t1\t";
inline constexpr std::string_view kKept = "#kept";
inline constexpr std::string_view kCut = "#cut";
inline constexpr std::string_view kOpen = "#open";
inline constexpr std::string_view kRow = "#row";
inline constexpr std::string_view kLeft = "#left";
inline constexpr std::string_view kRefused = "refused";
inline constexpr std::string_view kSettled = "#settled";
inline constexpr std::string_view kUncut = "#uncut";
inline constexpr std::string_view kElsewhere = "#elsewhere";
inline constexpr std::string_view kUnfinished = "#unfinished";
inline constexpr std::string_view kFinished = "#finished";
inline constexpr std::string_view kSums = "#sums";
inline constexpr std::string_view kEnd = "#end";

/// Appends a tab and the field: control characters and backslashes as escapes, other bytes as they
/// are.
void addField(std::string& line, std::string_view value);
void addField(std::string& line, std::uint64_t value);
void addOffset(std::string& line, const std::optional<std::uint64_t>& offset);

/// Fields of a line without its line end, still escaped.
[[nodiscard]] std::vector<std::string_view> fieldsOf(std::string_view line);
[[nodiscard]] std::string unescapeField(std::string_view field);
/// The whole field as a decimal number.
[[nodiscard]] std::optional<std::uint64_t> numberOf(std::string_view field);

/// A whole line, line end included. `word` is kOpen or kKept.
void addEntry(std::string& out, std::string_view word, const OpenEntry& entry);
[[nodiscard]] std::optional<OpenEntry> parseEntry(const std::vector<std::string_view>& fields);
void addCut(std::string& out, const InterruptedRun& run);
[[nodiscard]] std::optional<InterruptedRun> parseCut(const std::vector<std::string_view>& fields);
void addUnfinished(std::string& out, const UnfinishedSource& source);
[[nodiscard]] std::optional<UnfinishedSource> parseUnfinished(
    const std::vector<std::string_view>& fields);
[[nodiscard]] std::string sumsLine(const LedgerSums& sums);

}  // namespace keldane::ledger
