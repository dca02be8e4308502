#pragma once

#include <memory>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "platform/process_tool_runner.h"
#include "platform/system_environment.h"
#include "server/local_server.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// A database server for one test program: started at the first use, with its data in a temporary
/// folder, gone when the program ends. It is the private server of the archive, told to be small
/// and not to wait for the disk. A program that crashes leaves it to end itself.
///
/// Its empty data folder is made once for a build folder and copied from there. Main thread.
///
/// With KELDANE_TEST_SOCKET set (and KELDANE_TEST_USER, "root" else) the tests run on the server
/// that listens there, and take the databases away that they have made. What needs a server of its
/// own, to kill it or to look at its folder, asks `isGiven` and is skipped aloud.
class TestServer {
 public:
  /// The server of this program. Ends the program when no server can be had: a test that needs one
  /// must not pass without.
  static TestServer& shared();

  [[nodiscard]] bool isGiven() const { return !givenSocket_.empty(); }
  [[nodiscard]] ServerAddress address() const;
  /// A new session, connected, no database selected.
  [[nodiscard]] std::unique_ptr<ServerSession> connect() const;
  /// A name that no other call gives; no database of this name is there.
  [[nodiscard]] std::string freshDatabase(const std::string& prefix);
  /// First cell of the answer to a statement, over a session of its own; "0" for none. A statement
  /// that fails makes the test fail.
  std::string value(const std::string& sql) const;
  [[nodiscard]] std::string dataFolder() const;

  /// Ends the server without a warning, as a crash does. `restart` must follow.
  void kill();
  void restart();

  ~TestServer();
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

 private:
  TestServer();
  void start();

  const std::string givenSocket_;
  TemporaryFolder folder_;
  ProcessToolRunner tools_;
  SystemEnvironment environment_;
  LocalServer server_;
  std::vector<std::string> made_;
};

/// The settings that make a private server quick to start and careless of its data.
[[nodiscard]] LocalServer::Options quickServerOptions(const std::string& folder);
/// Lays an empty data folder where a private server with these options would make its own.
void layDataFolder(const LocalServer::Options& options);

}  // namespace keldane
