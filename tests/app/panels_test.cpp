#include <sys/stat.h>

#include "tests/app/controller_rig.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ConnectPanelTest : public ControllerRig {
 protected:
  ConnectPanelTest() { start(); }
  ConnectPanel& panel() { return controller->connectPanel(); }
};

TEST_F(ConnectPanelTest, TheFormBecomesTheConnection) {
  ui.calls.clear();
  ui.visiblePanels = {"connectPanel"};
  archiver().database().dbPath = "other";
  panel().form.dbPathTextField = "mail";
  panel().form.portTextField = "12ab";
  panel().doConnect();
  EXPECT_EQ(archiver().database().dbPath, "mail");
  EXPECT_THAT(connects(), ElementsAre("connect localhost root  mail - 12"));
  EXPECT_EQ(panel().form.hostTextField, "localhost");
  EXPECT_EQ(panel().form.userTextField, "root");
  EXPECT_EQ(ui.calls[0], "endModal");
  EXPECT_EQ(ui.calls[1], "close connectPanel");
  EXPECT_THAT(session->statements(), Contains(HasSubstr("listView")))
      << "the newest messages are shown";
}

TEST_F(ConnectPanelTest, AFailureIsShownAndTheFormComesBackUntilItWorks) {
  session->failOn("connect wrong *", "Unknown server host 'wrong'");
  panel().form.hostTextField = "wrong";
  int shown = 0;
  ui.onModal = [&](std::string_view name) {
    EXPECT_EQ(name, "connectPanel");
    EXPECT_FALSE(archiver().connections().isConnected());
    if (++shown == 3) panel().form.hostTextField = "right";
    panel().doConnect();
  };
  panel().doConnect();
  EXPECT_TRUE(archiver().connections().isConnected());
  EXPECT_EQ(shown, 3);
  ASSERT_EQ(ui.alertLines().size(), 3U);
  EXPECT_EQ(ui.alertLines()[0],
            "alert critical [SQL Error] Failed to connect to server: Error: Unknown server host "
            "'wrong'\\n");
  EXPECT_EQ(archiver().process().cancelFlag, 0);
}

TEST_F(ConnectPanelTest, ALostSessionBringsTheFormToo) {
  panel().doConnect();
  session->failOn("query CREATE DATABASE*", "Server has gone away", 1);
  session->failOn("connect *", "not yet", 1);
  ui.onModal = [&](std::string_view) { panel().doConnect(); };
  EXPECT_THAT(archiver().database().openDatabase(), IsEmpty());
  EXPECT_TRUE(archiver().database().isOpen());
  EXPECT_THAT(ui.alertLines(), ElementsAre(HasSubstr("not yet")));
}

/// A form that stayed with another row would have the next lost link mended on the other server.
TEST_F(ConnectPanelTest, ACancelGoesBackToTheSessionThatStands) {
  EXPECT_FALSE(panel().cancelConnect()) << "there is none";
  panel().form = {"first", "a", "", "", "", "", ""};
  panel().saveConnection();
  panel().doConnect();
  ui.onModal = [&](std::string_view) {
    panel().form = {"second", "b", "", "", "", "", ""};
    panel().saveConnection();
    EXPECT_EQ(archiver().connections().current().name, "second");
    EXPECT_TRUE(panel().cancelConnect());
  };
  panel().newConnect();
  EXPECT_THAT(ui.calls, Contains("close connectPanel"));
  EXPECT_EQ(archiver().connections().selectedConnection(), 0);
  EXPECT_EQ(archiver().connections().current().name, "first");
  panel().doConnect();
  EXPECT_THAT(connects().back(), HasSubstr("connect a "));
}

TEST_F(ConnectPanelTest, ShowsTheSelectedConnection) {
  panel().form = {"plain", "h", "", "", "", "", ""};
  panel().saveConnection();
  EXPECT_EQ(panel().form.portTextField, "") << "a port of zero";
  panel().form = {"other", "h", "", "", "", "", "3310"};
  panel().saveConnection();
  EXPECT_EQ(panel().form.portTextField, "3310");
  panel().selectConnection(0);
  EXPECT_EQ(panel().form.connectNameTextField, "plain");
  EXPECT_EQ(panel().form.portTextField, "");
  panel().selectConnection(7);
  EXPECT_EQ(archiver().connections().selectedConnection(), 0);
  panel().selectConnection(1);
  panel().deleteConnection();
  EXPECT_EQ(panel().form.connectNameTextField, "plain");
  EXPECT_EQ(panel().storePanelWhite, 0.6);
  panel().deleteConnection();
  EXPECT_EQ(panel().form.connectNameTextField, "plain") << "the form stays as it is";
}

