#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "base/result.h"

namespace keldane {

/// Another program that is given foreign bytes to work on, and what it may use up.
struct LimitedCall {
  std::string program;  ///< a name to be found on the PATH
  std::vector<std::string> arguments;
  std::string folder;  ///< working folder, home and temporary folder of the program
  int seconds = 10;
  std::size_t memoryBytes = std::size_t{256} << 20U;
  std::size_t outputBytes = std::size_t{4} << 20U;
};

struct LimitedOutcome {
  std::string output;
  bool isCut = false;  ///< it had more to say than it may
};

/// Runs a program in a process group of its own, with no file of ours open but its output, a bare
/// environment, and where the system allows it no network. All of the group is ended when this
/// returns. Fails when the program is not there, ends with an error or by a signal, or takes too
/// long; the text says which. Blocks; for any thread.
[[nodiscard]] Result<LimitedOutcome> runLimited(const LimitedCall& call);

}  // namespace keldane
