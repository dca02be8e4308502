#pragma once

#include <array>
#include <string>
#include <vector>

#include "settings/mail_folder.h"

namespace keldane {

/// The settings that belong to one archive: its row in the table `settings`.
struct ArchiveSettings {
  int attachState = 1;
  int htmlState = 1;
  int origState = 1;
  int trashState = 0;
  int largeAttachState = 0;
  std::string attachSize = "1.6";  ///< millions of bytes, as text
  int updatesState = 1;
  std::string browseNameString;
  int indexDateState = 1;
  int indexFromState = 0;
  int indexToState = 0;
  int indexSubjectState = 0;
  int indexBodyState = 0;
  int indexAttachNameState = 0;
  int indexAttachConState = 0;
  int mailboxesState = 0;
  int importFolderState = 0;
  std::string importFolderPath;
  int skipDupsState = 0;
  int indexHeadingsState = 0;
  int deleteFolderState = 0;
  int limitSearchState = 1;
  std::string limitSearchSize = "1000";
  int junkState = 0;
  int postbox = 0;
  int appearanceState = 0;

  bool operator==(const ArchiveSettings&) const = default;
};

struct FontSetting {
  std::string name = "Lucida Grande";
  double size = 10.0;
  bool operator==(const FontSetting&) const = default;
};

/// The settings that belong to the user and the machine: keys of the property list.
struct UserSettings {
  std::vector<std::string> databaseList;
  std::string schedTime;  ///< "yyyy-MM-dd HH:mm:ss", empty: none
  std::string schedHour;
  std::string schedMinute;
  std::array<int, 8> scheddays{};  ///< all, Sunday to Saturday
  int hoursStep = 2;
  int hoursState = 0;
  int setByDay = 0;
  int schedMonth = 0;
  int schedMday = 0;
  int dateFormat = 0;
  int separator = 0;
  int sortOrder = 0;
  int sortFieldRow = 1;
  int sortFieldCol = 0;
  int leaveLogState = 1;
  int launchAttachments = 0;
  int keepDiffering = 1;  ///< a duplicate by the rule whose content differs is stored all the same
  int indexRuns = 1;      ///< archive runs feed the word index
  int declaredCharsets =
      1;                ///< parts of a file that is not UTF-8 are read in the charset they name
  int gmailLabels = 0;  ///< labels of exported messages become keywords
  int showOnStartupState = 0;
  int diskAccessState = 0;
  std::vector<MailFolder> mailFolders;  ///< kept as sources; changed one by one
  FontSetting panelFont;
  FontSetting listFont;
  FontSetting bodyFont;

  bool operator==(const UserSettings&) const = default;
};

}  // namespace keldane
