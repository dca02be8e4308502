#pragma once

#include "cli/command_line.h"

namespace keldane {

class Program;

/// `keldane sources find`: what mail lies on this machine.
[[nodiscard]] Command sourcesFindCommand(Program& program);

}  // namespace keldane
