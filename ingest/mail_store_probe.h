#pragma once

#include "app/process_state.h"

namespace keldane {

/// Finds the newest layout of the mail client's store below the home folder (V10 down to V2) and
/// sets `mailRootSuffix` and the matching flag. A flag set by an earlier probe stays.
void probeMailStore(ProcessState& process);

}  // namespace keldane
