#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/result.h"

namespace keldane {

/// A moment at which a scheduled run starts.
struct ScheduleTime {
  int weekday = 0;  ///< 1 Monday to 7 Sunday; 0: every day
  int hour = 0;
  int minute = 0;
  bool operator==(const ScheduleTime&) const = default;
};

/// A schedule as the system's scheduler is to have it.
struct ScheduledStart {
  std::string agentPath;            ///< the agent file, written already
  std::string program;              ///< absolute path; started with the one argument "1"
  std::vector<ScheduleTime> times;  ///< may be empty: never
};

/// What the system's scheduler has been given.
struct InstalledSchedule {
  /// As its own file tells; nullopt: it reads the agent file and has none of its own.
  std::optional<std::vector<ScheduleTime>> times;
  /// Whether the scheduler runs by it; a failure tells why not.
  Result<void> running;
};

/// Hands a schedule to the system's own scheduler, and takes it back. Main thread.
class ScheduleAgent {
 public:
  virtual ~ScheduleAgent() = default;
  /// Puts it in the place of the one before. Fails, with what the user can do, when the system's
  /// scheduler could not be told; what was written for it stays.
  [[nodiscard]] virtual Result<void> load(const ScheduledStart& start) = 0;
  /// Takes it back; nothing to take back is no failure.
  [[nodiscard]] virtual Result<void> unload() = 0;
  /// Asked only where there is an agent file.
  [[nodiscard]] virtual InstalledSchedule installed() = 0;
};

}  // namespace keldane
