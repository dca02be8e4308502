#pragma once

#include <string>

#include "platform/process_state.h"

namespace keldane {

/// Finds the newest layout of the mail client's store below the home folder (V10 down to V2) and
/// sets `mailRootSuffix` and the matching flag. A flag set by an earlier probe stays.
void probeMailStore(ProcessState& process);

/// Version folder of the newest layout whose flag is set, such as "/V10"; empty when none is.
[[nodiscard]] std::string versionFolder(const ProcessState& process);

}  // namespace keldane
