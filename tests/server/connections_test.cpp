#include "server/connections.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/existing_archive.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Connections over a session, in a folder of their own.
struct Bench {
  explicit Bench(ServerSession& session)
      : prefs(folder / "prefs.plist"),
        database(session, progress, process),
        connections(session, database, prefs, progress, process) {
    process.launchArguments = {"/opt/Keldane Pro/keldane"};
  }
  void save(const std::string& name, const std::string& host = "", int port = 0) {
    EXPECT_TRUE(connections.saveConnection({name, host, "", "", "", "", port}));
  }

  TemporaryFolder folder;
  RecordingProgress progress;
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
  Connections& connections_ = bench_.connections;
};

TEST_F(ConnectionsTest, AConnectionBecomesTheClientsArguments) {
  struct Row {
    const char* name;
    ServerConnection connection;
    const char* line;
  };
  const Row rows[] = {
      {"empty", {}, "connect    - - 0"},
      {"full",
       {"n", "db.example", "anne", "s3", "mail", "/run/s.sock", 3307},
       "connect db.example anne s3 mail /run/s.sock 3307"},
      {"texts with no ASCII form",
       {"n", "h\xC3\xB4te", "ren\xC3\xA9", "\xC3\xA9", "\xC3\xA9t\xC3\xA9", "/\xC3\xA9", 0},
       "connect - - - - - 0"},
  };
  for (const Row& row : rows) {
    session_.calls.clear();
    bench_.database.dbPath.clear();
    EXPECT_THAT(connections_.connect(row.connection), IsEmpty()) << row.name;
    EXPECT_THAT(connects(), ElementsAre(row.line)) << row.name;
    EXPECT_EQ(session_.statements().front(), "SET SESSION wsrep_sync_wait=1,sql_mode=''")
        << row.name;
  }
}

TEST_F(ConnectionsTest, TheDatabaseInUseStaysInUse) {
  bench_.database.dbPath = "other";
  EXPECT_THAT(connections_.connect({"", "h", "u", "", "mail", "", 0}), IsEmpty());
  EXPECT_EQ(bench_.database.dbPath, "other");
  EXPECT_EQ(connections_.current().database, "other");
}

TEST_F(ConnectionsTest, AMissingDatabaseIsMadeAndKept) {
  session_.failOn("connect * mail - 0", "Unknown database 'mail'");
  EXPECT_THAT(connections_.connect({"", "h", "u", "", "mail", "", 0}), IsEmpty());
  EXPECT_TRUE(connections_.isConnected());
  EXPECT_THAT(connects(), ElementsAre("connect h u  mail - 0", "connect h u  - - 0"));
  EXPECT_EQ(session_.statements().at(2), "CREATE DATABASE IF NOT EXISTS mail");
  EXPECT_EQ(bench_.progress.stages.front(), "Indexing...");
  EXPECT_EQ(bench_.progress.stages.back(), "end");
  PreferencesFile saved(bench_.folder / "prefs.plist");
  ASSERT_TRUE(saved.load());
  EXPECT_EQ(saved.text("dbPath"), "mail");
  EXPECT_TRUE(saved.has("panelFont"));
}

TEST_F(ConnectionsTest, ANameThatIsNoneIsNeitherSentNorKept) {
  for (const char* name :
       {"my mail", "mail;", "12", "1e5", "0x1F", "a`b", "a/b", "a-b", "\x1B[2J"}) {
    bench_.database.dbPath.clear();
    EXPECT_EQ(connections_.connect({"", "h", "u", "", name, "", 0}).size(), 1U) << name;
    EXPECT_THAT(connects(), IsEmpty()) << name;
    EXPECT_FALSE(connections_.isConnected()) << name;
  }
  EXPECT_FALSE(bench_.prefs.has("dbPath"));
  for (const char* name : {"mail", "2019mail", "$m_1", "gr\xC3\xBC\xC3\x9F", "e5"}) {
    EXPECT_TRUE(checkDatabaseName(name)) << name;
  }
}

