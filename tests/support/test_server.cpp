#include "tests/support/test_server.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include <gtest/gtest.h>
#include <unistd.h>

#include "base/private_files.h"
#include "server/server_process.h"

namespace keldane {
namespace {

constexpr int kLockSeconds = 60;
constexpr int kOrphanSeconds = 30;

[[noreturn]] void giveUp(const std::string& text) {
  std::fprintf(stderr, "test server: %s\n", text.c_str());
  std::exit(1);
}

/// A data folder as a first start leaves it, kept in the build folder for all test programs.
/// Another version of the server's program gets one of its own.
std::string dataTemplate() {
  const std::string root = KELDANE_TEST_SERVER_FOLDER;
  std::filesystem::create_directories(root);
  const Result<FileLock> lock = FileLock::take(root + "/lock", kLockSeconds);
  if (!lock) giveUp(lock.error());
  ProcessToolRunner tools;
  SystemEnvironment environment(0, nullptr);
  const std::string program = findServerPrograms(environment, tools, usualServerFolders()).server;
  if (program.empty()) giveUp(missingServerText(std::nullopt));
  // In seconds, as not every library has a way to print its own finer unit.
  const auto version = std::chrono::duration_cast<std::chrono::seconds>(
                           std::filesystem::last_write_time(program).time_since_epoch())
                           .count();
  const std::string folder = root + "/" + std::to_string(version);
  const std::string ready = folder + "/ready";
  if (std::filesystem::exists(ready)) return folder + "/Server/data";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  LocalServer server(quickServerOptions(folder + "/Server"), tools, environment);
  if (const auto started = server.start(); !started) giveUp(started.error());
  if (const auto stopped = server.stop(); !stopped) giveUp(stopped.error());
  if (std::FILE* mark = std::fopen(ready.c_str(), "w")) std::fclose(mark);
  return folder + "/Server/data";
}

/// The socket of a server that runs already, on which the tests are to run; empty: on one of their
/// own.
std::string givenSocket() {
  const char* socket = std::getenv("KELDANE_TEST_SOCKET");
  return socket == nullptr ? std::string() : socket;
}

std::string givenUser() {
  const char* user = std::getenv("KELDANE_TEST_USER");
  return user == nullptr ? "root" : user;
}

}  // namespace

LocalServer::Options quickServerOptions(const std::string& folder) {
  LocalServer::Options options;
  options.folder = folder;
  options.idleSeconds = kOrphanSeconds;
  options.startSeconds = 60;
  options.extraSettings = {"innodb_buffer_pool_size = 32M",
                           "loose_innodb_log_file_size = 16M",
                           "loose_innodb_redo_log_capacity = 32M",
                           "innodb_flush_log_at_trx_commit = 0",
                           "loose_debug_no_sync = ON",
                           "innodb_flush_method = nosync",
                           "innodb_use_native_aio = 0",
                           "innodb_doublewrite = 0",
                           "innodb_buffer_pool_dump_at_shutdown = 0",
                           "innodb_buffer_pool_load_at_startup = 0",
                           "innodb_fast_shutdown = 2"};
  return options;
}

void layDataFolder(const LocalServer::Options& options) {
  std::filesystem::create_directories(options.folder);
  std::filesystem::copy(dataTemplate(), options.folder + "/data",
                        std::filesystem::copy_options::recursive);
}

TestServer& TestServer::shared() {
  static TestServer server;
  return server;
}

TestServer::TestServer()
    : givenSocket_(givenSocket()),
      environment_(0, nullptr),
      server_(quickServerOptions(folder_ / "Server"), tools_, environment_) {
  if (!givenSocket_.empty()) return;
  layDataFolder(quickServerOptions(folder_ / "Server"));
  start();
}

TestServer::~TestServer() {
  if (!givenSocket_.empty()) {
    const auto session = connect();
    for (const std::string& name : made_) {
      static_cast<void>(session->query("DROP DATABASE IF EXISTS " + name));
    }
    return;
  }
  // Its data goes with the folder, so there is nothing to end in order.
  const int process = server_.status().processId;
  if (process <= 0) return;
  ::kill(process, SIGKILL);
  while (!hasEnded(process)) ::usleep(1000);
}

void TestServer::start() {
  if (const auto started = server_.start(); !started) giveUp(started.error());
}

ServerAddress TestServer::address() const {
  ServerAddress address;
  address.host = "localhost";
  address.user = givenSocket_.empty() ? "root" : givenUser();
  address.socket = givenSocket_.empty() ? server_.socketPath() : givenSocket_;
  return address;
}

std::unique_ptr<ServerSession> TestServer::connect() const {
  auto session = makeMysqlSession();
  session->init();
  if (!session->connect(address())) giveUp(session->error());
  // As every connection of the program does; the server's own mode may refuse its statements.
  if (!session->query("SET SESSION sql_mode=''")) giveUp(session->error());
  return session;
}

std::string TestServer::freshDatabase(const std::string& prefix) {
  // A given server may have databases of another test program.
  const std::string program =
      givenSocket_.empty() ? std::string() : "_" + std::to_string(::getpid());
  made_.push_back(prefix + program + "_" + std::to_string(made_.size() + 1));
  return made_.back();
}

std::string TestServer::value(const std::string& sql) const {
  const auto session = connect();
  if (!session->query(sql)) {
    ADD_FAILURE() << sql << ": " << session->error();
    return {};
  }
  return fetchFirstCell(*session);
}

std::string TestServer::dataFolder() const { return server_.status().dataFolder; }

void TestServer::kill() {
  const int process = server_.status().processId;
  if (process <= 0) giveUp("it does not run and cannot be killed");
  ::kill(process, SIGKILL);
  while (!hasEnded(process)) ::usleep(1000);
}

void TestServer::restart() { start(); }

}  // namespace keldane
