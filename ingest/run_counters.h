#pragma once

#include <atomic>
#include <cstdint>

namespace keldane {

/// Counters of one run. The worker writes them; the main thread reads `processedCount` to know
/// whether a run is under way, hence the atomics.
struct RunCounters {
  std::atomic<int> processedCount = 0;
  std::atomic<int> archivedCount = 0;
  std::atomic<int> duplicateCount = 0;
  std::atomic<int> progressCount = 0;
  int parsedCount = 0;
  int invalidCount = 0;
  std::uint32_t firstStoredId = 9999999;
  std::uint32_t lastStoredId = 0;
  std::uint32_t lastInsertId = 0;  ///< newest id of the process; never reset
};

}  // namespace keldane
