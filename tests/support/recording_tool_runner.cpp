#include "tests/support/recording_tool_runner.h"

#include <utility>

namespace keldane {
namespace {

constexpr int kFirstProcessId = 4000;

}  // namespace

Result<ToolOutcome> RecordingToolRunner::run(const ToolCall& call) {
  calls.push_back(call);
  detached_.push_back(false);
  if (missing.count(call.program) != 0) return Failure{"cannot start " + call.program};
  if (answer) return answer(call);
  if (outcomes.empty()) return ToolOutcome{};
  ToolOutcome outcome = std::move(outcomes.front());
  outcomes.pop_front();
  return outcome;
}

Result<int> RecordingToolRunner::startDetached(const ToolCall& call, const std::string& logPath) {
  calls.push_back(call);
  detached_.push_back(true);
  if (missing.count(call.program) != 0) return Failure{"cannot start " + call.program};
  logPaths.push_back(logPath);
  return kFirstProcessId + static_cast<int>(logPaths.size());
}

std::vector<std::string> RecordingToolRunner::lines() const {
  std::vector<std::string> found;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    std::string line = detached_[i] ? "detached " : "";
    line += calls[i].program;
    for (const std::string& argument : calls[i].arguments) line += " " + argument;
    found.push_back(std::move(line));
  }
  return found;
}

}  // namespace keldane
