#pragma once

#include <QKeySequence>
#include <QString>
#include <functional>
#include <string>
#include <vector>

namespace keldane {

/// The menus of the main window, in their order.
enum class Menu { archive, edit, search, view, message, window, help };

/// Something that the user can have done: a menu item and, when `tool` names it, a button of the
/// toolbar. Menus and toolbar are made of the list that `windowCommands` answers.
struct Command {
  const char* name;  ///< object name of its action
  Menu menu;
  QString title;
  std::function<void()> run;
  QKeySequence shortcut = {};
  QString tool = {};  ///< words in the toolbar; empty: not there
  /// Whether it can be chosen now; empty: always.
  std::function<bool()> enabled = {};
  /// Of an item that is on or off; empty: it is none.
  std::function<bool()> checked = {};
  bool beginsGroup = false;  ///< a line stands above it in the menu
  QString submenu = {};      ///< words of the menu within its menu where it stands; empty: none
};

}  // namespace keldane
