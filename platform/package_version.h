#pragma once

#include <string>

#include "base/result.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The version of this program that the package sources offer in place of the given one; empty when
/// none is newer. Fails where the package sources do not know the program. Any thread, with a
/// runner of its own.
[[nodiscard]] Result<std::string> newerPackage(ToolRunner& tools, const std::string& version);

}  // namespace keldane
