#include "server/local_server.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/text.h"
#include "server/server_process.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

/// One program that uses the private server of a folder.
struct Program {
  explicit Program(LocalServer::Options options)
      : environment(0, nullptr), server(std::move(options), tools, environment) {}
  ProcessToolRunner tools;
  SystemEnvironment environment;
  LocalServer server;
};

bool eventually(const std::function<bool()>& what, int seconds = 20) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!what()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

bool connects(ServerSession& session, const std::string& socket) {
  ServerAddress address;
  address.host = "localhost";
  address.user = "root";
  address.socket = socket;
  session.init();
  return session.connect(address);
}

std::string first(ServerSession& session, const std::string& sql) {
  EXPECT_TRUE(session.query(sql)) << sql << ": " << session.error();
  return fetchFirstCell(session);
}

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

/// A quick server in a folder whose name is as awkward as a user's may be, with a data folder laid
/// out; stopped when the test ends.
class LocalServerTest : public testing::Test {
 protected:
  LocalServerTest() : options_(quickServerOptions(folder_ / "Anne's \"Mail\" #1 \xC3\xA9\\t")) {}
  void SetUp() override { layDataFolder(options_); }
  void TearDown() override { EXPECT_TRUE(Program(options_).server.stop()); }
  [[nodiscard]] bool isHeld() const { return dataFolderHolder(options_.folder + "/data").held; }

  TemporaryFolder folder_;
  LocalServer::Options options_;
};

TEST_F(LocalServerTest, StartsOnceAndIsJoinedAfterwards) {
  Program program(options_);
  EXPECT_FALSE(program.server.status().running);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  EXPECT_TRUE(started->running);
  EXPECT_GT(started->processId, 0);
  const auto joined = Program(options_).server.start();
  ASSERT_TRUE(joined) << joined.error();
  EXPECT_EQ(joined->processId, started->processId);
  EXPECT_EQ(program.server.status().processId, started->processId);
  EXPECT_EQ(modeOf(options_.folder), 0700u);

  ASSERT_TRUE(program.server.stop());
  EXPECT_FALSE(program.server.status().running);
  EXPECT_FALSE(isHeld());
  EXPECT_TRUE(program.server.stop()) << "stopping twice";
}