TEST_F(ConnectPanelTest, ARunThatLostItsServerIsNotSimplyDone) {
  RunReport report;
  controller->archivePanel().logged(report);
  EXPECT_EQ(ui.alertLines().size(), 1U);
  report.lostServer = "Lost connection";
  controller->archivePanel().logged(report);
  ASSERT_EQ(ui.alertLines().size(), 3U);
  EXPECT_THAT(ui.alertLines()[1], HasSubstr("The server went away during the run: Lost"));
}

class DatabasePanelTest : public ControllerRig {
 protected:
  DatabasePanelTest() {
    start();
    archiver().database().dbPath = "mail";
    static_cast<void>(settings().savePreferences());
    session->calls.clear();
    ui.calls.clear();
    ui.alerts.clear();
  }
  DatabasePanel& panel() { return controller->databasePanel(); }
};

TEST_F(DatabasePanelTest, TheSchemaIsShownWithoutAConnection) {
  panel().showSchema();
  EXPECT_THAT(session->calls, IsEmpty());
  ASSERT_EQ(ui.alerts.size(), 1U);
  EXPECT_EQ(ui.alerts[0].title, "Database Schema");
  EXPECT_TRUE(ui.alerts[0].text.starts_with("eemail table\n\tid\t\tINT\n"));
  EXPECT_TRUE(ui.alerts[0].text.ends_with("\tnotes_fld\t\tMEDIUMTEXT\n"));
}

TEST_F(DatabasePanelTest, ADeletionAsksFirstAndThenFallsBackOnTheDefault) {
  ui.alertAnswers = {kSecondButton};
  panel().deleteDatabase();
  EXPECT_THAT(session->calls, IsEmpty()) << "cancelled";
  session->failOn("query DROP*", "no right", 1);
  panel().deleteDatabase();
  EXPECT_EQ(ui.alertLines().back(), "alert critical [SQL Error] SQL error: no right");
  EXPECT_EQ(archiver().database().dbPath, "mail");
  panel().deleteDatabase();
  EXPECT_THAT(session->statements(), Contains("DROP DATABASE mail"));
  EXPECT_EQ(ui.alertLines().back(), "alert [Database Deleted] The mail database has been deleted.");
  EXPECT_EQ(archiver().preferences().text("dbPath"), "myemaildb");
  EXPECT_THAT(controller->settingsPanel().form.databasesPullDown, Not(Contains("mail")));
}

class SchedulePanelTest : public ControllerRig {
 protected:
  SchedulePanelTest() {
    environment.argumentList = {"/opt/keldane/KeldanePro"};
    start();
    ::mkdir((folder / "Library").c_str(), 0700);
  }
};

TEST_F(SchedulePanelTest, TellsOfWhatIsDone) {
  controller->schedulePanel().schedule();
  EXPECT_EQ(ui.alertLines().back(),
            "alert [Archive Scheduled] A Keldane archive has been scheduled.");
  EXPECT_THAT(ui.alertLines(), Not(Contains(HasSubstr("Settings Saved"))));
  controller->schedulePanel().removeSchedule();
  EXPECT_EQ(ui.alertLines().back(),
            "alert [Schedule Removed] The Keldane archive schedule has been removed.");
  EXPECT_FALSE(archiver().schedule().isScheduled());
}

TEST_F(SchedulePanelTest, TellsOfAFailure) {
  folder.write("Library/LaunchAgents", "a file in the way");
  controller->schedulePanel().schedule();
  EXPECT_THAT(ui.alertLines(),
              ElementsAre(HasSubstr("critical [Schedule] The schedule could not be saved: ")));
}

}  // namespace
}  // namespace keldane
