#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/archiver.h"
#include "app/panels/settings_form.h"
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

/// The settings window: `settingsPanel` and the menu items that go with it. Its controls become the
/// settings whenever those are saved, by whatever operation of the window.
class SettingsPanel {
 public:
  /// `controls` is shared with the chooser.
  SettingsPanel(Archiver& archiver, SettingsForm& controls, SourceChooser& chooser,
                UserInterface& ui);

  /// The Save button. False when something could not be saved; the user has been told.
  bool savePrefButton();
  /// Shows the window on the tab that `settingsToolbar` names.
  void doPrefPanel();
  void cancelPrefs();
  /// The two halves of a save: check boxes and controls become the choice and the settings; the
  /// list follows the settings.
  void takeControls();
  void saved();
  /// The controls become the settings, which are saved; a fault is told.
  void savePreferences();
  void readControls() { keldane::readControls(form, settings_); }
  /// Reads the user's settings anew and shows them, with the rules and the saved searches.
  void getPrefs();
  /// Shows settings that have been read or saved below: controls and menus of categories.
  void showSettings();
  /// The same after `getPrefs`: rules and saved searches follow too.
  void showPrefs();
  /// The action of `databasesPullDown`.
  void chooseDatabase(const std::string& title);
  void saveSettingsCopy();
  void replaceSettingsCopy();
  /// Toggles the debug log, which lasts until the program ends.
  void setDebugLog();
  void openImportFolderPath();
  /// Tells the face that what shows the settings has changed.
  void refresh();

  SettingsForm& form;
  SettingsWindow window;
  std::function<void()> get500emails;
  std::function<void()> loadRulesAndSearches;
  /// The menus of categories are to be filled with these.
  std::function<void(const std::vector<std::string>& categories)> fillCategoryMenus;
  std::function<void()> quitAndRelaunch;

 private:
  void fillWindow();
  void showTab();
  [[nodiscard]] Faults save();
  void tell(const Faults& faults);

  Archiver& archiver_;
  Settings& settings_;
  SourceChooser& chooser_;
  UserInterface& ui_;
};

}  // namespace keldane
