#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/result.h"
#include "verify/archive_fault.h"

namespace keldane {

/// What checks have found in an archive so far.
struct CheckCounts {
  std::uint64_t messages = 0;
  std::uint64_t exact = 0;  ///< give back the very bytes that were read, proved
  std::uint64_t bare = 0;   ///< without a source by right
  std::array<std::uint64_t, kFaultKinds> faults{};
  std::array<std::uint64_t, kFaultKinds> mended{};

  [[nodiscard]] std::uint64_t allFaults() const;
  [[nodiscard]] std::uint64_t allMended() const;
};

/// A check that was begun, or that has come to its end.
struct CheckMark {
  std::string when;  ///< "YYYY-MM-DD HH:MM:SS", local time: of its begin, or its end
  bool repairs = false;
  std::uint32_t lastId = 0;  ///< all messages up to it have been looked at
  CheckCounts counts;
};

/// The private file that remembers the checks of one archive, so that one that was interrupted goes
/// on, and that it is known when the last one was. Nothing is lost with it.
struct CheckMarks {
  std::optional<CheckMark> going;
  std::optional<CheckMark> last;

  /// A file that is missing or damaged remembers nothing.
  [[nodiscard]] static CheckMarks load(const std::string& path);
  [[nodiscard]] Result<void> save(const std::string& path) const;
};

/// Where it lies, for an archive of this identity (find/index_catch_up).
[[nodiscard]] std::string checkMarkPath(const std::string& supportFolder,
                                        const std::string& identity);

}  // namespace keldane
