#include "server/connections.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/existing_archive.h"
#include "server/local_server.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Connections over a session, with every other room standing in as a line among the calls of the
/// user interface.
struct Bench {
  explicit Bench(ServerSession& session)
      : prefs(folder / "prefs.plist"),
        database(session, ui, process),
        connections(session, database, prefs, ui, process) {
    connections.setCallbacks(callbacks());
    process.launchArguments = {"/opt/Keldane Pro/keldane"};
  }
  Connections::Callbacks callbacks() {
    const auto step = [this](const char* name) {
      return [this, name] { ui.calls.emplace_back(name); };
    };
    Connections::Callbacks made;
    made.forgetPostboxFolder = step("forgetPostboxFolder");
    made.getSettings = step("getSettings");
    made.showAppearanceAndPostbox = step("showAppearanceAndPostbox");
    made.resetPrefs = step("resetPrefs");
    made.savePreferences = step("savePreferences");
    made.getPrefs = step("getPrefs");
    made.getCategories = step("getCategories");
    made.get500emails = step("get500emails");
    made.saveSelectedSources = step("saveSelectedSources");
    made.setStoreDate = step("setStoreDate");
    return made;
  }
  void save(const std::string& name, const std::string& host = "", const std::string& port = "") {
    connections.form = {};
    connections.form.connectNameTextField = name;
    connections.form.hostTextField = host;
    connections.form.portTextField = port;
    connections.saveConnection();
  }

  TemporaryFolder folder;
  RecordingUserInterface ui;
  ProcessState process;
  PreferencesFile prefs;
  ArchiveDatabase database;
  Connections connections;
};

class ConnectionsTest : public testing::Test {
 protected:
  ConnectionsTest() : bench_(session_) {
    session_.answerOn("query SHOW COLUMNS*", {{"x", "mediumtext"}});
  }
  [[nodiscard]] std::vector<std::string> connects() const {
    std::vector<std::string> found;
    for (const std::string& call : session_.calls) {
      if (call.starts_with("connect")) found.push_back(call);
    }
    return found;
  }

  ScriptedSession session_;
  Bench bench_;
  RecordingUserInterface& ui_ = bench_.ui;
  Connections& connections_ = bench_.connections;
};

TEST_F(ConnectionsTest, AConnectTakesItsStepsInOrder) {
  bench_.database.openDatabase();  // so that the index step, once in a process, is behind us
  ui_.calls.clear();
  session_.calls.clear();
  ui_.visiblePanels = {"connectPanel"};
  connections_.firstRun = true;
  connections_.form.dbPathTextField = "mail";
  bench_.database.dbPath = "other";
  connections_.doConnect();
  EXPECT_TRUE(connections_.isConnected());
  EXPECT_EQ(bench_.database.dbPath, "mail");
  EXPECT_THAT(ui_.calls,
              ElementsAre("endModal", "close connectPanel", "forgetPostboxFolder", "getSettings",
                          "showAppearanceAndPostbox", "resetPrefs", "savePreferences", "getPrefs",
                          "savePreferences", "getCategories", "progress end", "get500emails"));
  ASSERT_GE(session_.calls.size(), 5u);
  EXPECT_EQ(session_.calls[0], "close");
  EXPECT_EQ(session_.calls[1], "init");
  EXPECT_EQ(session_.calls[2], "connect localhost root  mail - 0");
  EXPECT_EQ(session_.calls[3], "query SET SESSION sql_mode=''");
  EXPECT_EQ(session_.calls[4], "query CREATE DATABASE IF NOT EXISTS mail");
  EXPECT_FALSE(connections_.firstRun);
  EXPECT_TRUE(connections_.takeConnectPanelMayClose());
  EXPECT_FALSE(connections_.takeConnectPanelMayClose());
}

TEST_F(ConnectionsTest, TheFormBecomesTheClientsArguments) {
  struct Row {
    const char* name;
    ConnectForm form;  // name, host, user, password, database, socket, port
    const char* line;
  };
  const Row rows[] = {
      {"empty", {}, "connect localhost root  - - 0"},
      {"full",
       {"n", "db.example", "anne", "s3", "mail", "/run/s.sock", "3307"},
       "connect db.example anne s3 mail /run/s.sock 3307"},
      {"texts with no ASCII form",
       {"n", "h\xC3\xB4te", "ren\xC3\xA9", "\xC3\xA9", "\xC3\xA9t\xC3\xA9", "/\xC3\xA9", "0"},
       "connect - - - - - 0"},
      {"port with text", {"n", "h", "u", "", "", "", "12ab"}, "connect h u  - - 12"},
  };
  for (const Row& row : rows) {
    session_.calls.clear();
    bench_.database.dbPath.clear();
    connections_.form = row.form;
    connections_.doConnect();
    EXPECT_THAT(connects(), ElementsAre(row.line)) << row.name;
  }
}

