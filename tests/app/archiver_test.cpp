#include "app/archiver.h"

#include <filesystem>

#include "platform/local_main_queue.h"
#include "tests/app/controller_rig.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kAgent = "Library/LaunchAgents/keldanepro.schedule.plist";

class ArchiverTest : public ControllerRig {
 protected:
  ArchiverTest() { make(false); }
  Faults connect(const std::string& database, const std::string& server = "") {
    ServerConnection wanted;
    wanted.host = server;
    wanted.database = database;
    return archiver().connect(wanted);
  }
};

TEST_F(ArchiverTest, AConnectOpensTheDatabaseAndThenItsSettings) {
  archiver().loadPreferences();
  EXPECT_TRUE(archiver().connections().firstRun);
  EXPECT_THAT(connect("mail"), IsEmpty());
  EXPECT_TRUE(archiver().connections().isConnected());
  EXPECT_THAT(connects(), ElementsAre("connect localhost root  mail - 0"));
  // A new archive's settings are saved at once, so that there is a row from the first connect on.
  EXPECT_THAT(session->statements(), Contains(testing::StartsWith("INSERT INTO settings")));
  EXPECT_FALSE(archiver().connections().firstRun);
  EXPECT_EQ(archiver().preferences().text("dbPath"), "mail");
}

TEST_F(ArchiverTest, AnArchiveThatHasSettingsKeepsThemOnANewMachine) {
  archiver().connections().firstRun = true;
  ScriptedSession::Row row(26, "0");
  row[5] = "1.6";
  row[22] = "70";
  session->answerOn("query SELECT attachState*", {row});
  EXPECT_THAT(connect("mail"), IsEmpty());
  EXPECT_EQ(settings().archive.limitSearchSize, "70");
}

TEST_F(ArchiverTest, AReadingCommandMakesAndSavesNothing) {
  archiver().database().opening = Opening::existing;
  archiver().connections().firstRun = true;
  EXPECT_THAT(connect("mail"), IsEmpty());
  EXPECT_TRUE(archiver().connections().isConnected());
  for (const std::string& sql : session->statements()) {
    EXPECT_TRUE(sql.starts_with("SELECT ") || sql.starts_with("SET SESSION")) << sql;
  }
  EXPECT_FALSE(archiver().preferences().has("dbPath"));
}

TEST_F(ArchiverTest, ALostSessionIsGivenUpWhereNothingBringsItBackAndToldOfOnce) {
  struct Row {
    const char* name;
    const char* connect;
    const char* text;
    std::size_t mostConnects;
  };
  for (const Row& row :
       {Row{"the server is gone", "connect *", "Failed to connect to server: Error: refused\n", 1},
        Row{"it takes logins and drops sessions", nullptr, "SQL error: Server has gone away\n",
            1001}}) {
    make(false);
    ASSERT_THAT(connect(""), IsEmpty());
    session->calls.clear();
    session->failOn("query CREATE DATABASE*", "Server has gone away");
    if (row.connect != nullptr) session->failOn(row.connect, "refused");
    const Faults faults = archiver().database().openDatabase();
    ASSERT_EQ(faults.size(), 1U) << row.name;
    EXPECT_EQ(faults[0].text, row.text) << row.name;
    EXPECT_EQ(connects().size(), row.mostConnects) << row.name;
    EXPECT_EQ(archiver().process().cancelFlag, 1) << row.name;
  }
}

TEST_F(ArchiverTest, ACommandsNamesHoldForItAlone) {
  archiver().loadPreferences();
  EXPECT_THAT(archiver().connectForCommand("", "", Opening::ifThere),
              ElementsAre(testing::Field(&Fault::text, HasSubstr("Failed to connect"))))
      << "no server program here";
  EXPECT_THAT(archiver().connections().connectionNames(), ElementsAre(kLocalConnectionName));
  archiver().connections().saveConnection({"work", "db.example", "anne", "", "mail", "", 0});
  archiver().connections().saveConnection({"home", "", "", "", "", "", 0});
  EXPECT_THAT(archiver().connectForCommand("work"), IsEmpty());
  EXPECT_EQ(connects().back(), "connect db.example anne  mail - 0");
  EXPECT_THAT(archiver().connectForCommand("", "other"), IsEmpty());
  EXPECT_EQ(connects().back(), "connect db.example anne  other - 0");
  EXPECT_FALSE(archiver().preferences().has("dbPath"));
}

TEST_F(ArchiverTest, AStaleTriggerIsRefused) {
  struct Case {
    const char* argument;
    bool hasAgent;
    int unattendedRun;
    bool starts;
  };
  for (const Case& row : {Case{"1", false, 1, false}, Case{"1", true, 1, true},
                          Case{"0", false, 0, true}, Case{"archive", false, 0, true}}) {
    SCOPED_TRACE(row.argument);
    environment.argumentList = {"/opt/my programs/KeldanePro", row.argument};
    std::filesystem::remove(folder / kAgent);
    if (row.hasAgent) folder.write(kAgent, "");
    make();
    EXPECT_EQ(archiver().start(), row.starts);
    EXPECT_EQ(archiver().process().unattendedRun, row.unattendedRun);
    EXPECT_EQ(archiver().process().launchCommand, "/opt/my\\ programs/KeldanePro");
    EXPECT_THAT(session->calls, IsEmpty());
  }
}

TEST(ArchiverOnServer, ALostServerIsFoundAgainByItself) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "a server that is given is not killed";
  TestServer& server = TestServer::shared();
  const TemporaryFolder folder;
  Progress progress;
  RecordingToolRunner tools;
  FakeEnvironment environment;
  environment.variables["HOME"] = folder.path();
  LocalMainQueue queue;
  RecordingHostServices host;
  Archiver archiver({progress, queue, tools, environment, host}, {});
  ServerConnection wanted;
  wanted.database = server.freshDatabase("connect");
  wanted.socket = *server.address().socket;
  ASSERT_THAT(archiver.connect(wanted), IsEmpty());
  archiver.connections().doConfigure();
  ServerSession& session = archiver.session();

  server.kill();
  server.restart();
  const auto strict = server.connect();
  ASSERT_TRUE(
      strict->query("SET GLOBAL sql_mode='STRICT_ALL_TABLES,ANSI_QUOTES,NO_BACKSLASH_ESCAPES'"));
  EXPECT_THAT(archiver.database().openDatabase(), IsEmpty());
  ASSERT_TRUE(session.query("SELECT @@SESSION.sql_mode")) << session.error();
  EXPECT_EQ(fetchFirstCell(session), "");
  ASSERT_TRUE(session.query("SELECT DATABASE()")) << session.error();
  EXPECT_EQ(fetchFirstCell(session), wanted.database);
}

}  // namespace
}  // namespace keldane
