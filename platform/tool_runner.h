#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/result.h"

namespace keldane {

/// A program to run. Arguments are passed as they are: no shell is involved.
struct ToolCall {
  std::string program;  ///< path, or a name to be found on the PATH
  std::vector<std::string> arguments;
  std::string folder;  ///< working folder; empty: the present one
  std::string input;   ///< given to the program's standard input
  /// Gives what follows `input`, piece by piece as the program takes it. A piece that fails ends
  /// the program, and the run fails with its words. May be empty.
  PieceReader nextInput = {};
  /// Takes the output piece by piece, in place of `ToolOutcome::output`. False ends the program.
  /// May be empty.
  std::function<bool(std::string_view piece)> takeOutput = {};
  /// Asked many times a second; true ends the program. May be empty.
  std::function<bool()> cancelled = {};
};

struct ToolOutcome {
  int exitStatus = 0;  ///< 128 + signal when a signal ended it
  std::string output;
  std::string errorText;
};

/// Runs other programs of the machine.
class ToolRunner {
 public:
  virtual ~ToolRunner() = default;
  /// Runs it to its end. Fails when it cannot be started.
  [[nodiscard]] virtual Result<ToolOutcome> run(const ToolCall& call) = 0;
  /// Starts it in a session of its own and does not wait; its output goes to `logPath` (appended).
  /// Takes no input. Returns its process id; it stays a child of this process, so its end is
  /// learned by waiting for it.
  [[nodiscard]] virtual Result<int> startDetached(const ToolCall& call,
                                                  const std::string& logPath) = 0;
};

}  // namespace keldane
