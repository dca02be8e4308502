#pragma once

#include <vector>

#include "desktop/command.h"

namespace keldane {

class KeldaneController;
class MainWindow;

/// What is done with messages: answer, tag, save, print, delete; and what is carried to other
/// programs and back. Behind the other commands of their menus.
void addOutputCommands(std::vector<Command>& list, KeldaneController& controller,
                       MainWindow& window);

}  // namespace keldane
