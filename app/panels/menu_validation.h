#pragma once

#include <cstddef>
#include <string_view>

namespace keldane {

/// What the menu items of the main window depend on.
struct MenuState {
  int origState = 1;             ///< raw sources are kept
  int listMode = 0;              ///< the next search runs inside the list
  std::size_t selectedRows = 0;  ///< of the result list
};

/// Whether the menu item of this title can be chosen; items that depend on nothing always can.
[[nodiscard]] bool validateMenuItem(std::string_view title, const MenuState& state);

}  // namespace keldane
