#pragma once

#include <array>
#include <string>
#include <vector>

#include "settings/settings.h"

namespace keldane {

/// First title of `databasesPullDown`: the one that chooses nothing.
inline constexpr const char* kChooseDatabaseTitle = "Choose database...";

/// The controls of the settings window, as values.
struct SettingsForm {
  bool trashCheck = false;
  bool junkCheck = false;
  bool trashCheckEnabled = true;
  bool junkCheckEnabled = true;
  bool largeAttachCheck = false;
  bool largeAttachCheckEnabled = true;
  std::string attachSizeTextField = "1.6";
  bool updatesCheck = true;
  bool importFolderCheck = false;
  std::string importFolderTextField;
  bool deleteFolderCheck = false;
  bool skipDupsCheck = false;
  bool limitSearchCheck = true;
  std::string limitSearchTextField = "1000";
  int selectAcctsMboxMatrix = 0;
  int selectEmailAppMatrix = 0;
  int selectAppearanceMatrix = 0;
  std::array<bool, 8> schedChecks{};  ///< schedAll, schedSun to schedSat
  bool everyHourCheck = false;
  std::string hoursTextField = "2";
  std::string hoursStepper = "2";
  std::string schedTime;
  int dateFormats = 0;
  int separators = 0;
  int sortOrderMatrix = 0;
  int sortFieldMatrixRow = 1;
  int sortFieldMatrixCol = 0;
  bool leaveLogCheck = true;
  bool launchAttachCheck = false;
  bool keepDifferingCheck = true;
  bool declaredCharsetsCheck = true;
  bool showOnStartupCheck = false;
  std::vector<std::string> databasesPullDown = {kChooseDatabaseTitle};
  int settingsToolbar = 0;  ///< selected tab: general, accounts, viewing, schedule, tag rules
  bool debugItem = false;
};

/// The controls as the settings are; the selected tab and the debug log stay.
void showSettings(const Settings& settings, SettingsForm& form);
/// Of these, what an archive's row brings at once: texts, and the choice between accounts and
/// mailboxes, which takes effect when it is clicked and so never holds anything unsaved.
void showArchiveTexts(const ArchiveSettings& archive, SettingsForm& form);
/// The settings as the controls are. Nothing is saved.
void readControls(const SettingsForm& form, Settings& settings);

}  // namespace keldane
