#pragma once

#include <vector>

#include "desktop/command.h"

namespace keldane {

class KeldaneController;
class MainWindow;

/// All commands, in the order of their menus.
[[nodiscard]] std::vector<Command> windowCommands(KeldaneController& controller,
                                                  MainWindow& window);

}  // namespace keldane
