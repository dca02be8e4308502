#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/settings_rig.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

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
  rig.settings.getSettings();
  const ArchiveSettings& archive = rig.settings.archive;
  EXPECT_EQ(archive.attachState, 0);
  EXPECT_EQ(archive.htmlState, 1) << "whatever the row holds";
  EXPECT_EQ(archive.origState, 1) << "whatever the row holds";
  EXPECT_EQ(archive.trashState, 1);
  EXPECT_EQ(archive.largeAttachState, 1);
  EXPECT_EQ(archive.attachSize, "2.5");
  EXPECT_EQ(archive.updatesState, 0);
  EXPECT_EQ(archive.browseNameString, "inbox");
  EXPECT_EQ(archive.indexFromState, 2);
  EXPECT_EQ(archive.indexAttachConState, 7);
  EXPECT_EQ(archive.mailboxesState, 1);
  EXPECT_EQ(archive.importFolderState, 1);
  EXPECT_EQ(archive.importFolderPath, "/in");
  EXPECT_EQ(archive.skipDupsState, 1);
  EXPECT_EQ(archive.indexHeadingsState, 8);
  EXPECT_EQ(archive.deleteFolderState, 1);
  EXPECT_EQ(archive.limitSearchState, 0);
  EXPECT_EQ(archive.limitSearchSize, "70");
  EXPECT_EQ(archive.junkState, 1);
  EXPECT_EQ(archive.postbox, 1);
  EXPECT_EQ(archive.appearanceState, 2);
  EXPECT_EQ(rig.settings.form.attachSizeTextField, "2.5");
  EXPECT_EQ(rig.settings.form.limitSearchTextField, "70");
  EXPECT_EQ(rig.settings.form.importFolderTextField, "/in");
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a", "b"));
  EXPECT_THAT(rig.settings.selectedMailboxes, ElementsAre("gr\xC3\xBC\xC3\x9F"));
  EXPECT_THAT(rig.settings.categoryList, IsEmpty());
}

TEST(GetSettings, ClearsAnImportWithoutAFolder) {
  SettingsRig rig;
  ScriptedSession::Row row = fullRow();
  row[17] = "";
  rig.session.answerOn("query SELECT attachState*", {row});
  rig.settings.form.importFolderCheck = true;
  rig.settings.getSettings();
  EXPECT_EQ(rig.settings.archive.importFolderState, 0);
  EXPECT_FALSE(rig.settings.form.importFolderCheck);
}

TEST(GetSettings, GoesOnWithoutTheRowButNotWithoutAList) {
  SettingsRig rig;
  rig.session.failOn("query SELECT attachState*", "no row");
  rig.session.answerOn("query SELECT * FROM accounts", {{"a"}});
  rig.session.failOn("query SELECT * FROM mailboxes", "no list");
  rig.settings.archive.trashState = 1;
  rig.settings.categoryList = {"kept"};
  rig.settings.getSettings();
  EXPECT_EQ(rig.settings.archive.trashState, 1);
  EXPECT_THAT(rig.settings.selectedAccounts, ElementsAre("a"));
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("kept"));
  EXPECT_THAT(rig.ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: no row\\n",
                                               "alert critical [SQL Error] SQL error: no list\\n"));
}

