#include "app/panels/menu_validation.h"

namespace keldane {

bool validateMenuItem(std::string_view title, const MenuState& state) {
  if (title == "this original email" || title == "all original email in list") {
    return state.origState != 0;
  }
  if (title == "Saved Searches...") return state.listMode == 0;
  if (title == "View Raw Source") return state.selectedRows == 1;
  return true;
}

}  // namespace keldane
