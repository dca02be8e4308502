#include "archive/failover_session.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kLostText = "Lost connection to server during query";
constexpr unsigned kLost = 2013;
constexpr unsigned kDeadlock = 1213;

/// A session with the hosts a, b and c, connected to a.
class FailoverSessionTest : public testing::Test {
 protected:
  void SetUp() override {
    auto inner = std::make_unique<ScriptedSession>();
    server_ = inner.get();
    session_ = makeFailoverSession(std::move(inner));
    session_->notice = [this](const std::string& line) { notices_.push_back(line); };
    address_.host = "a";
    address_.port = 3306;
    address_.otherHosts = {{"b", 3307}, {"c", 3308}};
    ASSERT_TRUE(session_->connect(address_));
    ASSERT_TRUE(session_->selectDatabase("mail"));
    ASSERT_TRUE(session_->query("SET SESSION sql_mode=''"));
    server_->calls.clear();
  }
  /// Calls of the server since the last time, without those that only ask whether a node is ready.
  std::vector<std::string> calls() {
    std::vector<std::string> found = std::exchange(server_->calls, {});
    std::erase(found, "query SHOW STATUS LIKE 'wsrep_ready'");
    std::erase(found, "query SHOW VARIABLES LIKE 'wsrep_on'");
    std::erase(found, "query SHOW STATUS LIKE 'wsrep_cluster_conf_id'");
    std::erase(found, "init");
    return found;
  }

  ScriptedSession* server_ = nullptr;
  std::unique_ptr<ServerSession> session_;
  std::vector<std::string> notices_;
  ServerAddress address_;
};

TEST_F(FailoverSessionTest, TheHostThatAnsweredComesFirstTheNextTime) {
  server_->failOn("connect a *", "Can't connect to server on 'a'", -1, 2003);
  server_->answerOn("query SHOW STATUS LIKE 'wsrep_ready'", {{"wsrep_ready", "OFF"}}, 1);
  server_->answerOn("query SHOW VARIABLES LIKE 'wsrep_on'", {{"wsrep_on", "ON"}});
  ASSERT_TRUE(session_->connect(address_));
  EXPECT_THAT(calls(), ElementsAre("connect a - - - - 3306", "connect b - - - - 3307",
                                   "connect c - - - - 3308"));
  EXPECT_THAT(notices_, ElementsAre("The server a:3306 cannot be had (Can't connect to server on "
                                    "'a'); c:3308 answers in its place."));
  ASSERT_TRUE(session_->connect(address_));
  EXPECT_THAT(calls(), ElementsAre("connect c - - - - 3308"));
  server_->failOn("connect c *", "Access denied for user", -1, 1045);
  EXPECT_FALSE(session_->connect(address_)) << "an answer, and the same everywhere";
  EXPECT_THAT(calls(), ElementsAre("connect c - - - - 3308"));
}

TEST_F(FailoverSessionTest, AReadingGoesOnWhereItsSessionWas) {
  server_->failOn("query SELECT 1", kLostText, 1, kLost);
  EXPECT_TRUE(session_->query("SELECT 1"));
  EXPECT_THAT(calls(), ElementsAre("query SELECT 1", "connect b - - mail - 3307",
                                   "query SET SESSION sql_mode=''", "query SELECT 1"));
  EXPECT_THAT(notices_, ElementsAre("The server a:3306 was lost (Lost connection to server during "
                                    "query); going on with b:3307."));
  EXPECT_EQ(session_->place(), (HostPlace{"b", 3307}));
}

TEST_F(FailoverSessionTest, WhatMayHaveBeenWrittenIsNotWrittenAgain) {
  for (const bool waits : {false, true}) {
    SCOPED_TRACE(waits);
    session_->waitsWhenUnsure = waits;
    server_->failOn("query INSERT*", kLostText, 1, kLost);
    EXPECT_FALSE(session_->query("INSERT INTO email VALUES(1)"));
    EXPECT_TRUE(isLostConnection(session_->error()));
    EXPECT_EQ(session_->query("SELECT 1"), !waits);
    EXPECT_EQ(session_->makeStatement()->prepare("INSERT"), !waits);
    if (waits) {
      EXPECT_TRUE(isLostConnection(session_->error()));
      EXPECT_TRUE(session_->moveOn());
    }
    const std::vector<std::string> made = calls();
    EXPECT_EQ(std::count(made.begin(), made.end(), "query INSERT INTO email VALUES(1)"), 1);
    EXPECT_TRUE(session_->query("SELECT 1"));
  }
}

TEST_F(FailoverSessionTest, WhatTheServerHasNotBegunIsSentToTheNext) {
  for (const auto& [number, text] :
       {std::pair(2006U, "MySQL server has gone away"),
        std::pair(1047U, "WSREP has not yet prepared node for application use")}) {
    server_->failOn("query INSERT*", text, 1, number);
    EXPECT_TRUE(session_->query("INSERT INTO email VALUES(1)")) << text;
  }
  EXPECT_EQ(notices_.size(), 2U);
}

TEST_F(FailoverSessionTest, ATransactionIsNeverGoneOnWith) {
  ASSERT_TRUE(session_->query("START TRANSACTION"));
  server_->failOn("query DELETE*", kLostText, 1, kLost);
  EXPECT_FALSE(session_->query("DELETE FROM settings"));
  EXPECT_FALSE(session_->query("INSERT INTO settings VALUES(1)"));
  EXPECT_FALSE(session_->query("COMMIT"));
  EXPECT_THAT(calls(), ElementsAre("query START TRANSACTION", "query DELETE FROM settings"));
  EXPECT_TRUE(session_->query("SELECT 1"));

  ASSERT_TRUE(session_->query("START TRANSACTION"));
  server_->failOn("query DELETE*", "Deadlock found when trying to get lock", 1, kDeadlock);
  EXPECT_FALSE(session_->query("DELETE FROM settings"));
  EXPECT_EQ(session_->errorNumber(), kDeadlock);
  EXPECT_TRUE(session_->query("ROLLBACK"));
}