TEST_F(ConnectionsTest, AMissingDatabaseIsMadeAndKept) {
  session_.failOn("connect * mail - 0", "Unknown database 'mail'");
  connections_.form.dbPathTextField = "mail";
  connections_.doConnect();
  EXPECT_TRUE(connections_.isConnected());
  EXPECT_THAT(connects(),
              ElementsAre("connect localhost root  mail - 0", "connect localhost root  - - 0"));
  EXPECT_EQ(session_.statements().at(1), "CREATE DATABASE IF NOT EXISTS mail");
  EXPECT_EQ(ui_.calls[1], "progress Indexing...");
  PreferencesFile saved(bench_.folder / "prefs.plist");
  ASSERT_TRUE(saved.load());
  EXPECT_EQ(saved.text("dbPath"), "mail");
  EXPECT_TRUE(saved.has("panelFont"));
}

TEST_F(ConnectionsTest, AReadingCommandMakesAndSavesNothing) {
  bench_.database.opening = Opening::existing;
  connections_.firstRun = true;
  connections_.form.dbPathTextField = bench_.database.dbPath = "mail";
  connections_.doConnect();
  EXPECT_TRUE(connections_.isConnected());
  EXPECT_THAT(ui_.calls, ElementsAre("endModal", "forgetPostboxFolder", "getSettings",
                                     "showAppearanceAndPostbox", "getPrefs", "getCategories",
                                     "progress end", "get500emails"));
  for (const std::string& sql : session_.statements()) {
    EXPECT_TRUE(sql.starts_with("SELECT ") || sql.starts_with("SET SESSION")) << sql;
  }
}

TEST_F(ConnectionsTest, ANameThatIsNoneIsNeitherSentNorKept) {
  Connections::Callbacks callbacks = bench_.callbacks();
  callbacks.connectFailed = [](const std::string&) {};
  connections_.setCallbacks(std::move(callbacks));
  for (const char* name :
       {"my mail", "mail;", "12", "1e5", "0x1F", "a`b", "a/b", "a-b", "\x1B[2J"}) {
    connections_.form.dbPathTextField = name;
    bench_.database.dbPath.clear();
    connections_.doConnect();
    EXPECT_THAT(connects(), IsEmpty()) << name;
    EXPECT_FALSE(connections_.isConnected()) << name;
  }
  EXPECT_FALSE(bench_.prefs.has("dbPath"));
  for (const char* name : {"mail", "2019mail", "$m_1", "gr\xC3\xBC\xC3\x9F", "e5"}) {
    EXPECT_TRUE(checkDatabaseName(name)) << name;
  }
}

TEST_F(ConnectionsTest, AFailureIsShownAndTheFormComesBackUntilItWorks) {
  session_.failOn("connect wrong *", "Unknown server host 'wrong'");
  connections_.form.hostTextField = "wrong";
  int shown = 0;
  ui_.onModal = [&](std::string_view panel) {
    EXPECT_EQ(panel, "connectPanel");
    EXPECT_FALSE(connections_.isConnected());
    if (++shown == 3) connections_.form.hostTextField = "right";
    connections_.doConnect();
  };
  connections_.doConnect();
  EXPECT_TRUE(connections_.isConnected());
  EXPECT_EQ(shown, 3);
  ASSERT_EQ(ui_.alerts.size(), 3u);
  EXPECT_EQ(ui_.alerts[0].title, "SQL Error");
  EXPECT_EQ(ui_.alerts[0].style, AlertStyle::critical);
  EXPECT_EQ(ui_.alerts[0].text,
            "Failed to connect to server: Error: Unknown server host 'wrong'\n");
  EXPECT_EQ(bench_.process.cancelFlag, 0);
}

TEST_F(ConnectionsTest, AFaceWithoutAFormIsToldAndNobodyTriesAgain) {
  session_.failOn("connect *", "Can't connect to server");
  session_.failOn("query *", "Server has gone away");
  std::vector<std::string> told;
  Connections::Callbacks callbacks = bench_.callbacks();
  callbacks.connectFailed = [&](const std::string& error) { told.push_back(error); };
  connections_.setCallbacks(std::move(callbacks));
  bench_.database.setCallbacks(
      {.reconnect = [this] { connections_.doConnect(); }, .databaseDropped = {}});
  bench_.database.openDatabase();
  EXPECT_THAT(told, ElementsAre("Can't connect to server"));
  EXPECT_THAT(ui_.lines("modal"), IsEmpty());
  EXPECT_EQ(bench_.process.cancelFlag, 1);
  EXPECT_FALSE(connections_.isConnected());
}

