#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/settings/settings_rig.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

PlistValue number(std::int64_t value) { return {value}; }

PlistValue texts(const std::vector<std::string>& items) {
  PlistArray array;
  for (const std::string& item : items) array.push_back({item});
  return {std::move(array)};
}

TEST(GetPrefs, TreatsEachKeyByItsRule) {
  struct {
    const char* name;
    const char* key;
    int stored;  ///< -1: not there
    int UserSettings::*member;
    int before, after;
  } const cases[] = {
      {"set", "dateFormat", 2, &UserSettings::dateFormat, 0, 2},
      {"a stored 0 is passed over", "separator", 0, &UserSettings::separator, 1, 1},
      {"the sort row never comes back as 0", "sortFieldRow", 0, &UserSettings::sortFieldRow, 1, 1},
      {"a missing key changes nothing", "sortOrder", -1, &UserSettings::sortOrder, 1, 1},
      {"the log stays off", "leaveLogState", 0, &UserSettings::leaveLogState, 1, 0},
      {"a missing log key", "leaveLogState", -1, &UserSettings::leaveLogState, 1, 1},
      {"start-up window always", "showOnStartupState", 0, &UserSettings::showOnStartupState, 1, 0},
      {"disk access always", "diskAccessState", -1, &UserSettings::diskAccessState, 1, 0},
      {"written only", "schedMonth", 5, &UserSettings::schedMonth, 0, 0},
      {"carried along", "setByDay", 1, &UserSettings::setByDay, 0, 1},
  };
  for (const auto& c : cases) {
    SettingsRig rig;
    rig.settings.user.*c.member = c.before;
    if (c.stored >= 0) rig.prefs.setInteger(c.key, c.stored);
    rig.settings.getPrefs();
    EXPECT_EQ(rig.settings.user.*c.member, c.after) << c.name;
  }
}

TEST(GetPrefs, TakesTheHoursFromTheFieldWhenZeroIsStored) {
  SettingsRig rig;
  rig.prefs.setInteger("hoursStep", 0);
  rig.settings.form.hoursTextField = "5";
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.user.hoursStep, 5);
  EXPECT_EQ(rig.settings.form.hoursStepper, "5");
}

TEST(GetPrefs, ReadsTheSchedule) {
  SettingsRig rig;
  rig.prefs.setText("schedDateValue", "2023-02-03 04:05:06");
  rig.prefs.set("scheddays", {PlistArray{number(0), number(1), number(0), number(1)}});
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.user.schedHour, "04");
  EXPECT_EQ(rig.settings.user.schedMinute, "05");
  EXPECT_EQ(rig.settings.form.schedTime, "2023-02-03 04:05:06");
  EXPECT_EQ(rig.settings.user.scheddays, (std::array<int, 8>{0, 1, 0, 1, 0, 0, 0, 0}));
  EXPECT_TRUE(rig.settings.form.schedChecks[3]);
  // A time that is cut off gives no times of nonsense.
  rig.prefs.setText("schedDateValue", "2023");
  rig.prefs.set("scheddays", {PlistArray{}});
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.user.schedHour, "");
  EXPECT_EQ(rig.settings.user.scheddays[1], 1);
}

TEST(GetPrefs, BeginsAFirstRunWithoutADatabase) {
  SettingsRig rig;
  rig.database.dbPath.clear();
  rig.settings.archive.limitSearchSize = "7";
  rig.settings.user.listFont = {"Other", 20};
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive.limitSearchSize, "1000");
  EXPECT_EQ(rig.settings.user.listFont, FontSetting());
  EXPECT_EQ(rig.prefs.integer("diskAccessState"), 0);

  rig.prefs.setText("dbPath", "saved");
  rig.settings.getPrefs();
  EXPECT_EQ(rig.database.dbPath, "saved");
  rig.database.dbPath = "typed";
  rig.settings.getPrefs();
  EXPECT_EQ(rig.database.dbPath, "typed");
}

TEST(GetPrefs, MovesTheOlderLayoutOutOnce) {
  SettingsRig rig;
  for (const char* key :
       {"attachState", "htmlState", "origState", "updatesState", "skipDupsState", "trashState",
        "largeAttachState", "indexDateState", "indexHeadingsState", "mailboxesState", "postbox"}) {
    rig.prefs.setInteger(key, 0);
  }
  rig.prefs.setInteger("trashState", 1);
  rig.prefs.setInteger("junkState", 1);
  rig.prefs.setInteger("limitSearchState", 0);
  rig.prefs.setText("attachSize", "2.5");
  rig.prefs.setText("limitSearchSize", "50");
  rig.prefs.set("accounts", texts({"a", "b"}));
  rig.prefs.set("mailboxes", texts({"m"}));
  rig.prefs.set("categories", texts({}));
  rig.settings.archive.browseNameString = "stale";
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive.attachState, 1);
  EXPECT_EQ(rig.settings.archive.updatesState, 0);
  EXPECT_EQ(rig.settings.archive.trashState, 1);
  EXPECT_TRUE(rig.settings.form.trashCheck);
  EXPECT_EQ(rig.settings.archive.junkState, 1);
  EXPECT_EQ(rig.settings.archive.attachSize, "2.5");
  EXPECT_EQ(rig.settings.form.attachSizeTextField, "2.5");
  EXPECT_EQ(rig.settings.form.limitSearchTextField, "50");
  EXPECT_EQ(rig.settings.archive.browseNameString, "");
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a", "b"));
  EXPECT_THAT(rig.settings.selectedMailboxes, ElementsAre("m"));
  EXPECT_THAT(rig.prefs.keys(), ElementsAre("junkState", "limitSearchSize", "limitSearchState"));

  rig.settings.archive.trashState = 0;
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive.trashState, 0) << "read a second time";
}