TEST_F(FailoverSessionTest, AStatementThatHadToGiveWayIsSentAgainButNotForEver) {
  // A server that could be one of a cluster, and is not.
  server_->answerOn("query SHOW STATUS*", {{"wsrep_cluster_conf_id", "18446744073709551615"}});
  server_->answerOn("query SHOW VARIABLES LIKE 'wsrep_on'", {{"wsrep_on", "OFF"}});
  server_->failOn("query UPDATE*", "Deadlock found when trying to get lock", 3, kDeadlock);
  EXPECT_TRUE(session_->query("UPDATE email SET mailbox='a'"));
  EXPECT_EQ(calls().size(), 4U + 3U) << "each time it asks whether it stands in a cluster";
  server_->failOn("execute", "Deadlock found when trying to get lock", 2, kDeadlock);
  EXPECT_TRUE(session_->makeStatement()->execute());
  server_->failOn("query UPDATE*", "Lock wait timeout exceeded", -1, 1205);
  EXPECT_FALSE(session_->query("UPDATE email SET mailbox='a'"));
  EXPECT_EQ(session_->errorNumber(), 1205U);
}

/// The others of its cluster may have what it says it has given up.
TEST_F(FailoverSessionTest, WhatACutOffNodeGivesUpIsNotWrittenAgain) {
  constexpr const char* kView = "query SHOW STATUS LIKE 'wsrep_cluster_conf_id'";
  struct Row {
    const char* name;
    unsigned number;
    const char* view;
    unsigned onAsking = 0;  ///< what a question after it is refused with
    unsigned onAgain = 0;
    int sent = 1;
  };
  const Row rows[] = {{"it is back in a cluster made up anew", kDeadlock, "8"},
                      {"it stands alone", kDeadlock, "18446744073709551615"},
                      {"it does not know yet", kDeadlock, "7", 1205},
                      {"it learns it from the second try", kDeadlock, "7", 0, 1047, 2},
                      {"its commit was not taken", 1180, "7"}};
  for (const bool prepared : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(testing::Message() << row.name << (prepared ? ", prepared" : ""));
      server_->answerOn("query SHOW VARIABLES LIKE 'wsrep_on'", {{"wsrep_on", "ON"}});
      server_->answerOn(kView, {{"wsrep_cluster_conf_id", "7"}});
      ASSERT_TRUE(session_->connect(address_));
      calls();
      server_->answerOn(kView, {{"wsrep_cluster_conf_id", row.view}});
      const char* writing = prepared ? "execute" : "query INSERT*";
      if (row.onAgain != 0) server_->failOn(writing, "not ready", 1, row.onAgain);
      server_->failOn(writing, "given up", 1, row.number);
      if (row.onAsking != 0) server_->failOn("query SELECT 1", "no", 1, row.onAsking);
      session_->waitsWhenUnsure = true;
      EXPECT_FALSE(prepared ? session_->makeStatement()->execute()
                            : session_->query("INSERT INTO email VALUES(1)"));
      EXPECT_TRUE(isLostConnection(session_->error())) << session_->error();
      EXPECT_FALSE(session_->query("SELECT 2")) << "until it has moved on";
      EXPECT_TRUE(session_->moveOn());
      const std::vector<std::string> made = calls();
      const auto isWriting = [prepared](const std::string& call) {
        return call.starts_with(prepared ? "execute" : "query INSERT");
      };
      EXPECT_EQ(std::count_if(made.begin(), made.end(), isWriting), row.sent);
      session_->waitsWhenUnsure = false;
    }
  }
}

TEST_F(FailoverSessionTest, WithOneHostALostServerIsLost) {
  address_.otherHosts.clear();
  ASSERT_TRUE(session_->connect(address_));
  server_->failOn("query SELECT 1", kLostText, 1, kLost);
  calls();
  EXPECT_FALSE(session_->query("SELECT 1"));
  EXPECT_FALSE(session_->moveOn());
  EXPECT_THAT(calls(), ElementsAre("query SELECT 1"));
  EXPECT_EQ(session_->error(), kLostText);
  EXPECT_THAT(notices_, IsEmpty());
}

TEST(HostList, TextBecomesHosts) {
  struct Row {
    const char* text;
    std::vector<HostPlace> hosts;
  };
  const Row rows[] = {
      {"", {{"", 3306}}},
      {"localhost", {{"localhost", 3306}}},
      {"a, b:3307 ,[::1]:3308", {{"a", 3306}, {"b", 3307}, {"::1", 3308}}},
      {"::1,[fe80::2]", {{"::1", 3306}, {"fe80::2", 3306}}},
  };
  for (const Row& row : rows) {
    const auto hosts = parseHosts(row.text, 3306);
    ASSERT_TRUE(hosts) << row.text;
    EXPECT_EQ(*hosts, row.hosts) << row.text;
  }
  for (const char* text : {"a,", ",a", "a:", "a:0", "a:65536", "a:3306x", ":1", "[::1", "[::1]x"}) {
    EXPECT_FALSE(parseHosts(text, 0)) << text;
  }
}

}  // namespace
}  // namespace keldane
