#pragma once

#include <nlohmann/json.hpp>

#include "ingest/archive_run.h"

/// What a command tells of an archive run that has ended.
namespace keldane {

/// The summary as lines on standard output.
void printRunSummary(const RunReport& report);
[[nodiscard]] nlohmann::ordered_json runSummaryJson(const RunReport& report);

/// Tells on standard error what the run could not read or store. False when there was any of it.
[[nodiscard]] bool reportRunProblems(const ArchiveRun& run);

}  // namespace keldane
