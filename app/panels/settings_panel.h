#pragma once

#include <functional>
#include <string>

#include "app/archiver.h"
#include "app/panels/source_chooser.h"
#include "app/user_interface.h"

namespace keldane {

/// How `settingsPanel` looks: which view stands in it, and how it may be resized.
struct SettingsWindow {
  std::string view = "generalView";
  std::string title = "General";
  bool resizable = false;  ///< and shows its resize indicator
  float resizeIncrement = 1.0F;
  int minimumWidth = 0;  ///< 0: none
  int minimumHeight = 0;
};

/// The settings window: `settingsPanel` and the menu items that go with it.
class SettingsPanel {
 public:
  SettingsPanel(Archiver& archiver, SourceChooser& chooser, UserInterface& ui);

  /// The Save button. False when something could not be saved; the user has been told.
  bool savePrefButton();
  /// Shows the window on the tab that `settingsToolbar` names.
  void doPrefPanel();
  void cancelPrefs();
  /// The two halves of a save: the check boxes become the choice; the list follows the settings.
  void takeSelection() { chooser_.rebuildSelection(); }
  void saved();
  /// The action of `databasesPullDown`.
  void chooseDatabase(const std::string& title);
  void saveSettingsCopy();
  void replaceSettingsCopy();
  /// Toggles the debug log, which lasts until the program ends.
  void setDebugLog();
  void openImportFolderPath();
  /// The action of `setCatButton`.
  void chooseSetCat();
  /// The settings have been read or saved: what shows them follows.
  void refresh();

  SettingsWindow window;
  std::function<void()> get500emails;
  std::function<void()> quitAndRelaunch;

 private:
  void showTab();
  void tell(const Faults& faults);

  Archiver& archiver_;
  Settings& settings_;
  SourceChooser& chooser_;
  UserInterface& ui_;
};

}  // namespace keldane