TEST_F(ConnectionsTest, OnlyThePrivateServerIsMadeReady) {
  int asked = 0;
  bool fails = false;
  Connections::Callbacks callbacks = bench_.callbacks();
  callbacks.prepareServer = [&](ConnectForm& form, std::string& error) {
    ++asked;
    form.socketTextField = "/run/own.sock";
    error = "no server program";
    return !fails;
  };
  connections_.setCallbacks(std::move(callbacks));
  connections_.form.connectNameTextField = "Work";
  connections_.doConnect();
  EXPECT_EQ(asked, 0);

  connections_.form.connectNameTextField = kLocalConnectionName;
  connections_.doConnect();
  EXPECT_EQ(connects().back(), "connect localhost root  - /run/own.sock 0");
  EXPECT_EQ(connections_.current().socket, "/run/own.sock");

  fails = true;
  session_.calls.clear();
  connections_.doConnect();
  EXPECT_THAT(connects(), IsEmpty());
  EXPECT_FALSE(connections_.isConnected());
  EXPECT_EQ(ui_.alerts.back().text, "Failed to connect to server: Error: no server program\n");
}

TEST_F(ConnectionsTest, TheNameIsTheIdentityOfASavedConnection) {
  bench_.save("one", "a");
  bench_.save("two", "b", "3307");
  bench_.save("three", "c");
  bench_.save("two", "changed");
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("one", "two", "three"));
  EXPECT_EQ(connections_.connectionList()[1].host, "changed");
  EXPECT_EQ(connections_.connectionList()[1].port, 0);
  EXPECT_EQ(connections_.selectedConnection(), 1);
  EXPECT_THAT(ui_.lines("setStoreDate"), IsEmpty());

  Bench again(session_);
  PreferencesFile saved(bench_.folder / "prefs.plist");
  ASSERT_TRUE(saved.load());
  ASSERT_NE(saved.find("connections"), nullptr);
  again.prefs.set("connections", *saved.find("connections"));
  again.prefs.setInteger("selectedConnection", 1);
  again.connections.getConnectionPrefs();
  EXPECT_EQ(again.connections.connectionList(), connections_.connectionList());
  EXPECT_EQ(again.connections.form.hostTextField, "changed");

  bench_.process.unattendedRun = 1;
  bench_.save("four");
  EXPECT_EQ(ui_.lines("setStoreDate").size(), 1u);
}

TEST_F(ConnectionsTest, TwoProgramsKeepEachOthersConnections) {
  bench_.save("one");
  bench_.save("two");
  Bench other(session_);
  PreferencesFile shared(bench_.prefs.path());
  ASSERT_TRUE(shared.load());
  Connections theirs(session_, other.database, shared, other.ui, other.process);
  theirs.getConnectionPrefs();
  theirs.selectConnection(0);
  EXPECT_TRUE(theirs.deleteConnection());
  bench_.save("three");
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("two", "three"));
  EXPECT_EQ(connections_.selectedConnection(), 1);
}

TEST_F(ConnectionsTest, AUsedConnectionBringsItsDatabaseAndLeavesThatOfTheOther) {
  bench_.save("own");
  connections_.form = {"work", "h", "", "", "mail", "", ""};
  connections_.saveConnection();
  bench_.prefs.setText("dbPath", "archive");
  connections_.selectConnection(0);
  EXPECT_TRUE(connections_.useConnection(1));
  EXPECT_EQ(bench_.prefs.text("dbPath"), "mail");
  EXPECT_EQ(bench_.prefs.integer("selectedConnection"), 1);
  EXPECT_TRUE(connections_.useConnection(0));
  EXPECT_EQ(bench_.prefs.text("dbPath"), "archive");
  EXPECT_EQ(bench_.prefs.integer("selectedConnection"), 0);
}

TEST_F(ConnectionsTest, APortOfZeroIsShownBlank) {
  bench_.save("plain", "h", "");
  EXPECT_EQ(connections_.form.portTextField, "");
  bench_.save("other", "h", "3310");
  EXPECT_EQ(connections_.form.portTextField, "3310");
  connections_.selectConnection(0);
  EXPECT_EQ(connections_.form.portTextField, "");
  connections_.selectConnection(7);
  EXPECT_EQ(connections_.selectedConnection(), 0);
}

