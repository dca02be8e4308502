#include <filesystem>
#include <limits>

#include "tests/app/controller_rig.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class SettingsPanelTest : public ControllerRig {
 protected:
  SettingsPanelTest() {
    make();
    archiver().database().dbPath = "mail";
    prefs().setText("dbPath", "mail");
  }
  SettingsPanel& panel() { return controller->settingsPanel(); }
  PreferencesFile& prefs() { return archiver().preferences(); }
};

TEST_F(SettingsPanelTest, ShowsTheTabThatIsSelected) {
  constexpr float kLargest = std::numeric_limits<float>::max();
  const std::tuple<int, const char*, const char*, bool, int> cases[] = {
      {1, "accountsView", "Accounts", true, 0},
      {3, "scheduleView", "Schedule", false, 0},
      {4, "tagRulesView", "Tag Rules", false, 496},
      {5, "tagRulesView", "Tag Rules", false, 496},  // the sixth item changes no view
  };
  for (const auto& [item, view, title, resizable, width] : cases) {
    panel().form.settingsToolbar = item;
    panel().doPrefPanel();
    const SettingsWindow& window = panel().window;
    EXPECT_EQ(window.view, view) << item;
    EXPECT_EQ(window.title, title) << item;
    EXPECT_EQ(window.resizable, resizable) << item;
    EXPECT_EQ(window.resizeIncrement, resizable ? 1 : kLargest) << item;
    EXPECT_EQ(window.minimumWidth, width) << item;
  }
}

TEST_F(SettingsPanelTest, IsFilledWhenItOpensAndNotWhileItIsOpen) {
  settings().archive.trashState = 1;
  prefs().setText("limitSearchSize", "33");
  panel().doPrefPanel();
  EXPECT_TRUE(panel().form.trashCheck);
  EXPECT_EQ(panel().form.limitSearchTextField, "33") << "left over from the older layout";
  panel().form.trashCheck = false;  // the user's change
  panel().form.schedChecks[2] = true;
  panel().doPrefPanel();
  EXPECT_FALSE(panel().form.trashCheck);
  panel().cancelPrefs();
  panel().doPrefPanel();
  EXPECT_TRUE(panel().form.trashCheck);
  EXPECT_FALSE(panel().form.schedChecks[2]);
}

TEST_F(SettingsPanelTest, EachControlIsItsSetting) {
  SettingsForm& form = panel().form;
  form.trashCheck = form.importFolderCheck = form.skipDupsCheck = true;
  form.updatesCheck = form.limitSearchCheck = false;
  form.importFolderTextField = "/typed";
  form.attachSizeTextField = "3";
  form.limitSearchTextField = "20";
  form.selectAcctsMboxMatrix = 1;
  form.selectAppearanceMatrix = 2;
  form.schedTime = "2023-02-03 04:05:06";
  form.schedChecks = {false, true, false, false, false, false, false, true};
  form.everyHourCheck = form.launchAttachCheck = true;
  form.hoursTextField = "6";
  form.dateFormats = form.sortFieldMatrixRow = 2;
  form.separators = 1;
  form.leaveLogCheck = form.declaredCharsetsCheck = false;
  panel().savePreferences();
  ArchiveSettings archive;
  archive.trashState = archive.importFolderState = archive.skipDupsState = 1;
  archive.updatesState = archive.limitSearchState = 0;
  archive.importFolderPath = "/typed";
  archive.attachSize = "3";
  archive.limitSearchSize = "20";
  archive.mailboxesState = 1;
  archive.appearanceState = 2;
  EXPECT_EQ(settings().archive, archive);
  UserSettings user = settings().user;
  user.scheddays = {0, 1, 0, 0, 0, 0, 0, 1};
  user.hoursState = user.launchAttachments = user.separator = 1;
  user.hoursStep = 6;
  user.dateFormat = user.sortFieldRow = 2;
  user.sortFieldCol = user.sortOrder = user.leaveLogState = user.declaredCharsets = 0;
  EXPECT_EQ(settings().user, user);
  const SettingsForm before = form;
  form = {};
  panel().getPrefs();
  EXPECT_EQ(form.schedTime, before.schedTime);
  EXPECT_EQ(form.schedChecks, before.schedChecks);
  EXPECT_EQ(form.hoursStepper, "6");
  EXPECT_EQ(form.importFolderTextField, "/typed");
  EXPECT_TRUE(form.everyHourCheck && form.trashCheck && form.skipDupsCheck && !form.leaveLogCheck);
  EXPECT_THAT(form.databasesPullDown, ElementsAre("Choose database...", "mail"));
}

TEST_F(SettingsPanelTest, TheMenusHoldTheCategoriesInUse) {
  session->answerOn("query SELECT DISTINCT cat_fld FROM tags*", {{"Home"}, {"None"}, {"Work"}});
  panel().savePreferences();
  EXPECT_THAT(controller->tagPanel().setCatButton.titles, ElementsAre("None", "Home", "Work"));
  EXPECT_THAT(controller->tagRuleEditor().ruleCatButton.titles,
              ElementsAre("None", "Home", "Work"));
}

