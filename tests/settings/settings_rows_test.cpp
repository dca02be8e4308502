#include "tests/settings/settings_rig.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

auto says(const testing::Matcher<std::string>& text) { return testing::Field(&Fault::text, text); }

ScriptedSession::Row fullRow() {
  return {"0", "0", "0", "1", "1",   "2.5", "0", "inbox", "1", "2",  "3", "4", "5",
          "6", "7", "1", "1", "/in", "1",   "8", "1",     "0", "70", "1", "1", "2"};
}

TEST(GetSettings, AssignsTheRowByPosition) {
  SettingsRig rig;
  rig.session.answerOn("query SELECT attachState*", {fullRow()});
  rig.session.answerOn("query SELECT * FROM accounts", {{"a"}, {std::nullopt}, {""}, {"b"}});
  rig.session.answerOn("query SELECT * FROM mailboxes", {{"gr\xFC\xDF"}});
  rig.settings.selectedAccounts = {"stale"};
  rig.settings.categoryList = {"stale"};
  EXPECT_THAT(rig.settings.getSettings(), IsEmpty());
  // The second and third are on whatever the row holds.
  EXPECT_EQ(rig.settings.archive,
            (ArchiveSettings{0, 1, 1, 1, 1,     "2.5", 0, "inbox", 1, 2,    3, 4, 5,
                             6, 7, 1, 1, "/in", 1,     8, 1,       0, "70", 1, 1, 2}));
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a", "b"));
  EXPECT_THAT(rig.settings.selectedMailboxes, ElementsAre("gr\xC3\xBC\xC3\x9F"));
  EXPECT_THAT(rig.settings.categoryList, IsEmpty());

  SettingsRig other;
  ScriptedSession::Row row = fullRow();
  row[17] = "";
  other.session.answerOn("query SELECT attachState*", {row});
  EXPECT_THAT(other.settings.getSettings(), IsEmpty());
  EXPECT_EQ(other.settings.archive.importFolderState, 0) << "no import without a folder";
}

TEST(GetSettings, GoesOnWithoutTheRowButNotWithoutAList) {
  SettingsRig rig;
  rig.session.failOn("query SELECT attachState*", "no row");
  rig.session.answerOn("query SELECT * FROM accounts", {{"a"}});
  rig.session.failOn("query SELECT * FROM mailboxes", "no list");
  rig.settings.archive.trashState = 1;
  rig.settings.categoryList = {"kept"};
  const Faults faults = rig.settings.getSettings();
  EXPECT_EQ(rig.settings.archive.trashState, 1);
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a"));
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("kept"));
  EXPECT_THAT(faults, ElementsAre(says("SQL error: no row\n"), says("SQL error: no list\n")));
}

TEST(SaveSettings, WritesOnlyWhatHasChanged) {
  SettingsRig rig;
  rig.session.answerOn("query SELECT attachState*", {fullRow()});
  rig.session.answerOn("query SELECT GET_LOCK*", {{"1"}});
  EXPECT_THAT(rig.settings.getSettings(), IsEmpty());
  rig.session.calls.clear();
  EXPECT_THAT(rig.settings.saveSettings(), IsEmpty());
  EXPECT_THAT(rig.session.calls, IsEmpty());
  rig.settings.selectedAccounts = {"a"};
  EXPECT_THAT(rig.settings.saveSettings(), IsEmpty());
  EXPECT_THAT(rig.session.calls, testing::Not(testing::Contains("query DELETE FROM settings")));
}

TEST(SaveSettings, LeavesAloneWhatItCouldNotReadOrLock) {
  const struct {
    const char* name;
    const char* failing;
    const char* fault;
  } rows[] = {
      {"row", "query SELECT attachState*", "have not been read"},
      {"list", "query SELECT * FROM mailboxes", "have not been read"},
      {"lock", nullptr, "another program is saving"},
  };
  for (const auto& row : rows) {
    SettingsRig rig;
    rig.session.answerOn("query SELECT attachState*", {fullRow()});
    if (row.failing != nullptr) {
      rig.session.failOn(row.failing, "refused", 1);
    } else {
      rig.session.answerOn("query SELECT GET_LOCK*", {{"0"}});
    }
    static_cast<void>(rig.settings.getSettings());
    rig.settings.archive.trashState = 7;
    rig.session.calls.clear();
    EXPECT_THAT(rig.settings.saveSettings(), ElementsAre(says(testing::HasSubstr(row.fault))))
        << row.name;
    EXPECT_THAT(rig.session.calls, testing::Not(testing::Contains("query DELETE FROM settings")))
        << row.name;
  }
}

