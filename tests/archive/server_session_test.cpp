#include "archive/server_session.h"

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "archive/sql_values.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using std::string_literals::operator""s;

const std::string kEmoji =
    "Gr\xC3\xBC\xC3\x9F"
    "e \xF0\x9F\x98\x80 \xE4\xBD\xA0";
const std::string kBytes = "\0\x01\xFF\xFE\0\0end\0"s;

/// A session with a database of its own in which `t` has an id, a text and a blob.
class ServerSessionTest : public testing::Test {
 protected:
  void SetUp() override {
    TestServer& server = TestServer::shared();
    database_ = server.freshDatabase("session");
    session_ = server.connect();
    run("CREATE DATABASE " + database_ + " CHARACTER SET utf8mb4");
    ASSERT_TRUE(session_->selectDatabase(database_));
    run("CREATE TABLE t (id INT PRIMARY KEY AUTO_INCREMENT, v LONGTEXT, b LONGBLOB)");
  }
  void run(const std::string& sql) {
    ASSERT_TRUE(session_->query(sql)) << sql << ": " << session_->error();
  }
  std::string first(const std::string& sql) {
    EXPECT_TRUE(session_->query(sql)) << sql << ": " << session_->error();
    return fetchFirstCell(*session_);
  }
  bool insertBound(std::vector<BoundValue> values,
                   const std::string& sql = "INSERT INTO t (v,b) VALUES(?,?)") {
    const auto statement = session_->makeStatement();
    return statement && statement->prepare(sql) && statement->bind(values) &&
           statement->execute() && statement->close();
  }

  std::string database_;
  std::unique_ptr<ServerSession> session_;
};

TEST_F(ServerSessionTest, AStatementAboveTheServersLimitIsRefusedAndTheLinkStays) {
  const std::string before = first("SELECT @@GLOBAL.max_allowed_packet");
  run("SET GLOBAL max_allowed_packet=1048576");
  const auto small = TestServer::shared().connect();
  run("SET GLOBAL max_allowed_packet=" + before);
  ASSERT_TRUE(small->selectDatabase(database_));
  const std::string fits(1000000, 'x');
  const std::string large(1048576, 'x');
  EXPECT_TRUE(small->query("INSERT INTO t (v) VALUES('" + fits + "')")) << small->error();
  EXPECT_FALSE(small->query("INSERT INTO t (v) VALUES('" + large + "')"));
  EXPECT_EQ(small->errorNumber(), 1153U);
  const auto statement = small->makeStatement();
  ASSERT_TRUE(statement && statement->prepare("INSERT INTO t (v) VALUES(?)"));
  const std::vector<BoundValue> values = {{large}};
  ASSERT_TRUE(statement->bind(values));
  EXPECT_FALSE(statement->execute());
  EXPECT_EQ(small->errorNumber(), 1153U);
  ASSERT_TRUE(small->query("SELECT COUNT(*) FROM t")) << small->error();
  EXPECT_EQ(fetchFirstCell(*small), "1");
}

TEST_F(ServerSessionTest, BoundValuesComeBackWhole) {
  const std::string large(20 * 1024 * 1024, '\xF0');
  const std::pair<std::string, std::string> rows[] = {
      {kEmoji, kBytes}, {"", ""}, {"\"; DROP TABLE t; --\\", "?"}, {"large", large}};
  for (const auto& [text, blob] : rows) {
    ASSERT_TRUE(insertBound({{text, BindType::text}, {blob, BindType::blob}})) << session_->error();
  }
  EXPECT_EQ(session_->insertId(), 4u);
  for (const bool streamed : {false, true}) {
    run("SELECT id,v,b FROM t ORDER BY id");
    const auto answer = streamed ? session_->useResult() : session_->storeResult();
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->fieldCount(), 3u);
    EXPECT_EQ(answer->rowCount(), streamed ? 0u : 4u);
    for (const auto& [text, blob] : rows) {
      ASSERT_TRUE(answer->next());
      EXPECT_EQ(answer->cell(1), text);
      EXPECT_TRUE(answer->cell(2) == blob) << text;
      EXPECT_EQ(answer->cell(3), std::nullopt);
    }
    EXPECT_FALSE(answer->next());
    EXPECT_EQ(answer->cell(0), std::nullopt);
    EXPECT_EQ(answer->rowCount(), 4u);
  }
}

TEST_F(ServerSessionTest, ValuesThatDoNotMatchTheStatementAreRefused) {
  EXPECT_FALSE(insertBound({{"one", BindType::text}}));
  // What a hostile content type would do to a statement that quotes it as it stands.
  EXPECT_FALSE(
      insertBound({{"one", BindType::text}}, "INSERT INTO t (v,b) VALUES(\"x\",?),(\"\",?)"));
  EXPECT_FALSE(insertBound({{"a", BindType::text}, {"b", BindType::text}, {"c", BindType::text}}));
  EXPECT_EQ(first("SELECT COUNT(*) FROM t"), "0");
}