TEST_F(ConnectionsTest, TheNameIsTheIdentityOfASavedConnection) {
  bench_.save("one", "a");
  bench_.save("two", "b", 3307);
  bench_.save("three", "c");
  bench_.save("two", "changed");
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("one", "two", "three"));
  EXPECT_EQ(connections_.connectionList()[1].host, "changed");
  EXPECT_EQ(connections_.connectionList()[1].port, 0);
  EXPECT_EQ(connections_.selectedConnection(), 1);

  Bench again(session_);
  PreferencesFile saved(bench_.folder / "prefs.plist");
  ASSERT_TRUE(saved.load());
  ASSERT_NE(saved.find("connections"), nullptr);
  again.prefs.set("connections", *saved.find("connections"));
  again.prefs.setInteger("selectedConnection", 1);
  again.connections.getConnectionPrefs();
  EXPECT_EQ(again.connections.connectionList(), connections_.connectionList());
  EXPECT_EQ(again.connections.current().host, "changed");
}

TEST_F(ConnectionsTest, TwoProgramsKeepEachOthersConnections) {
  bench_.save("one");
  bench_.save("two");
  Bench other(session_);
  PreferencesFile shared(bench_.prefs.path());
  ASSERT_TRUE(shared.load());
  Connections theirs(session_, other.database, shared, other.progress, other.process);
  theirs.getConnectionPrefs();
  theirs.selectConnection(0);
  EXPECT_TRUE(theirs.deleteConnection());
  bench_.save("three");
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("two", "three"));
  EXPECT_EQ(connections_.selectedConnection(), 1);
}

TEST_F(ConnectionsTest, AUsedConnectionBringsItsDatabaseAndLeavesThatOfTheOther) {
  bench_.save("own");
  connections_.saveConnection({"work", "h", "", "", "mail", "", 0});
  bench_.prefs.setText("dbPath", "archive");
  connections_.selectConnection(0);
  EXPECT_TRUE(connections_.useConnection(1));
  EXPECT_EQ(bench_.prefs.text("dbPath"), "mail");
  EXPECT_EQ(bench_.prefs.integer("selectedConnection"), 1);
  EXPECT_TRUE(connections_.useConnection(0));
  EXPECT_EQ(bench_.prefs.text("dbPath"), "archive");
  EXPECT_EQ(bench_.prefs.integer("selectedConnection"), 0);
}

TEST_F(ConnectionsTest, ADeletionSelectsTheFirstRowAndFormsTheCommandAnew) {
  for (const char* name : {"one", "two", "three"}) bench_.save(name);
  bench_.process.launchArguments.emplace_back("7 days");
  connections_.selectConnection(2);
  connections_.deleteConnection();
  EXPECT_THAT(connections_.connectionNames(), ElementsAre("one", "two"));
  EXPECT_EQ(connections_.selectedConnection(), 0);
  EXPECT_EQ(connections_.current().name, "one");
  EXPECT_EQ(bench_.process.launchCommand, "/opt/Keldane\\ Pro/keldane 1\n");
  EXPECT_EQ(bench_.process.unattendedRun, 7);
  for (int i = 0; i < 3; ++i) connections_.deleteConnection();
  EXPECT_THAT(connections_.connectionList(), IsEmpty());
  EXPECT_EQ(connections_.current().name, "two") << "as the form shows it";
}

TEST_F(ConnectionsTest, AFirstStartIsOneWithoutADatabase) {
  connections_.getConnectionPrefs();
  EXPECT_TRUE(connections_.firstRun);

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
  EXPECT_EQ(connections_.current().port, 3306);
  EXPECT_EQ(connections_.current().host, "");
}

TEST(Connections, ASessionOpenedUnderASmallLimitTakesLargeMessages) {
  TestServer& server = TestServer::shared();
  const auto owner = server.connect();
  ASSERT_TRUE(owner->query("SET GLOBAL max_allowed_packet=2097152")) << owner->error();
  const auto session = makeMysqlSession();
  Bench bench(*session);
  const std::string name = server.freshDatabase("packets");
  const ServerConnection wanted = {"", "localhost", "root", "", name, *server.address().socket, 0};
  ASSERT_THAT(bench.connections.connect(wanted), IsEmpty());
  bench.connections.doConfigure();
  ASSERT_TRUE(session->query("SELECT LENGTH('" + std::string(4000000, 'x') + "')"))
      << session->error();
  EXPECT_EQ(fetchFirstCell(*session), "4000000");
  ASSERT_TRUE(session->query("SELECT DATABASE()")) << session->error();
  EXPECT_EQ(fetchFirstCell(*session), name);
}

}  // namespace
}  // namespace keldane