TEST_F(ConnectionsTest, ADeletionSelectsTheFirstRowAndFormsTheCommandAnew) {
  for (const char* name : {"one", "two", "three"}) bench_.save(name);
  bench_.process.launchArguments.emplace_back("7 days");
  connections_.selectConnection(2);
  connections_.deleteConnection();
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("one", "two"));
  EXPECT_EQ(connections_.selectedConnection(), 0);
  EXPECT_EQ(connections_.form.connectNameTextField, "one");
  EXPECT_EQ(bench_.process.launchCommand, "/opt/Keldane\\ Pro/keldane 1\n");
  EXPECT_EQ(bench_.process.unattendedRun, 7);
  EXPECT_EQ(connections_.storePanelWhite, 0.6);
  for (int i = 0; i < 3; ++i) connections_.deleteConnection();
  EXPECT_THAT(connections_.connectionList(), IsEmpty());
  EXPECT_EQ(connections_.form.connectNameTextField, "two") << "the form stays as it is";
}

TEST_F(ConnectionsTest, AFirstStartIsOneWithoutADatabase) {
  connections_.getConnectionPrefs();
  EXPECT_TRUE(connections_.firstRun);
  EXPECT_THAT(ui_.calls, ElementsAre("resetPrefs", "saveSelectedSources"));

  Bench later(session_);
  later.prefs.setText("dbPath", "mail");
  later.connections.getConnectionPrefs();
  EXPECT_FALSE(later.connections.firstRun);
  EXPECT_EQ(later.database.dbPath, "mail");
}

TEST_F(ConnectionsTest, DamagedPreferencesGiveWhatCanBeRead) {
  PlistDict entry;
  entry["name"] = PlistValue{std::string("kept")};
  entry["port"] = PlistValue{std::string("3306")};
  entry["host"] = PlistValue{PlistArray{}};
  bench_.prefs.setText("dbPath", "mail");
  bench_.prefs.set("connections",
                   PlistValue{PlistArray{PlistValue{std::string("no entry")}, PlistValue{entry}}});
  bench_.prefs.setInteger("selectedConnection", 40);
  connections_.getConnectionPrefs();
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("kept"));
  EXPECT_EQ(connections_.selectedConnection(), 0);
  EXPECT_EQ(connections_.form.portTextField, "3306");
  EXPECT_EQ(connections_.form.hostTextField, "");
}

TEST(ConnectionsOnServer, ALostServerIsFoundAgainByItself) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "a server that is given is not killed";
  TestServer& server = TestServer::shared();
  const auto session = makeMysqlSession();
  Bench bench(*session);
  bench.database.setCallbacks(
      {.reconnect = [&] { bench.connections.doConnect(); }, .databaseDropped = {}});
  const std::string name = server.freshDatabase("connect");
  bench.connections.form.dbPathTextField = name;
  bench.connections.form.socketTextField = *server.address().socket;
  bench.connections.doConnect();
  ASSERT_TRUE(bench.connections.isConnected());
  EXPECT_THAT(bench.ui.alertLines(), IsEmpty());
  bench.connections.doConfigure();
  ASSERT_TRUE(session->query("INSERT INTO settings (trashState) VALUES(5)")) << session->error();

  server.kill();
  server.restart();
  const auto strict = server.connect();
  ASSERT_TRUE(
      strict->query("SET GLOBAL sql_mode='STRICT_ALL_TABLES,ANSI_QUOTES,NO_BACKSLASH_ESCAPES'"));
  bench.database.openDatabase();
  EXPECT_THAT(bench.ui.alertLines(), IsEmpty());
  ASSERT_TRUE(session->query("SELECT @@SESSION.sql_mode")) << session->error();
  EXPECT_EQ(fetchFirstCell(*session), "");
  ASSERT_TRUE(session->query("SELECT DATABASE()")) << session->error();
  EXPECT_EQ(fetchFirstCell(*session), name);
}

TEST(Connections, ASessionOpenedUnderASmallLimitTakesLargeMessages) {
  TestServer& server = TestServer::shared();
  const auto owner = server.connect();
  ASSERT_TRUE(owner->query("SET GLOBAL max_allowed_packet=2097152")) << owner->error();
  const auto session = makeMysqlSession();
  Bench bench(*session);
  const std::string name = server.freshDatabase("packets");
  bench.connections.form.dbPathTextField = name;
  bench.connections.form.socketTextField = *server.address().socket;
  bench.connections.doConnect();
  ASSERT_TRUE(bench.connections.isConnected());
  bench.connections.doConfigure();
  ASSERT_TRUE(session->query("SELECT LENGTH('" + std::string(4000000, 'x') + "')"))
      << session->error();
  EXPECT_EQ(fetchFirstCell(*session), "4000000");
  ASSERT_TRUE(session->query("SELECT DATABASE()")) << session->error();
  EXPECT_EQ(fetchFirstCell(*session), name);
}

}  // namespace
}  // namespace keldane