TEST_F(ServerSessionTest, RunAtOnceAStatementTellsHowFarItHasComeAndTheLinkStays) {
  const std::string large(2 * 1024 * 1024, 'x');  // goes in steps
  struct Case {
    std::string name, sql, value;
    Ran ran;
  };
  const Case cases[] = {
      {"taken", "INSERT INTO t (id,v) VALUES(1,?)", kEmoji, Ran::done},
      {"no statement", "INSERT INT t (v) VALUES(?)", "a", Ran::refusedText},
      {"of two values one", "INSERT INTO t (v,b) VALUES(?,?)", "a", Ran::refusedText},
      {"there already", "INSERT INTO t (id,v) VALUES(1,?)", "a", Ran::refused},
      {"large", "INSERT INTO t (id,v) VALUES(2,?)", large, Ran::done},
      {"large, there already", "INSERT INTO t (id,v) VALUES(2,?)", large, Ran::refused},
      {"taken again", "INSERT INTO t (id,v) VALUES(3,?)", "", Ran::done}};
  for (const Case& it : cases) {
    const auto statement = session_->makeStatement();
    const std::vector<BoundValue> values = {{it.value}};
    EXPECT_EQ(runStatement(*statement, it.sql, values), it.ran) << it.name;
    statement->close();
    EXPECT_EQ(first("SELECT 7"), "7") << it.name;
  }
  EXPECT_EQ(first("SELECT v FROM t WHERE id=1"), kEmoji);
  EXPECT_EQ(first("SELECT LENGTH(v) FROM t WHERE id=2"), std::to_string(large.size()));

  const auto killer = TestServer::shared().connect();
  ASSERT_TRUE(killer->query("KILL " + first("SELECT CONNECTION_ID()")));
  const auto statement = session_->makeStatement();
  const std::vector<BoundValue> values = {{kEmoji}};
  EXPECT_EQ(runStatement(*statement, cases[0].sql, values), Ran::refusedText);
  EXPECT_TRUE(isLostConnection(session_->error())) << session_->error();
}

TEST_F(ServerSessionTest, NullCellsAreNoText) {
  run("INSERT INTO t (v,b) VALUES(NULL,'x')");
  EXPECT_EQ(first("SELECT v FROM t"), "0");
  EXPECT_EQ(first("SELECT b FROM t WHERE id=99"), "0");
  run("SELECT v,b FROM t");
  const auto rows = session_->storeResult();
  ASSERT_TRUE(rows->next());
  EXPECT_EQ(rows->cell(0), std::nullopt);
  EXPECT_EQ(rows->cell(1), "x");
}

TEST_F(ServerSessionTest, StatementsWithoutRowsHaveNoResult) {
  run("DELETE FROM t");
  EXPECT_EQ(session_->storeResult(), nullptr);
  EXPECT_EQ(fetchFirstCell(*session_), "0");
}

TEST_F(ServerSessionTest, ANulEndsTheStatement) { EXPECT_EQ(first("SELECT 5\0 + nonsense"s), "5"); }

TEST_F(ServerSessionTest, AStreamedResultMayBeLeftHalfRead) {
  for (int i = 0; i < 6; ++i) run("INSERT INTO t (v) SELECT REPEAT('x',1000000)");
  run("SELECT v FROM t");
  {
    const auto rows = session_->useResult();
    ASSERT_TRUE(rows->next());
    EXPECT_EQ(rows->rowCount(), 1u);
  }
  EXPECT_EQ(first("SELECT 7"), "7");
}

TEST_F(ServerSessionTest, FailuresLeaveTheServersText) {
  EXPECT_FALSE(session_->query("SELECT * FROM nowhere"));
  EXPECT_NE(session_->error().find("nowhere"), std::string::npos);
  EXPECT_FALSE(session_->selectDatabase("no_such_database"));
  EXPECT_NE(session_->error().find("no_such_database"), std::string::npos);
  const auto statement = session_->makeStatement();
  EXPECT_FALSE(statement->prepare("SELECT v FROM nonsense"));
  EXPECT_NE(session_->error().find("nonsense"), std::string::npos);
  run("SELECT 1");
  EXPECT_EQ(fetchFirstCell(*session_), "1");
}

TEST_F(ServerSessionTest, ADatabaseThatIsMissingLeavesTheHandleFitForAnotherTry) {
  ServerAddress address = TestServer::shared().address();
  address.database = "no_such_database";
  session_->init();
  EXPECT_FALSE(session_->connect(address));
  EXPECT_NE(session_->error().find("no_such_database"), std::string::npos);
  address.database.reset();
  ASSERT_TRUE(session_->connect(address)) << session_->error();
  EXPECT_EQ(first("SELECT 1"), "1");
}