TEST(SaveSettings, SendsItsStatementsInOrder) {
  SettingsRig rig;
  rig.settings.archive.browseNameString = "a\\\"b";
  rig.settings.archive.importFolderPath = "/in\\";
  rig.settings.selectedAccounts = {"1-2", "x\"; DROP TABLE email; -- \\"};
  rig.settings.categoryList = {"c"};
  EXPECT_TRUE(rig.settings.saveSettings());
  const Names statements = rig.session.statements();
  ASSERT_EQ(statements.size(), 8U);
  EXPECT_EQ(statements[0], "DELETE FROM settings");
  EXPECT_THAT(statements[1],
              testing::EndsWith("VALUES(1,1,1,0,0,\"1.6\",1,\"a\\\\\"\"b\",1,0,0,0,0,"
                                "0,0,0,0,\"/in\\\",0,0,0,1,\"1000\",0,0,0)"));
  EXPECT_THAT(Names(statements.begin() + 2, statements.end()),
              ElementsAre("DELETE FROM accounts", "INSERT INTO accounts (account) VALUES(\"1-2\")",
                          "INSERT INTO accounts (account) VALUES(\"x\"\"; DROP TABLE email; -- "
                          "\\\\\")",
                          "DELETE FROM mailboxes", "DELETE FROM categories",
                          "INSERT INTO categories (category) VALUES(\"c\")"));
  EXPECT_EQ(rig.settings.archive.browseNameString, "a\\\\\"\"b") << "escaped in place";
}

TEST(SaveSettings, StopsAtTheFirstFailure) {
  const char* const failures[] = {"query DELETE FROM settings", "query INSERT INTO settings*",
                                  "query INSERT INTO accounts*", "query DELETE FROM categories"};
  for (const char* failing : failures) {
    SettingsRig rig;
    rig.settings.selectedAccounts = {"a", "b"};
    rig.session.failOn(failing, "refused");
    EXPECT_FALSE(rig.settings.saveSettings());
    EXPECT_THAT(rig.ui.alertLines(),
                ElementsAre("alert critical [SQL Error] SQL error: refused\\n"));
    EXPECT_TRUE(rig.session.calls.back().starts_with(
        std::string(failing).substr(0, std::string(failing).find('*'))));
  }
}

TEST(SaveSettings, DoesNotLetABrowseNameGrowForEver) {
  SettingsRig rig;
  rig.settings.archive.browseNameString = "\\";
  for (int i = 0; i < 200; ++i) ASSERT_TRUE(rig.settings.saveSettings());
  EXPECT_LT(rig.settings.archive.browseNameString.size(), 10000U);
}

TEST(GetCategories, FillsTheThreeMenus) {
  SettingsRig rig;
  rig.session.answerOn("query SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld",
                       {{""}, {std::nullopt}, {"Home"}, {"None"}, {"Work"}});
  rig.settings.searchCatButton.selected = 2;
  rig.settings.getCategories();
  EXPECT_THAT(rig.settings.categoryList, ElementsAre("Home", "None", "Work"));
  for (const CategoryMenu* menu :
       {&rig.settings.searchCatButton, &rig.settings.setCatButton, &rig.settings.ruleCatButton}) {
    EXPECT_THAT(menu->titles, ElementsAre("None", "Home", "Work"));
    EXPECT_EQ(menu->selected, 0U);
  }
  rig.settings.setCatButton.selected = 2;
  rig.settings.chooseSetCat();
  EXPECT_EQ(rig.settings.catTextField, "Work");
  rig.settings.setCatButton.selected = 0;
  rig.settings.chooseSetCat();
  EXPECT_EQ(rig.settings.catTextField, "");
}

TEST(GetCategories, LeavesTheMenusOnFailure) {
  SettingsRig rig;
  rig.settings.setCatButton.titles = {"None", "Kept"};
  rig.session.failOn("query SELECT DISTINCT*", "no tags");
  testing::internal::CaptureStderr();
  rig.settings.getCategories();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "SQL error: no tags, SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld\n");
  EXPECT_THAT(rig.settings.setCatButton.titles, ElementsAre("None", "Kept"));
  EXPECT_THAT(rig.ui.alertLines(), IsEmpty());
}

struct ServerRig {
  std::unique_ptr<ServerSession> session = TestServer::shared().connect();
  SettingsRigOver<ServerSession> rig{*session};
  std::string database = TestServer::shared().freshDatabase("settings");
};

