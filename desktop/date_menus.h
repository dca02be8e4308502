#pragma once

#include <array>
#include <string>

class QHBoxLayout;
class QString;
class QWidget;

namespace keldane {

class FormBinding;

/// One of the three menus of a day: its given name and its value, "All" or a number.
struct DateMenu {
  const char* name;
  std::string& value;
};

/// Month, day and year as three menus side by side, bound to their values. `words` is what a screen
/// reader calls them ("First day").
[[nodiscard]] QHBoxLayout* makeDateMenus(FormBinding& form, const QString& words,
                                         const std::array<DateMenu, 3>& monthDayYear,
                                         QWidget* parent);

}  // namespace keldane
