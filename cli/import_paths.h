#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/standard_input.h"

namespace keldane {

class Program;

/// Absolute paths of what is to be imported, with "-" as the file that `input` then holds. Empty,
/// and a message, when one of them is not there.
[[nodiscard]] std::vector<std::string> importPaths(const std::vector<std::string>& paths,
                                                   std::unique_ptr<StandardInputFile>& input,
                                                   Program& program);

}  // namespace keldane