TEST_F(SettingsPanelTest, TheSaveButtonAnnouncesItUnlessNobodyIsThere) {
  panel().savePrefButton();
  EXPECT_THAT(ui.alertLines(), ElementsAre("alert [Settings Saved] The Settings have been saved."));
  archiver().process().unattendedRun = 1;
  panel().savePrefButton();
  EXPECT_EQ(ui.alertLines().size(), 1U);
  session->failOn("query INSERT INTO settings*", "refused");
  settings().archive.browseNameString = "changed";
  panel().savePrefButton();
  EXPECT_EQ(ui.alertLines().back(), "alert critical [SQL Error] SQL error: refused\\n");

  panel().form.importFolderCheck = true;
  panel().savePrefButton();
  EXPECT_EQ(settings().archive.importFolderState, 0) << "no import without a folder";
}

TEST_F(SettingsPanelTest, SavesTheImportFolderAtOnce) {
  panel().openImportFolderPath();
  EXPECT_THAT(session->statements(), IsEmpty()) << "cancelled";
  ui.chosenFiles = {{"/in"}};
  panel().openImportFolderPath();
  EXPECT_EQ(ui.choosers[1].title + "/" + ui.choosers[1].prompt,
            "Choose an import email folder/Choose");
  EXPECT_THAT(session->statements(), Contains(testing::HasSubstr("\"/in\"")));
  EXPECT_EQ(settings().archive.importFolderPath, "/in");
  EXPECT_EQ(panel().form.importFolderTextField, "/in");
  EXPECT_TRUE(ui.isPanelVisible("settingsPanel"));
}

TEST_F(SettingsPanelTest, ChoosesADatabase) {
  panel().chooseDatabase("Choose database...");
  EXPECT_THAT(session->calls, IsEmpty());
  panel().chooseDatabase("work");
  EXPECT_EQ(archiver().database().dbPath, "work");
  EXPECT_THAT(session->calls, Contains("select work"));
  EXPECT_THAT(session->statements(),
              testing::IsSupersetOf({testing::StartsWith("SELECT DISTINCT cat_fld"),
                                     testing::StartsWith("SELECT attachState")}));
}

TEST_F(SettingsPanelTest, ACopyIsMadeUnderTheDatabasesName) {
  const std::string target = folder / "Library/Application Support/Keldane/Settings/mail.plist";
  panel().saveSettingsCopy();
  ASSERT_EQ(ui.alerts.size(), 1U);
  EXPECT_EQ(ui.alerts[0].style, AlertStyle::critical) << "there is no file yet";
  ui.calls.clear();
  prefs().setText("dbPath", "mail");
  ASSERT_TRUE(prefs().save());
  panel().saveSettingsCopy();
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Copy of Settings Saved] A copy of the Settings have been saved "
                          "at " +
                          target));
  EXPECT_EQ(folder.read("Library/Application Support/Keldane/Settings/mail.plist"),
            folder.read("Library/Preferences/com.varnwick.KeldanePro.plist"));
  EXPECT_EQ(folder.modeOf("Library/Application Support/Keldane/Settings/mail.plist"), 0600U)
      << "it holds passwords";

  // A name that looks like a path stays in the folder.
  archiver().database().dbPath = "../../other";
  panel().saveSettingsCopy();
  EXPECT_TRUE(
      std::filesystem::exists(folder / "Library/Application Support/Keldane/Settings/other.plist"));
}

TEST_F(SettingsPanelTest, ACopyReplacesAllButTheSystemsKeys) {
  const std::string copy =
      folder.write("saved/mail.plist",
                   "<plist><dict><key>dbPath</key><string>saved</string><key>NSNew</key><true/>"
                   "<key>NSTwice</key><string>copy</string></dict></plist>");
  for (const char* key : {"dbPath", "tagRules", "NSOld", "NSTwice", "AppleOld", "nsLower"}) {
    prefs().setText(key, "old");
  }
  ASSERT_TRUE(prefs().save());
  ui.chosenFiles = {{copy}};
  panel().replaceSettingsCopy();
  PreferencesFile file(prefs().path());
  ASSERT_TRUE(file.load());
  EXPECT_THAT(file.keys(), ElementsAre("AppleOld", "NSNew", "NSOld", "NSTwice", "dbPath"));
  EXPECT_EQ(file.text("dbPath"), "saved");
  EXPECT_EQ(file.text("NSTwice"), "copy");
  EXPECT_EQ(file.text("NSOld"), "old");
  EXPECT_EQ(terminated, 1);
  EXPECT_EQ(ui.choosers[0].title, "Open Saved Settings");
  EXPECT_EQ(ui.choosers[0].startFolder, folder / "Library/Application Support/Keldane/Settings");
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Replace Settings] The settings have been replaced by the saved "
                          "settings file mail.plist. Keldane Pro will now quit and must be "
                          "relaunched to activate the new settings."));
}

TEST_F(SettingsPanelTest, ACopyThatCannotBeReadLeavesTheSettings) {
  prefs().setText("dbPath", "old");
  ASSERT_TRUE(prefs().save());
  const std::string broken = folder.write("broken.plist", "<plist><dict>");
  for (const std::string& path : {broken, folder / "missing.plist"}) {
    ui.chosenFiles = {{path}};
    testing::internal::CaptureStderr();
    panel().replaceSettingsCopy();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR: Could not load saved plist: " + path + "\n");
  }
  panel().replaceSettingsCopy();  // cancelled
  EXPECT_EQ(prefs().text("dbPath"), "old");
  EXPECT_EQ(terminated, 0);
  EXPECT_THAT(ui.alertLines(), IsEmpty());
}

}  // namespace
}  // namespace keldane
