#pragma once

#include "app/user_interface.h"
#include "archive/fault.h"
#include "platform/process_state.h"

namespace keldane {

/// The critical alert that tells of a fault.
[[nodiscard]] Alert alertOf(const Fault& fault);

/// Shows one alert after the other. Nobody is there to answer those about the settings in an
/// unattended run: they go to standard error.
void showFaults(const Faults& faults, const ProcessState& process, UserInterface& ui);

}  // namespace keldane
