#include <filesystem>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/settings/settings_rig.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST(SettingsWindow, ShowsTheTabThatIsSelected) {
  constexpr float kLargest = std::numeric_limits<float>::max();
  struct {
    int item;
    const char* view;
    const char* title;
    bool resizable;
    float increment;
    int width;
  } const cases[] = {
      {0, "generalView", "General", false, kLargest, 0},
      {1, "accountsView", "Accounts", true, 1, 0},
      {2, "viewingView", "Viewing", false, kLargest, 0},
      {3, "scheduleView", "Schedule", false, kLargest, 0},
      {4, "tagRulesView", "Tag Rules", false, kLargest, 496},
      {5, "tagRulesView", "Tag Rules", false, kLargest, 496},  // the sixth item changes no view
  };
  SettingsRig rig;
  for (const auto& c : cases) {
    rig.settings.form.settingsToolbar = c.item;
    rig.settings.doPrefPanel();
    EXPECT_EQ(rig.settings.window.view, c.view) << c.item;
    EXPECT_EQ(rig.settings.window.title, c.title) << c.item;
    EXPECT_EQ(rig.settings.window.resizable, c.resizable) << c.item;
    EXPECT_EQ(rig.settings.window.resizeIncrement, c.increment) << c.item;
    EXPECT_EQ(rig.settings.window.minimumWidth, c.width) << c.item;
    EXPECT_EQ(rig.ui.calls.back(), "show settingsPanel");
  }
}

TEST(SettingsWindow, IsFilledWhenItOpensAndNotWhileItIsOpen) {
  SettingsRig rig;
  int filled = 0;
  int mailboxes = 0;
  Settings::Callbacks callbacks;
  callbacks.fillSelectionTable = [&filled] { ++filled; };
  callbacks.ensureMailboxNames = [&mailboxes] { ++mailboxes; };
  rig.settings.setCallbacks(callbacks);
  rig.settings.archive.trashState = 1;
  rig.prefs.setText("limitSearchSize", "33");
  rig.settings.doPrefPanel();
  EXPECT_TRUE(rig.settings.form.trashCheck);
  EXPECT_EQ(rig.settings.form.limitSearchTextField, "33") << "left over from the older layout";
  rig.settings.form.trashCheck = false;  // the user's change
  rig.settings.form.schedChecks[2] = true;
  rig.settings.archive.mailboxesState = 1;
  rig.settings.form.settingsToolbar = 1;
  rig.settings.doPrefPanel();
  EXPECT_FALSE(rig.settings.form.trashCheck);
  EXPECT_EQ(filled, 1);
  EXPECT_EQ(mailboxes, 1);
  rig.settings.cancelPrefs();
  rig.settings.doPrefPanel();
  EXPECT_TRUE(rig.settings.form.trashCheck);
  EXPECT_FALSE(rig.settings.form.schedChecks[2]);
}

TEST(SettingsWindow, SavesTheImportFolderAtOnce) {
  SettingsRig rig;
  rig.settings.openImportFolderPath();
  EXPECT_THAT(rig.session.statements(), IsEmpty()) << "cancelled";
  rig.ui.chosenFiles = {{"/in"}};
  rig.settings.openImportFolderPath();
  EXPECT_EQ(rig.ui.choosers[1].title, "Choose an import email folder");
  EXPECT_EQ(rig.ui.choosers[1].prompt, "Choose");
  EXPECT_TRUE(rig.ui.choosers[1].folders);
  EXPECT_FALSE(rig.ui.choosers[1].files);
  EXPECT_THAT(rig.settingsStatements(), Contains(testing::HasSubstr("\"/in\"")));
  EXPECT_EQ(rig.settings.archive.importFolderPath, "/in");
  EXPECT_EQ(rig.settings.form.importFolderTextField, "/in");
  EXPECT_TRUE(rig.ui.isPanelVisible("settingsPanel"));
}

TEST(SettingsWindow, ChoosesADatabase) {
  SettingsRig rig;
  rig.settings.chooseDatabase("Choose database...");
  EXPECT_THAT(rig.session.calls, IsEmpty());
  rig.settings.chooseDatabase("work");
  EXPECT_EQ(rig.database.dbPath, "work");
  EXPECT_THAT(rig.session.calls, Contains("select work"));
  EXPECT_THAT(rig.settingsStatements(),
              testing::IsSupersetOf({testing::StartsWith("SELECT DISTINCT cat_fld"),
                                     testing::StartsWith("SELECT attachState")}));
}

