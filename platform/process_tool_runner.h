#pragma once

#include "platform/tool_runner.h"

namespace keldane {

/// Child processes of this system.
class ProcessToolRunner : public ToolRunner {
 public:
  [[nodiscard]] Result<ToolOutcome> run(const ToolCall& call) override;
  [[nodiscard]] Result<int> startDetached(const ToolCall& call,
                                          const std::string& logPath) override;
};

}  // namespace keldane