TEST(SaveSettings, RefusesWhatDoesNotFitBeforeItDeletes) {
  const struct {
    const char* name;
    void (*change)(Settings&);
  } rows[] = {
      {"browse name", [](Settings& s) { s.archive.browseNameString = std::string(128, 'n'); }},
      {"folder", [](Settings& s) { s.archive.importFolderPath = "/" + std::string(127, 'n'); }},
      {"folder with a quote", [](Settings& s) { s.archive.importFolderPath = "/a\"b"; }},
      {"size", [](Settings& s) { s.archive.attachSize = "1.6\\"; }},
      {"account", [](Settings& s) { s.selectedAccounts = {std::string(128, 'n')}; }},
      {"mailbox", [](Settings& s) { s.selectedMailboxes = {std::string(256, 'n')}; }},
  };
  for (const auto& row : rows) {
    SettingsRig rig;
    EXPECT_THAT(rig.settings.getSettings(), IsEmpty());
    rig.session.calls.clear();
    row.change(rig.settings);
    EXPECT_THAT(rig.settings.saveSettings(),
                ElementsAre(says(testing::HasSubstr("cannot be kept"))))
        << row.name;
    EXPECT_THAT(rig.session.calls, IsEmpty()) << row.name;
  }
}

TEST(GetCategories, KeepsThoseForMenusWhenTheServerRefuses) {
  SettingsRig rig;
  rig.session.failOn("query SELECT DISTINCT*", "no tags");
  rig.settings.categoryList = rig.settings.categoriesInUse = {"Kept"};
  testing::internal::CaptureStderr();
  EXPECT_THAT(rig.settings.getCategories(), IsEmpty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "SQL error: no tags, SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld\n");
  EXPECT_THAT(rig.settings.categoryList, IsEmpty());
  EXPECT_THAT(rig.settings.categoriesInUse, ElementsAre("Kept"));
}

struct ServerRig {
  ServerRig() { rig.database.dbPath = database; }
  std::unique_ptr<ServerSession> session = TestServer::shared().connect();
  SettingsRigOver<ServerSession> rig{*session};
  std::string database = TestServer::shared().freshDatabase("settings");
};

TEST(SettingsOnServer, ComeBackAsTheyWere) {
  ServerRig server;
  Settings& settings = server.rig.settings;
  EXPECT_THAT(settings.getSettings(), IsEmpty());
  const Names hostile = {
      "plain",          "\"", "\"\"",    "\\", "x\\\"; -- ", "gr\xC3\xBC\xC3\x9F",
      "a'b`c%s%d\n\t?", " ",  "\\\\\"\\"};
  settings.selectedAccounts = settings.selectedMailboxes = settings.categoryList = hostile;
  settings.archive = {
      1, 1, 1, 1,    1, "2.5", 0, "say \"hi\" \\ bye", 1, 2, 3, 4, 5, 6, 7, 1, 1, "/in", 1,
      8, 1, 0, "77", 1, 1,     2};
  ASSERT_THAT(settings.saveSettings(), IsEmpty());

  SettingsRigOver<ServerSession> next(*server.session);
  next.database.dbPath = server.database;
  EXPECT_THAT(next.settings.getSettings(), IsEmpty());
  EXPECT_EQ(next.settings.selectedAccounts, hostile);
  EXPECT_EQ(next.settings.selectedMailboxes, hostile);
  EXPECT_EQ(next.settings.categoryList, hostile);
  EXPECT_EQ(next.settings.archive, settings.archive);
}

TEST(SettingsOnServer, ANewArchiveTakesOverTheOnesBefore) {
  ServerRig server;
  Settings& settings = server.rig.settings;
  EXPECT_THAT(settings.getSettings(), IsEmpty());
  settings.archive.trashState = 1;
  settings.selectedAccounts = {"first"};
  ASSERT_THAT(settings.saveSettings(), IsEmpty());
  server.rig.database.dbPath = TestServer::shared().freshDatabase("settings");
  EXPECT_THAT(settings.getSettings(), IsEmpty());
  EXPECT_EQ(settings.archive.trashState, 1) << "until it is saved there";
  EXPECT_THAT(settings.selectedAccounts, IsEmpty());
  settings.archive.trashState = 0;
  ASSERT_THAT(settings.saveSettings(), IsEmpty());
  server.rig.database.dbPath = server.database;
  EXPECT_THAT(settings.getSettings(), IsEmpty());
  EXPECT_EQ(settings.archive.trashState, 1);
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("first"));
}

