#pragma once

#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/tool_runner.h"

namespace keldane {

/// Runs nothing: writes the calls down and gives the answers that a test has laid out.
class RecordingToolRunner : public ToolRunner {
 public:
  [[nodiscard]] Result<ToolOutcome> run(const ToolCall& call) override;
  [[nodiscard]] Result<int> startDetached(const ToolCall& call,
                                          const std::string& logPath) override;

  /// The calls as lines: program and arguments, parted by blanks; "detached " before it where so.
  [[nodiscard]] std::vector<std::string> lines() const;

  std::vector<ToolCall> calls;
  std::vector<std::string> logPaths;  ///< of the detached calls
  /// Answers in order of the calls; a success without output when none is left.
  std::deque<ToolOutcome> outcomes;
  /// Decides instead of `outcomes` when it is set.
  std::function<Result<ToolOutcome>(const ToolCall&)> answer;
  /// Programs that cannot be started.
  std::set<std::string> missing;

 private:
  std::vector<bool> detached_;
};

}  // namespace keldane
