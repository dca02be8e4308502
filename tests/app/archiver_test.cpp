#include "app/archiver.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  ASSERT_GE(session->calls.size(), 5U);
  EXPECT_EQ(session->calls[0], "close");
  EXPECT_EQ(session->calls[1], "init");
  EXPECT_EQ(session->calls[2], "connect localhost root  mail - 0");
  EXPECT_EQ(session->calls[3], "query SET SESSION sql_mode=''");
  EXPECT_EQ(session->calls[4], "query CREATE DATABASE IF NOT EXISTS mail");
  std::vector<std::string> steps;
  for (const std::string& sql : session->statements()) {
    for (const char* step :
         {"SELECT attachState", "SELECT DISTINCT cat_fld", "INSERT INTO settings"}) {
      if (sql.starts_with(step)) steps.emplace_back(step);
    }
  }
  // A new archive's settings are saved at once, so that there is a row from the first connect on.
  EXPECT_THAT(steps, Contains("INSERT INTO settings"));
  EXPECT_EQ(steps.front(), "SELECT attachState");
  EXPECT_EQ(steps.back(), "SELECT DISTINCT cat_fld");
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

TEST_F(ArchiverTest, AFailedConnectIsTold) {
  session->failOn("connect *", "Unknown server host 'wrong'");
  const Faults faults = connect("mail", "wrong");
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].about, Fault::About::server);
  EXPECT_EQ(faults[0].text, "Failed to connect to server: Error: Unknown server host 'wrong'\n");
  EXPECT_FALSE(archiver().connections().isConnected());
}

TEST_F(ArchiverTest, ALostSessionIsOpenedAnewAsOftenAsItTakes) {
  ASSERT_THAT(connect("mail"), IsEmpty());
  session->calls.clear();
  session->failOn("query CREATE DATABASE*", "MySQL server has gone away", 3);
  EXPECT_THAT(archiver().database().openDatabase(), IsEmpty());
  EXPECT_EQ(connects().size(), 3U);
  EXPECT_TRUE(archiver().database().isOpen());
  EXPECT_EQ(archiver().process().cancelFlag, 0);
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