TEST(SettingsOnServer, ComeBackAsTheyWere) {
  ServerRig server;
  Settings& settings = server.rig.settings;
  server.rig.database.dbPath = server.database;
  settings.getSettings();
  const Names hostile = {
      "plain",          "\"", "\"\"",    "\\", "x\\\"; -- ", "gr\xC3\xBC\xC3\x9F",
      "a'b`c%s%d\n\t?", " ",  "\\\\\"\\"};
  settings.selectedAccounts = settings.selectedMailboxes = settings.categoryList = hostile;
  settings.archive.browseNameString = "say \"hi\" \\ bye";
  settings.archive.skipDupsState = 1;
  settings.archive.appearanceState = 2;
  settings.archive.limitSearchSize = "77";
  ASSERT_TRUE(settings.saveSettings());

  SettingsRigOver<ServerSession> next(*server.session);
  next.database.dbPath = server.database;
  next.settings.getSettings();
  EXPECT_EQ(next.settings.selectedAccounts, hostile);
  EXPECT_EQ(next.settings.selectedMailboxes, hostile);
  EXPECT_EQ(next.settings.categoryList, hostile);
  EXPECT_EQ(next.settings.archive.browseNameString, "say \"hi\" \\ bye");
  EXPECT_EQ(next.settings.archive.skipDupsState, 1);
  EXPECT_EQ(next.settings.archive.appearanceState, 2);
  EXPECT_EQ(next.settings.archive.limitSearchSize, "77");
  EXPECT_THAT(next.ui.alertLines(), IsEmpty());
}

TEST(SettingsOnServer, ANewArchiveTakesOverTheOnesBefore) {
  ServerRig server;
  Settings& settings = server.rig.settings;
  server.rig.database.dbPath = server.database;
  settings.getSettings();
  settings.archive.trashState = 1;
  settings.selectedAccounts = {"first"};
  ASSERT_TRUE(settings.saveSettings());
  server.rig.database.dbPath = TestServer::shared().freshDatabase("settings");
  settings.getSettings();
  EXPECT_EQ(settings.archive.trashState, 1) << "until it is saved there";
  EXPECT_THAT(settings.selectedAccounts, IsEmpty());
  settings.archive.trashState = 0;
  ASSERT_TRUE(settings.saveSettings());
  server.rig.database.dbPath = server.database;
  settings.getSettings();
  EXPECT_EQ(settings.archive.trashState, 1);
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("first"));
}

TEST(SettingsOnServer, AQuoteInAFolderBreaksOneStatementAndNoMore) {
  ServerRig server;
  Settings& settings = server.rig.settings;
  server.rig.database.dbPath = server.database;
  settings.getSettings();
  settings.selectedAccounts = {"kept"};
  ASSERT_TRUE(settings.saveSettings());
  settings.archive.importFolderPath = "/in\",0,0,0,1,\"9\",0,0,0); DROP TABLE accounts; -- ";
  EXPECT_FALSE(settings.saveSettings());
  ASSERT_EQ(server.rig.ui.alerts.size(), 1U);
  EXPECT_EQ(server.rig.ui.alerts[0].title, "SQL Error");
  EXPECT_EQ(TestServer::shared().value("SELECT COUNT(*) FROM " + server.database + ".settings"),
            "0");
  EXPECT_EQ(TestServer::shared().value("SELECT account FROM " + server.database + ".accounts"),
            "kept");
}

TEST(SettingsOnServer, ListsTheCategoriesInUse) {
  ServerRig server;
  server.rig.database.dbPath = server.database;
  server.rig.database.openDatabase();
  for (const char* values :
       {"(1,'Work','',0,'')", "(2,'Home','',0,'')", "(3,'Work','',0,'')", "(4,'','',0,'')"}) {
    ASSERT_TRUE(server.session->query(std::string("INSERT INTO tags VALUES") + values));
  }
  server.rig.settings.getCategories();
  EXPECT_THAT(server.rig.settings.setCatButton.titles, ElementsAre("None", "Home", "Work"));
}

}  // namespace
}  // namespace keldane
