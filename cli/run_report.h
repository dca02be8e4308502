#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

#include "ingest/archive_run.h"

/// What a command tells of an archive run that has ended.
namespace keldane {

/// The summary as lines on standard output.
void printRunSummary(const RunReport& report);
[[nodiscard]] nlohmann::ordered_json runSummaryJson(const RunReport& report);

/// Tells on standard error which of the folders that are kept were not there.
void tellMissingFolders(const RunReport& report);
/// Tells on standard error what the run could not read or store. False when there was any of it;
/// a folder that is not there at the moment is none.
[[nodiscard]] bool reportRunProblems(const RunReport& report);
/// Tells on standard error why a run has not been started, where nobody has done so yet.
void tellNotStarted(const NotStarted& failure);

inline constexpr std::string_view kNoAccountWords =
    "no account is chosen; `keldane sources list` shows them and `keldane sources choose NAME` "
    "chooses, `keldane sources add PATH` keeps a folder, or name what to archive: `keldane archive "
    "PATH`";
inline constexpr std::string_view kNoMailboxWords =
    "no mailbox is chosen; `keldane sources list --mailboxes` shows them and `keldane sources "
    "choose --mailboxes NAME` chooses, or name what to archive: `keldane archive PATH`";
inline constexpr std::string_view kTooLargeWords =
    "a message is larger than the database server takes and has been left out; `keldane logs "
    "ledger --only dropped` names it";

}  // namespace keldane
