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
      {"a stored 0 is no step", "hoursStep", 0, &UserSettings::hoursStep, 5, 5},
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

TEST(GetPrefs, ReadsTheSchedule) {
  SettingsRig rig;
  rig.prefs.setText("schedDateValue", "2023-02-03 04:05:06");
  rig.prefs.set("scheddays", {PlistArray{number(0), number(1), number(0), number(1)}});
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.user.schedHour, "04");
  EXPECT_EQ(rig.settings.user.schedMinute, "05");
  EXPECT_EQ(rig.settings.user.scheddays, (std::array<int, 8>{0, 1, 0, 1, 0, 0, 0, 0}));
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
  EXPECT_TRUE(rig.settings.getPrefs());
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
  for (const char* key : {"attachState", "htmlState", "origState", "updatesState", "skipDupsState",
                          "largeAttachState", "indexDateState", "indexHeadingsState",
                          "mailboxesState", "postbox", "limitSearchState"}) {
    rig.prefs.setInteger(key, 0);
  }
  rig.prefs.setInteger("trashState", 1);
  rig.prefs.setInteger("junkState", 1);
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive, ArchiveSettings()) << "without the mark of that layout";
  rig.prefs.setText("attachSize", "2.5");
  rig.prefs.setText("limitSearchSize", "50");
  rig.prefs.set("accounts", texts({"a", "b"}));
  rig.prefs.set("mailboxes", texts({"m"}));
  rig.prefs.set("categories", texts({}));
  rig.settings.archive.browseNameString = "stale";
  rig.settings.getPrefs();
  ArchiveSettings moved;
  moved.htmlState = moved.origState = moved.updatesState = moved.indexDateState = 0;
  moved.limitSearchState = 0;
  moved.trashState = moved.junkState = 1;
  moved.attachSize = "2.5";
  moved.limitSearchSize = "50";
  moved.htmlState = rig.settings.archive.htmlState;  // set anew whenever a row is read
  moved.origState = rig.settings.archive.origState;
  EXPECT_EQ(rig.settings.archive, moved);
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a", "b"));
  EXPECT_THAT(rig.settings.selectedMailboxes, ElementsAre("m"));
  EXPECT_THAT(rig.prefs.keys(), ElementsAre("junkState", "limitSearchSize", "limitSearchState"));
  rig.settings.archive.trashState = 0;
  rig.settings.getPrefs();
  EXPECT_EQ(rig.settings.archive.trashState, 0) << "read a second time";
}

TEST(GetPrefs, AnImportFolderThatIsOffGoesWithTheAccounts) {
  SettingsRig rig;
  for (const int mailboxes : {1, 0}) {
    rig.settings.archive.mailboxesState = mailboxes;
    rig.settings.archive.importFolderPath = "/in";
    rig.settings.getPrefs();
    EXPECT_EQ(rig.settings.archive.importFolderPath, mailboxes != 0 ? "/in" : "");
    EXPECT_EQ(rig.process.tmpFilePath, "/work/mail.tmp");
  }
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
  UserSettings& user = rig.settings.user;
  user.schedTime = "2023-02-03 04:05:06";
  user.scheddays = {0, 1, 0, 0, 0, 0, 0, 1};
  user.hoursState = user.launchAttachments = user.showOnStartupState = 1;
  user.hoursStep = 6;
  user.dateFormat = user.sortFieldRow = 2;
  user.separator = user.sortOrder = user.sortFieldCol = user.setByDay = 1;
  user.leaveLogState = user.keepDiffering = user.declaredCharsets = user.indexRuns = 0;
  rig.settings.user.bodyFont = {"Courier", 12.5};
  EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());

  PreferencesFile file(rig.prefs.path());
  ASSERT_TRUE(file.load());
  EXPECT_THAT(file.keys(),
              ElementsAre("SSUCheckAtStartup", "SUAutomaticallyUpdate", "SUEnableAutomaticChecks",
                          "SUFeedURL", "SUPublicDSAKeyFile", "bodyFont", "connections", "databases",
                          "dateFormat", "dbPath", "declaredCharsets", "diskAccessState",
                          "gmailLabels", "hoursState", "hoursStep", "indexRuns", "keepDiffering",
                          "launchAttachments", "leaveLogState", "listFont", "schedDateValue",
                          "schedMday", "schedMonth", "scheddays", "separator", "setByDay",
                          "showOnStartupState", "sortFieldCol", "sortFieldRow", "sortOrder"));
  EXPECT_EQ(*file.find("SSUCheckAtStartup"), PlistValue{true});
  EXPECT_EQ(*file.find("SUEnableAutomaticChecks"), PlistValue{false});
  EXPECT_EQ(file.text("SUPublicDSAKeyFile"), "dsa_pub.pem");

  Settings next(rig.session, rig.database, file, rig.process);
  next.getPrefs();
  user.schedHour = "04";
  user.schedMinute = "05";
  EXPECT_EQ(next.user, user);
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

TEST(SavePreferences, ListsEachDatabaseThatIsToBeRemembered) {
  SettingsRig rig;
  for (const char* name : {"mail", "work", "work", "once"}) {
    rig.database.dbPath = name;
    rig.database.remembered = name != std::string("once");
    EXPECT_THAT(rig.settings.savePreferences(), IsEmpty());
  }
  EXPECT_EQ(*rig.prefs.find("databases"), texts({"mail", "work"}));
  EXPECT_EQ(rig.prefs.text("dbPath"), "work");
  EXPECT_THAT(rig.settings.forgetDatabase("work"), IsEmpty());
  EXPECT_EQ(*rig.prefs.find("databases"), texts({"mail"}));
  EXPECT_THAT(rig.settings.user.databaseList, ElementsAre("mail"));
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

}  // namespace
}  // namespace keldane