TEST(SettingsWindow, TogglesTheDebugLog) {
  SettingsRig rig;
  Settings::Callbacks callbacks;
  callbacks.makeWorkFolder = [&rig] { rig.process.workFolder = "/fresh"; };
  rig.settings.setCallbacks(callbacks);
  rig.settings.setDebugLog();
  EXPECT_TRUE(rig.process.debugLogOn);
  EXPECT_EQ(rig.process.workFolder, rig.folder.path() + "/Desktop/");
  rig.settings.setDebugLog();
  EXPECT_FALSE(rig.process.debugLogOn);
  EXPECT_EQ(rig.process.workFolder, "/fresh");
}

TEST(SettingsCopy, IsMadeUnderTheDatabasesName) {
  SettingsRig rig;
  const std::string target = rig.folder / "Library/Application Support/Keldane/Settings/mail.plist";
  rig.prefs.setText("dbPath", "mail");
  ASSERT_TRUE(rig.prefs.save());
  rig.settings.saveSettingsCopy();
  EXPECT_THAT(rig.ui.alertLines(),
              ElementsAre("alert [Copy of Settings Saved] A copy of the Settings have been saved "
                          "at " +
                          target));
  EXPECT_EQ(rig.folder.read("Library/Application Support/Keldane/Settings/mail.plist"),
            rig.folder.read("prefs.plist"));
  struct stat status {};
  ASSERT_EQ(::stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U) << "it holds passwords";

  // A name that looks like a path stays in the folder.
  rig.database.dbPath = "../../other";
  rig.settings.saveSettingsCopy();
  EXPECT_TRUE(std::filesystem::exists(rig.folder /
                                      "Library/Application Support/Keldane/Settings/other.plist"));
}

TEST(SettingsCopy, TellsThatItCannotBeMade) {
  SettingsRig rig;
  rig.settings.saveSettingsCopy();
  ASSERT_EQ(rig.ui.alerts.size(), 1U);
  EXPECT_EQ(rig.ui.alerts[0].style, AlertStyle::critical);
}

TEST(SettingsCopy, ReplacesAllButTheSystemsKeys) {
  SettingsRig rig;
  const std::string copy =
      rig.folder.write("saved/mail.plist",
                       "<plist><dict><key>dbPath</key><string>saved</string><key>NSNew</key><true/>"
                       "<key>NSTwice</key><string>copy</string></dict></plist>");
  bool relaunched = false;
  Settings::Callbacks callbacks;
  callbacks.quitAndRelaunch = [&relaunched] { relaunched = true; };
  rig.settings.setCallbacks(callbacks);
  for (const char* key : {"dbPath", "tagRules", "NSOld", "NSTwice", "AppleOld", "nsLower"}) {
    rig.prefs.setText(key, "old");
  }
  ASSERT_TRUE(rig.prefs.save());
  rig.ui.chosenFiles = {{copy}};
  rig.settings.replaceSettingsCopy();
  PreferencesFile file(rig.prefs.path());
  ASSERT_TRUE(file.load());
  EXPECT_THAT(file.keys(), ElementsAre("AppleOld", "NSNew", "NSOld", "NSTwice", "dbPath"));
  EXPECT_EQ(file.text("dbPath"), "saved");
  EXPECT_EQ(file.text("NSTwice"), "copy");
  EXPECT_EQ(file.text("NSOld"), "old");
  EXPECT_TRUE(relaunched);
  EXPECT_EQ(rig.ui.choosers[0].title, "Open Saved Settings");
  EXPECT_EQ(rig.ui.choosers[0].startFolder,
            rig.folder / "Library/Application Support/Keldane/Settings");
  EXPECT_THAT(rig.ui.alertLines(),
              ElementsAre("alert [Replace Settings] The settings have been replaced by the saved "
                          "settings file mail.plist. Keldane Pro will now quit and must be "
                          "relaunched to activate the new settings."));
}

TEST(SettingsCopy, LeavesTheSettingsWhenItCannotBeRead) {
  SettingsRig rig;
  bool relaunched = false;
  Settings::Callbacks callbacks;
  callbacks.quitAndRelaunch = [&relaunched] { relaunched = true; };
  rig.settings.setCallbacks(callbacks);
  rig.prefs.setText("dbPath", "old");
  ASSERT_TRUE(rig.prefs.save());
  const std::string broken = rig.folder.write("broken.plist", "<plist><dict>");
  for (const std::string& path : {broken, rig.folder / "missing.plist"}) {
    rig.ui.chosenFiles = {{path}};
    testing::internal::CaptureStderr();
    rig.settings.replaceSettingsCopy();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR: Could not load saved plist: " + path + "\n");
  }
  rig.settings.replaceSettingsCopy();  // cancelled
  EXPECT_EQ(rig.prefs.text("dbPath"), "old");
  EXPECT_FALSE(relaunched);
  EXPECT_THAT(rig.ui.alertLines(), IsEmpty());
}

}  // namespace
}  // namespace keldane