TEST(GetPrefs, ReadsNoOlderKeysWithoutTheirMark) {
  SettingsRig rig;
  rig.prefs.setInteger("trashState", 1);
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive.trashState, 0);
  EXPECT_TRUE(rig.prefs.has("trashState"));
}

TEST(GetPrefs, ShowsTheSelectionByMode) {
  SettingsRig rig;
  rig.settings.archive.mailboxesState = 1;
  rig.settings.archive.importFolderPath = "/in";
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.form.selectAcctsMboxMatrix, 1);
  EXPECT_EQ(rig.process.tmpFilePath, "/work/mail.tmp");
  EXPECT_EQ(rig.settings.archive.importFolderPath, "/in");

  rig.settings.archive.mailboxesState = 0;
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.form.selectAcctsMboxMatrix, 0);
  EXPECT_EQ(rig.settings.archive.importFolderPath, "");
}

TEST(GetPrefs, ChoosesTheAppearance) {
  struct {
    bool desktop;
    int state;
    bool dark;
  } const cases[] = {{false, 0, false}, {true, 0, true}, {false, 1, false}, {true, 1, false},
                     {false, 2, true},  {true, 2, true}, {true, 7, true},   {false, 7, false}};
  for (const auto& c : cases) {
    SettingsRig rig;
    if (c.desktop) rig.prefs.setText("AppleInterfaceStyle", "Dark");
    rig.settings.archive.appearanceState = c.state;
    rig.settings.getPrefs();
    EXPECT_EQ(rig.settings.darkAppearance, c.dark) << c.desktop << " " << c.state;
  }
}

