#include "app/patient_session.h"

#include <future>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;

/// Lasts for days, unless somebody ends it.
constexpr const char* kLong = "SELECT BENCHMARK(1000000000000, MD5('a'))";

struct PatientSessionTest : testing::Test {
  PatientSessionTest() {
    session.init();
    EXPECT_TRUE(session.connect(TestServer::shared().address())) << session.error();
  }

  int asked = 0;
  int over = 0;
  std::vector<std::string> duringWait;
  std::vector<bool> lost;
  PatientSession session{[] { return makeMysqlSession(); },
                         {.goesOn =
                              [this](bool canEnd) {
                                // An event that wants the session too is turned away.
                                const bool sent = session.query("SELECT 1");
                                duringWait = {sent ? "sent" : session.error()};
                                EXPECT_TRUE(session.isWaiting());
                                return ++asked < 3 || !canEnd;
                              },
                          .over = [this] { ++over; },
                          .lostChanged = [this](bool isLost) { lost.push_back(isLost); }}};
};

TEST_F(PatientSessionTest, EndsALongStatementOnTheServer) {
  ASSERT_TRUE(session.query("SELECT 7"));
  EXPECT_EQ(fetchFirstCell(session), "7");
  EXPECT_EQ(asked, 0) << "a short statement waits for nobody";

  // Some functions, when they are ended, just answer: that it came to an end is what counts.
  if (session.query(kLong)) static_cast<void>(session.storeResult());
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(over, 1);
  EXPECT_THAT(duringWait, ElementsAre("The connection is busy with another statement."));

  // The session has lost nothing, and neither has a prepared statement.
  ASSERT_TRUE(session.query("SELECT 8"));
  EXPECT_EQ(fetchFirstCell(session), "8");
  const auto statement = session.makeStatement();
  ASSERT_TRUE(statement && statement->prepare(std::string("SET @a=?")));
  const BoundValue value{"9"};
  EXPECT_TRUE(statement->bind({&value, 1}) && statement->execute());
  ASSERT_TRUE(session.query("SELECT @a"));
  EXPECT_EQ(fetchFirstCell(session), "9");
  EXPECT_TRUE(lost.empty());
}

TEST_F(PatientSessionTest, TellsOnceThatTheServerIsGoneAndThatItIsBack) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "needs a server of its own";
  TestServer::shared().kill();
  EXPECT_FALSE(session.query("SELECT 1"));
  EXPECT_FALSE(session.query("SELECT 1"));
  EXPECT_THAT(lost, ElementsAre(true));
  TestServer::shared().restart();
  session.init();
  EXPECT_TRUE(session.connect(TestServer::shared().address())) << session.error();
  EXPECT_THAT(lost, ElementsAre(true, false));
}

TEST_F(PatientSessionTest, AHostThatNeverAnswersIsGivenUp) {
  // It takes the link and says nothing.
  const int host = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in place = {};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof place;
  ASSERT_EQ(::bind(host, reinterpret_cast<sockaddr*>(&place), size), 0);
  ASSERT_TRUE(::listen(host, 1) == 0 &&
              ::getsockname(host, reinterpret_cast<sockaddr*>(&place), &size) == 0);
  ServerAddress address;
  address.host = "127.0.0.1";
  address.port = ntohs(place.sin_port);
  session.init();
  EXPECT_FALSE(session.connect(address));
  EXPECT_EQ(session.error(), "Connecting was cancelled.");
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(over, 1);
  // What is still waiting for that host is nobody's business.
  session.init();
  EXPECT_TRUE(session.connect(TestServer::shared().address())) << session.error();
  EXPECT_TRUE(session.query("SELECT 1"));
  ::close(host);
}

TEST_F(PatientSessionTest, LeavesTheSessionToARun) {
  std::promise<std::string> answered;
  std::promise<void> mayEnd;
  std::thread run([&] {
    const SessionClaim claim(session);
    const bool sent = session.query("SELECT 5");
    answered.set_value(sent ? fetchFirstCell(session) : session.error());
    mayEnd.get_future().wait();
  });
  EXPECT_EQ(answered.get_future().get(), "5");
  EXPECT_FALSE(session.query("SELECT 6"));
  EXPECT_EQ(session.error(), "The archive run is using the connection.");
  mayEnd.set_value();
  run.join();
  EXPECT_TRUE(session.query("SELECT 6"));
}

}  // namespace
}  // namespace keldane
