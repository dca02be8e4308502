#pragma once

#include <string>

#include "base/result.h"

namespace keldane {

/// Hands a schedule to the system's own scheduler, and takes it back.
class ScheduleAgent {
 public:
  virtual ~ScheduleAgent() = default;
  /// `agentPath` is the agent file that has just been written.
  [[nodiscard]] virtual Result<void> load(const std::string& agentPath) = 0;
  [[nodiscard]] virtual Result<void> unload(const std::string& agentPath) = 0;
};

}  // namespace keldane
