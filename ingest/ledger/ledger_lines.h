#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ingest/ledger/ledger_entries.h"

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