TEST_F(LocalServerTest, TwoStartsAtOnceShareOneServer) {
  std::array<int, 4> processes{};
  std::array<std::thread, 4> threads;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    threads[i] = std::thread([this, i, &processes] {
      const auto started = Program(options_).server.start();
      processes[i] = started ? started->processId : -1;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(processes[0], 0);
  for (const int process : processes) EXPECT_EQ(process, processes[0]);
}

TEST_F(LocalServerTest, WhatAKilledServerLeftIsCleared) {
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  auto session = makeMysqlSession();
  ASSERT_TRUE(connects(*session, started->socket));
  ASSERT_TRUE(session->query("CREATE DATABASE kept"));
  ::kill(started->processId, SIGKILL);
  ASSERT_TRUE(eventually([&] { return hasEnded(started->processId); }));
  ASSERT_TRUE(fs::exists(started->socket));
  // The number in a note that was left may by now be another process's.
  std::ofstream(options_.folder + "/server.pid") << ::getpid() << "\n";
  EXPECT_FALSE(program.server.status().running);
  EXPECT_TRUE(program.server.stop()) << "nothing to stop, and this process least of all";

  const auto again = program.server.start();
  ASSERT_TRUE(again) << again.error();
  ASSERT_TRUE(connects(*session, again->socket));
  EXPECT_TRUE(session->selectDatabase("kept"));
}

TEST_F(LocalServerTest, AStartJoinsAServerThatIsStillStopping) {
  Program program(options_);
  for (int i = 0; i < 3; ++i) {
    const auto started = program.server.start();
    ASSERT_TRUE(started) << started.error();
    ::kill(started->processId, SIGTERM);
    const auto again = program.server.start();
    ASSERT_TRUE(again) << again.error();
    // It joined the old one, if that still answered, or is a new one.
    if (again->processId != started->processId) {
      auto session = makeMysqlSession();
      EXPECT_TRUE(connects(*session, again->socket)) << session->error();
    }
    EXPECT_TRUE(eventually([&] { return hasEnded(started->processId); }));
  }
}

TEST_F(LocalServerTest, EndsItselfAfterItsLastClient) {
  options_.idleSeconds = 2;
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  auto session = makeMysqlSession();
  ASSERT_TRUE(connects(*session, started->socket));
  // As long as a client is there, no look of the server counts.
  EXPECT_EQ(first(*session, "SELECT SLEEP(4)"), "0");
  EXPECT_EQ(first(*session, "SELECT MAX(idle) FROM mysql.keldane_idle_look"), "0");
  session->close();
  EXPECT_TRUE(eventually([this] { return !isHeld(); }));
  EXPECT_TRUE(eventually([&] { return hasEnded(started->processId); }));

  const auto again = program.server.start();
  EXPECT_TRUE(again) << again.error();
}

TEST_F(LocalServerTest, ClientsThatComeAndGoBetweenTwoLooksKeepItUp) {
  options_.idleSeconds = 2;
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    auto session = makeMysqlSession();
    ASSERT_TRUE(connects(*session, started->socket)) << session->error();
    session->close();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
  }
}

TEST_F(LocalServerTest, ADeadStartShowsTheEndOfTheLog) {
  options_.extraSettings.emplace_back("no_such_setting = 1");
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_FALSE(started);
  EXPECT_NE(started.error().find("no_such_setting"), std::string::npos) << started.error();
  EXPECT_FALSE(isHeld());
}

TEST_F(LocalServerTest, EveryCharacterFitsIntoUtf8) {
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  auto session = makeMysqlSession();
  ASSERT_TRUE(connects(*session, started->socket));
  for (const char* sql : {"CREATE DATABASE x", "ALTER DATABASE x CHARACTER SET utf8", "USE x",
                          "CREATE TABLE t (s MEDIUMTEXT NOT NULL)",
                          "INSERT INTO t VALUES(\"\xF0\x9F\x98\x80 \xF0\xA0\x80\x80 \xC3\xA9\")"}) {
    ASSERT_TRUE(session->query(sql)) << session->error();
  }
  EXPECT_EQ(first(*session, "SELECT s FROM t"), "\xF0\x9F\x98\x80 \xF0\xA0\x80\x80 \xC3\xA9");
  EXPECT_EQ(first(*session, "SELECT CHAR_LENGTH(s) FROM t"), "5");
  EXPECT_EQ(first(*session, "SELECT LOAD_FILE('/etc/hostname') IS NULL"), "1");
  EXPECT_EQ(first(*session, "SELECT @@skip_networking"), "1");
  EXPECT_GE(std::stol(first(*session, "SELECT @@max_allowed_packet")), 500000000);
}

TEST(LocalServerSocket, LeavesAFolderThatIsTooDeepForASocket) {
  TemporaryFolder folder;
  const LocalServer::Options options =
      quickServerOptions(folder / std::string(120, 'd') + "/Server");
  Program program(options);
  const std::string socket = program.server.socketPath();
  EXPECT_EQ(Program(options).server.socketPath(), socket);
  EXPECT_TRUE(socket.starts_with("/tmp/keldane-")) << socket;
  EXPECT_NE(Program(quickServerOptions(options.folder + "2")).server.socketPath(), socket);
  const std::string socketFolder = fs::path(socket).parent_path();
  layDataFolder(options);

  // Another's server that waits under this name is not to be spoken to.
  const LocalServer::Options others = quickServerOptions(folder / "others");
  layDataFolder(others);
  Program foreign(others);
  ASSERT_TRUE(foreign.server.start());
  fs::create_directory(socketFolder);
  fs::create_symlink(foreign.server.socketPath(), socket);
  fs::permissions(socketFolder, fs::perms::all);
  EXPECT_FALSE(program.server.status().running);
  fs::permissions(socketFolder, fs::perms::owner_all);
  EXPECT_TRUE(program.server.status().running) << "the same, had it been ours";
  EXPECT_TRUE(foreign.server.stop());
  fs::remove_all(socketFolder);

  fs::create_directory(folder / "trap");
  fs::create_directory_symlink(folder / "trap", socketFolder);
  EXPECT_FALSE(program.server.start()) << "somebody else's link was followed";
  fs::remove(socketFolder);

  fs::create_directory(socketFolder);
  fs::permissions(socketFolder, fs::perms::all);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  EXPECT_EQ(modeOf(socketFolder), 0700u);
  EXPECT_TRUE(program.server.stop());
  fs::remove_all(socketFolder);
}

TEST(LocalServerData, AFirstStartMakesItAndNothingHalfMadeIsTaken) {
  TemporaryFolder folder;
  LocalServer::Options options;
  options.folder = folder / "Library/Application Support/Keldane/Server";
  fs::create_directories(options.folder + "/data.new/mysql");
  options.leastFreeBytes = std::uint64_t{1} << 62;
  const auto refused = Program(options).server.start();
  ASSERT_FALSE(refused);
  EXPECT_NE(refused.error().find("The disk is too full for a new archive: "), std::string::npos);
  EXPECT_FALSE(fs::exists(options.folder + "/data"));

  options.leastFreeBytes = 0;
  Program program(options);
  // Its temporary tables lie where no other server, which would remove them, looks.
  ::setenv("TMPDIR", (options.folder + "/missing").c_str(), 1);
  const auto started = program.server.start();
  ::unsetenv("TMPDIR");
  ASSERT_TRUE(started) << started.error();
  // What a session asks for is for other servers: here it would be the most of the disk's room.
  auto session = makeMysqlSession();
  session->init();
  ServerAddress address;
  address.user = started->user;
  address.socket = started->socket;
  ASSERT_TRUE(session->connect(address)) << session->error();
  EXPECT_FALSE(session->query("SET GLOBAL innodb_log_file_size=500000000"));
  EXPECT_TRUE(session->query("CREATE DATABASE x")) << session->error();
  EXPECT_LE(fs::file_size(started->dataFolder + "/ib_logfile0"), kLeastLogBytes);
  EXPECT_FALSE(fs::exists(options.folder + "/data.new"));
  EXPECT_EQ(dataFolderMake(started->dataFolder), ServerMake::mariadb);
  EXPECT_EQ(modeOf(options.folder), 0700u);
  EXPECT_TRUE(program.server.stop());
}

TEST(LocalServerData, ACancelledStartLeavesNothingHalfMade) {
  TemporaryFolder folder;
  LocalServer::Options options;
  options.folder = folder / "Server";
  Program program(options);
  const auto isBeingMade = [&] { return fs::exists(options.folder + "/data.new/mysql"); };
  const auto begun = program.server.start(isBeingMade);
  ASSERT_FALSE(begun);
  EXPECT_EQ(begun.error(), "Starting the private server was cancelled.");
  EXPECT_FALSE(fs::exists(options.folder + "/data.new"));
  EXPECT_FALSE(fs::exists(options.folder + "/data"));

  // One that nobody waited for is joined, and arranged then.
  const auto launched =
      program.server.start([&] { return dataFolderHolder(options.folder + "/data").held; });
  ASSERT_FALSE(launched);
  const auto joined = program.server.start();
  ASSERT_TRUE(joined) << joined.error();
  EXPECT_EQ(joined->user, kLocalUser);
  EXPECT_TRUE(program.server.stop());
}

TEST(LocalServerData, AFailedInstallationIsToldAndLeavesNoData) {
  TemporaryFolder folder;
  folder.writeScript("bin/mariadbd", "exit 1");
  folder.writeScript("bin/mariadb-install-db", "echo no space on the disk\nexit 3");
  FakeEnvironment environment;
  environment.variables["PATH"] = folder / "bin";
  ProcessToolRunner tools;
  LocalServer::Options options;
  options.folder = folder / "Server";
  LocalServer server(options, tools, environment);
  const auto started = server.start();
  ASSERT_FALSE(started);
  EXPECT_NE(started.error().find("no space on the disk"), std::string::npos) << started.error();
  EXPECT_FALSE(fs::exists(options.folder + "/data"));
}

TEST(ServerPrograms, AreFoundByMakeAndPlace) {
  const char* const mysql = "mysqld  Ver 8.0.36 for Linux on x86_64";
  const char* const mariadb = "mysqld  Ver 10.5.23-MariaDB for Linux on x86_64";
  const struct {
    const char* name;
    const char* files;
    const char* server;
    const char* installer;
    const char* versionText = "";
    std::optional<ServerMake> wanted = {};
  } rows[] = {
      {"nothing", "", "", ""},
      {"on the path before the usual place", "usual/mariadbd path/mariadbd path/mariadb-install-db",
       "path/mariadbd", "path/mariadb-install-db"},
      {"MariaDB elsewhere before MySQL on the path",
       "path/mysqld usual/mariadbd usual/mysql_install_db", "usual/mariadbd",
       "usual/mysql_install_db", mysql},
      {"MariaDB under its old name", "usual/mysqld usual/mysql_install_db", "usual/mysqld",
       "usual/mysql_install_db", mariadb, ServerMake::mariadb},
      {"MySQL alone", "usual/mysqld", "usual/mysqld", "", mysql},
      {"MySQL for its own data", "usual/mysqld path/mariadbd", "usual/mysqld", "", mysql,
       ServerMake::mysql},
      {"no MySQL for its own data", "path/mariadbd", "", "", "", ServerMake::mysql},
  };
  for (const auto& row : rows) {
    TemporaryFolder folder;
    for (const std::string& file : split(row.files, " ")) {
      if (!file.empty()) folder.writeScript(file, "exit 0");
    }
    FakeEnvironment environment;
    environment.variables["PATH"] = "relative:" + folder / "path";
    RecordingToolRunner tools;
    tools.answer = [&row](const ToolCall&) -> Result<ToolOutcome> {
      return ToolOutcome{0, row.versionText, ""};
    };
    const auto below = [&folder](const std::string& name) {
      return name.empty() ? name : folder / name;
    };
    const ServerPrograms found =
        findServerPrograms(environment, tools, {folder / "usual"}, row.wanted);
    EXPECT_EQ(found.server, below(row.server)) << row.name;
    EXPECT_EQ(found.installer, below(row.installer)) << row.name;
  }
}

TEST(ServerPrograms, MissingOnesNameThePackage) {
  TemporaryFolder folder;
  FakeEnvironment environment;
  ProcessToolRunner tools;
  LocalServer::Options options;
  options.folder = folder / "Server";
  options.programFolders.clear();
  LocalServer server(options, tools, environment);
  const auto started = server.start();
  ASSERT_FALSE(started);
  EXPECT_NE(started.error().find("mariadb-server"), std::string::npos) << started.error();
  EXPECT_EQ(server.status().program, "");
}

TEST(ServerConfig, TheLogGrowsWithTheDataWhereItCanGrowAtAll) {
  EXPECT_EQ(logBytesFor(0, true), kLeastLogBytes);
  EXPECT_EQ(logBytesFor(300'000'000, true), 150'000'000 / 1048576 * 1048576);
  EXPECT_EQ(logBytesFor(std::uint64_t{1} << 40, true), kMostLogBytes);
  EXPECT_EQ(logBytesFor(0, false), kMostLogBytes);
}

TEST(ServerConfig, TheServerTakesAQuarterOfTheMemoryAtMost) {
  constexpr std::uint64_t kMegabytes = 1000000;
  const auto bytesOf = [](const std::string& text, const std::string& name) {
    return std::stoull(text.substr(text.find("\n" + name + " = ") + name.size() + 4));
  };
  for (const std::uint64_t memory : {400 * kMegabytes, 2000 * kMegabytes, 64000 * kMegabytes}) {
    const std::string text = localServerConfig({}, {ServerMake::mariadb, memory, 1}, {});
    const std::uint64_t pool = bytesOf(text, "innodb_buffer_pool_size");
    EXPECT_LE(pool + bytesOf(text, "innodb_ft_cache_size"), memory / 4) << memory;
    EXPECT_GE(pool, std::min(memory / 5, 8000 * kMegabytes)) << memory;
  }
}

TEST_F(LocalServerTest, ALogThatFillsIsEnlarged) {
  options_.idleSeconds = 10;
  options_.extraSettings.emplace_back("innodb_log_file_size = 4M");
  Program program(options_);
  const auto started = program.server.start();
  ASSERT_TRUE(started) << started.error();
  auto session = makeMysqlSession();
  ASSERT_TRUE(connects(*session, started->socket));
  for (const char* sql : {"CREATE DATABASE x", "USE x", "CREATE TABLE t (b LONGBLOB)"}) {
    ASSERT_TRUE(session->query(sql)) << session->error();
  }
  EXPECT_TRUE(eventually([&] {
    EXPECT_TRUE(session->query("INSERT INTO t VALUES(REPEAT('x', 500000))")) << session->error();
    return std::stol(first(*session, "SELECT @@GLOBAL.innodb_log_file_size")) > 4 * 1048576;
  }));
}

TEST(ServerConfig, MysqlGetsNothingOfMariadbsOwn) {
  const LocalServerPaths paths = localServerPaths("/home/x/Server");
  const std::string text = localServerConfig(paths, {ServerMake::mysql, 0, 1}, {"last = 1"});
  EXPECT_EQ(text.find("old_mode"), std::string::npos);
  EXPECT_EQ(text.find("aria"), std::string::npos);
  EXPECT_NE(text.find("innodb_buffer_pool_size = 67108864\n"), std::string::npos);
  EXPECT_TRUE(text.ends_with("last = 1\n"));
}

}  // namespace
}  // namespace keldane