TEST(SettingsOnServer, TwoProgramsKeepEachOthersChanges) {
  ServerRig first;
  ServerRig second;
  ServerRig reader;
  for (ServerRig* each : {&first, &second, &reader}) each->rig.database.dbPath = first.database;
  Settings& one = first.rig.settings;
  Settings& two = second.rig.settings;
  EXPECT_THAT(one.getSettings(), IsEmpty());
  one.selectedAccounts = {"old", "gone"};
  one.archive.trashState = 1;
  ASSERT_THAT(one.saveSettings(), IsEmpty());
  EXPECT_THAT(two.getSettings(), IsEmpty());
  one.selectedAccounts = {"old", "mine"};
  one.archive.limitSearchSize = "5";
  two.selectedAccounts = {"yours", "old", "gone"};
  two.archive.browseNameString = "yours";
  ASSERT_THAT(one.saveSettings(), IsEmpty());
  ASSERT_THAT(two.saveSettings(), IsEmpty());
  one.archive.junkState = 1;
  ASSERT_THAT(one.saveSettings(), IsEmpty());

  Settings& found = reader.rig.settings;
  EXPECT_THAT(found.getSettings(), IsEmpty());
  EXPECT_THAT(found.selectedAccounts, testing::UnorderedElementsAre("old", "mine", "yours"));
  EXPECT_EQ(found.archive.trashState, 1);
  EXPECT_EQ(found.archive.limitSearchSize, "5");
  EXPECT_EQ(found.archive.browseNameString, "yours");
  EXPECT_EQ(found.archive.junkState, 1);
  EXPECT_EQ(TestServer::shared().value("SELECT COUNT(*) FROM " + first.database + ".settings"),
            "1");
}

TEST(SettingsOnServer, AFailureLeavesThemAsTheyWere) {
  for (const std::string engine : {"InnoDB", "MyISAM"}) {
    ServerRig server;
    Settings& settings = server.rig.settings;
    EXPECT_THAT(settings.getSettings(), IsEmpty());
    for (const char* table : {"settings", "accounts"}) {
      ASSERT_TRUE(server.session->query("ALTER TABLE " + std::string(table) + " ENGINE=" + engine));
    }
    settings.selectedAccounts = {"kept"};
    settings.archive.trashState = 1;
    ASSERT_THAT(settings.saveSettings(), IsEmpty());
    ASSERT_TRUE(server.session->query(
        "CREATE TRIGGER refuses BEFORE INSERT ON accounts FOR EACH ROW IF NEW.account='refused' "
        "THEN SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT='not this one'; END IF"))
        << server.session->error();
    settings.archive.trashState = 0;
    settings.selectedAccounts = {"kept", "refused"};
    EXPECT_THAT(settings.saveSettings(), ElementsAre(says("SQL error: not this one\n"))) << engine;
    const std::string from = " FROM " + server.database + ".";
    TestServer& other = TestServer::shared();
    EXPECT_EQ(other.value("SELECT SUM(trashState)" + from + "settings"), "1") << engine;
    EXPECT_EQ(other.value("SELECT GROUP_CONCAT(account)" + from + "accounts"), "kept") << engine;
  }
}

TEST(SettingsOnServer, ListsTheCategoriesInUse) {
  ServerRig server;
  EXPECT_THAT(server.rig.database.openDatabase(), IsEmpty());
  for (const char* values :
       {"(1,'Work','',0,'')", "(2,'Home','',0,'')", "(3,'Work','',0,'')", "(4,'','',0,'')"}) {
    ASSERT_TRUE(server.session->query(std::string("INSERT INTO tags VALUES") + values));
  }
  EXPECT_THAT(server.rig.settings.getCategories(), IsEmpty());
  EXPECT_THAT(server.rig.settings.categoryList, ElementsAre("Home", "Work"));
  EXPECT_THAT(server.rig.settings.categoriesInUse, ElementsAre("Home", "Work"));
}

}  // namespace
}  // namespace keldane