TEST(SavePreferences, WritesEveryKeyForTheNextStart) {
  SettingsRig rig;
  SettingsForm& form = rig.settings.form;
  form.schedTime = "2023-02-03 04:05:06";
  form.schedChecks = {false, true, false, false, false, false, false, true};
  form.everyHourCheck = form.launchAttachCheck = form.showOnStartupCheck = true;
  form.hoursTextField = "6";
  form.dateFormats = 2;
  form.separators = 1;
  form.sortOrderMatrix = 1;
  form.sortFieldMatrixRow = 2;
  form.sortFieldMatrixCol = 1;
  form.leaveLogCheck = false;
  rig.settings.user.bodyFont = {"Courier", 12.5};
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());

  PreferencesFile file(rig.prefs.path());
  ASSERT_TRUE(file.load());
  EXPECT_THAT(
      file.keys(),
      ElementsAre("SSUCheckAtStartup", "SUAutomaticallyUpdate", "SUEnableAutomaticChecks",
                  "SUFeedURL", "SUPublicDSAKeyFile", "bodyFont", "connections", "databases",
                  "dateFormat", "dbPath", "declaredCharsets", "diskAccessState", "hoursState",
                  "hoursStep", "keepDiffering", "launchAttachments", "leaveLogState", "listFont",
                  "schedDateValue", "schedMday", "schedMonth", "scheddays", "separator", "setByDay",
                  "showOnStartupState", "sortFieldCol", "sortFieldRow", "sortOrder"));
  EXPECT_EQ(*file.find("SSUCheckAtStartup"), PlistValue{true});
  EXPECT_EQ(*file.find("SUEnableAutomaticChecks"), PlistValue{false});
  EXPECT_EQ(file.text("SUPublicDSAKeyFile"), "dsa_pub.pem");

  Settings next(rig.session, rig.database, file, rig.process);
  next.getPrefs();
  EXPECT_EQ(next.user.schedHour, "04");
  EXPECT_EQ(next.user.scheddays, (std::array<int, 8>{0, 1, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(next.user.bodyFont, (FontSetting{"Courier", 12.5}));
  EXPECT_EQ(next.user.leaveLogState, 0);
  EXPECT_EQ(next.form.dateFormats, 2);
  EXPECT_EQ(next.form.separators, 1);
  EXPECT_EQ(next.form.sortOrderMatrix, 1);
  EXPECT_EQ(next.form.sortFieldMatrixRow, 2);
  EXPECT_EQ(next.form.sortFieldMatrixCol, 1);
  EXPECT_EQ(next.form.hoursTextField, "6");
  EXPECT_TRUE(next.form.everyHourCheck);
  EXPECT_TRUE(next.form.launchAttachCheck);
  EXPECT_TRUE(next.form.showOnStartupCheck);
  EXPECT_THAT(next.form.databasesPullDown, ElementsAre("Choose database...", "mail"));
}

TEST(SavePreferences, KeepsWhatStandsBesideItsKeys) {
  SettingsRig rig;
  rig.prefs.set("connections", texts({"kept"}));
  rig.prefs.set("listFont", {PlistDict{{"NSFontNameAttribute", {std::string("Courier")}},
                                       {"NSFontSizeAttribute", {std::string("14")}},
                                       {"NSCTFontOpticalSize", {std::string("on")}}}});
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.user.listFont, (FontSetting{"Courier", 14}));
  rig.settings.user.listFont.name.clear();  // a font without attributes
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_EQ(*rig.prefs.find("connections"), texts({"kept"}));
  const PlistDict& font = *rig.prefs.find("listFont")->dict();
  EXPECT_EQ(font.at("NSFontNameAttribute").text(), "Courier");
  EXPECT_EQ(font.count("NSCTFontOpticalSize"), 1U);
}

TEST(SavePreferences, ListsEachDatabaseOnce) {
  SettingsRig rig;
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  rig.database.dbPath = "work";
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_THAT(rig.settings.user.databaseList, ElementsAre("mail", "work"));
  EXPECT_EQ(*rig.prefs.find("databases"), texts({"mail", "work"}));
  EXPECT_THAT(rig.settings.forgetDatabase("work"), IsEmpty());
  EXPECT_THAT(rig.settings.user.databaseList, ElementsAre("mail"));
  EXPECT_THAT(rig.settings.form.databasesPullDown, ElementsAre("Choose database...", "mail"));
}

TEST(SavePreferences, NamesADatabaseWhenThereIsNoneAndShowsTheStart) {
  SettingsRig rig;
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_EQ(rig.prefs.integer("showOnStartupState"), 0);
  rig.database.dbPath.clear();  // as a dropped database leaves it
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_EQ(rig.prefs.text("dbPath"), "myemaildb");
  EXPECT_EQ(rig.prefs.integer("showOnStartupState"), 1);
}

TEST(SavePreferences, RemembersNoDatabaseOfOneCommand) {
  SettingsRig rig;
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  rig.database.dbPath = "once";
  rig.database.remembered = false;
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_EQ(rig.prefs.text("dbPath"), "mail");
  EXPECT_EQ(*rig.prefs.find("databases"), texts({"mail"}));
}

TEST(SavePreferences, TakesTheControlsIntoTheRow) {
  SettingsRig rig;
  SettingsForm& form = rig.settings.form;
  form.trashCheck = form.junkCheck = form.largeAttachCheck = form.skipDupsCheck = true;
  form.importFolderCheck = form.deleteFolderCheck = true;
  form.updatesCheck = form.limitSearchCheck = false;
  form.importFolderTextField = "/in";
  form.attachSizeTextField = "3";
  form.limitSearchTextField = "20";
  form.selectAcctsMboxMatrix = form.selectEmailAppMatrix = 1;
  form.selectAppearanceMatrix = 2;
  rig.settings.archive.attachState = rig.settings.archive.origState = 0;
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  EXPECT_THAT(rig.settingsStatements(),
              Contains("INSERT INTO settings (attachState,htmlState,origState,trashState,"
                       "largeAttachState,attachSize,updatesState,browseNameString,indexDateState,"
                       "indexFromState,indexToState,indexSubjectState,indexBodyState,"
                       "indexAttachNameState,indexAttachConState,mailboxesState,importFolderState,"
                       "importFolderPath,skipDupsState,indexHeadingsState,deleteFolderState,"
                       "limitSearchState,limitSearchSize,junkState,postbox,appearanceState) "
                       "VALUES(1,1,1,1,1,\"3\",0,\"\",1,0,0,0,0,0,0,1,1,\"/in\",1,0,1,0,\"20\",1,"
                       "1,2)"));
  EXPECT_TRUE(rig.settings.darkAppearance);
}

TEST(SavePreferences, TellsThatTheFileCannotBeWritten) {
  SettingsRig rig;
  PreferencesFile nowhere(rig.folder.write("file", "") + "/prefs.plist");
  Settings settings(rig.session, rig.database, nowhere, rig.process);
  const Faults faults = settings.savePreferences();
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].about, Fault::About::settings);
  EXPECT_THAT(faults[0].text, testing::HasSubstr("could not be saved"));
  EXPECT_THAT(rig.settingsStatements(), Contains("DELETE FROM settings"));
}

TEST(SavePrefButton, TakesNoImportWithoutAFolder) {
  for (const char* path : {"", "/typed"}) {
    SettingsRig rig;
    rig.settings.form.importFolderCheck = true;
    rig.settings.form.importFolderTextField = path;
    EXPECT_THAT(rig.settings.savePrefButton(), IsEmpty());
    EXPECT_EQ(rig.settings.archive.importFolderState, *path == '\0' ? 0 : 1) << path;
    EXPECT_EQ(rig.settings.archive.importFolderPath, path);
  }
}

}  // namespace
}  // namespace keldane