TEST_F(ServerSessionTest, DatabasesAreListed) {
  const auto rows = session_->listDatabases();
  ASSERT_NE(rows, nullptr);
  bool found = false;
  while (rows->next()) found = found || rows->cell(0) == database_;
  EXPECT_TRUE(found);
}

TEST_F(ServerSessionTest, QuotedTextsComeBackWhole) {
  for (const std::string& text : {"plain"s, "\""s, "\\"s, "\\\""s, "\"\""s, "a\\'b\"c\\\\"s,
                                  "\"); DROP TABLE t; --"s, "'`%_?\n"s, kEmoji}) {
    run("INSERT INTO t (v) VALUES(" + quotedInline(text) + ")");
    EXPECT_EQ(first("SELECT v FROM t ORDER BY id DESC LIMIT 1"), text);
  }
}

TEST_F(ServerSessionTest, WithoutASessionTheServerHasGoneAway) {
  session_->close();
  EXPECT_EQ(session_->error(), "");
  EXPECT_FALSE(session_->query("SELECT 1"));
  EXPECT_TRUE(isLostConnection(session_->error())) << session_->error();
  EXPECT_NE(session_->error().find("has gone away"), std::string::npos);
  EXPECT_EQ(session_->storeResult(), nullptr);
  EXPECT_FALSE(session_->selectDatabase(database_));
  const auto statement = session_->makeStatement();
  EXPECT_TRUE(statement == nullptr || !statement->prepare("SELECT 1"));
}

TEST_F(ServerSessionTest, AThreadThatHasClaimedItHasItAlone) {
  const auto onAnotherThread = [](const std::function<void()>& work) { std::thread(work).join(); };
  const auto expectRefused = [this] {
    EXPECT_FALSE(session_->query("SELECT 1"));
    EXPECT_EQ(session_->error(), "The archive run is using the connection.");
    EXPECT_FALSE(session_->selectDatabase("mysql"));
    EXPECT_EQ(session_->makeStatement(), nullptr);
    EXPECT_EQ(session_->listDatabases(), nullptr);
    EXPECT_FALSE(session_->connect(TestServer::shared().address()));
    session_->init();
    session_->close();
  };
  {
    const SessionClaim claim(*session_);
    run("INSERT INTO t (v) VALUES('mine')");
    onAnotherThread(expectRefused);
    EXPECT_EQ(first("SELECT v FROM t"), "mine");
    // The one that it waits for.
    onAnotherThread([&] {
      const SessionClaim inner(*session_);
      EXPECT_EQ(first("SELECT v FROM t"), "mine");
    });
    onAnotherThread(expectRefused);
    EXPECT_EQ(session_->error(), "");
  }
  onAnotherThread([this] { EXPECT_EQ(first("SELECT v FROM t"), "mine"); });
}

TEST_F(ServerSessionTest, ACrashedServerShowsAsALostConnection) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "a server that is given is not killed";
  const auto statement = session_->makeStatement();
  ASSERT_TRUE(statement->prepare("INSERT INTO t (v) VALUES(?)"));
  TestServer::shared().kill();
  EXPECT_FALSE(session_->query("SELECT 1"));
  EXPECT_TRUE(isLostConnection(session_->error())) << session_->error();
  session_->init();
  EXPECT_FALSE(session_->connect(TestServer::shared().address()));
  EXPECT_TRUE(isLostConnection(session_->error())) << session_->error();
  // The statement outlived its session.
  EXPECT_FALSE(statement->execute());
  TestServer::shared().restart();
  session_->init();
  EXPECT_TRUE(session_->connect(TestServer::shared().address())) << session_->error();
}

TEST(LostConnection, IsToldFromOtherFailures) {
  const std::pair<const char*, bool> rows[] = {
      {"MySQL server has gone away", true},
      {"Server has gone away", true},
      {"Lost connection to MySQL server during query", true},
      {"Lost connection to server at 'handshake: reading initial communication packet'", true},
      {"Can't connect to local MySQL server through socket '/x' (2)", true},
      {"Server shutdown in progress", true},
      {"Connection was killed", true},
      {"The client was disconnected by the server because of inactivity.", true},
      {"Access denied for user 'root'@'localhost'", false},
      {"Unknown database 'shutdown'", false},
      {"Duplicate entry '1' for key 'PRIMARY'", false},
      {"", false}};
  for (const auto& [text, lost] : rows) EXPECT_EQ(isLostConnection(text), lost) << text;
}

}  // namespace
}  // namespace keldane
