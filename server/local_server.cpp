#include "server/local_server.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include "archive/server_session.h"
#include "base/files.h"
#include "base/private_files.h"
#include "base/text.h"
#include "server/server_process.h"

namespace keldane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPoll{20};
constexpr int kStopSeconds = 90;
constexpr std::chrono::seconds kLastMoment{1};
constexpr std::size_t kLogTailLines = 15;
constexpr std::uintmax_t kLongLogBytes = 1024 * 1024;
/// The login that a fresh data folder has; who may reach the socket may use it.
constexpr const char* kServerUser = "root";
constexpr std::uint64_t kMegabyte = 1000000;

constexpr const char* kCancelled = "Starting the private server was cancelled.";

bool isCancelled(const std::function<bool()>& cancelled) { return cancelled && cancelled(); }

ServerAddress addressOf(const std::string& socket, const char* user) {
  ServerAddress address;
  address.host = "localhost";
  address.user = user;
  address.socket = socket;
  return address;
}

/// Of all files below, but not of the redo log.
std::uint64_t dataBytes(const std::string& folder) {
  std::uint64_t bytes = 0;
  std::error_code failed;
  std::filesystem::recursive_directory_iterator entry(folder, failed);
  for (; !failed && entry != std::filesystem::recursive_directory_iterator();
       entry.increment(failed)) {
    if (entry->path().filename().string().starts_with("ib_logfile")) continue;
    std::error_code unknown;
    const std::uintmax_t size = entry->is_regular_file(unknown) ? entry->file_size(unknown) : 0;
    if (!unknown) bytes += size;
  }
  return bytes;
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

/// The server refuses to run as the system's administrator unless told so.
void allowAdministrator(std::vector<std::string>& arguments) {
  if (::geteuid() == 0) arguments.emplace_back("--user=root");
}

std::string lastLines(std::string_view text, std::size_t lines) {
  std::size_t start = text.size();
  while (start > 0 && text[start - 1] == '\n') --start;
  const std::size_t end = start;
  for (std::size_t found = 0; start > 0; --start) {
    if (text[start - 1] == '\n' && ++found == lines) break;
  }
  return std::string(text.substr(start, end - start));
}

}  // namespace

LocalServer::LocalServer(Options options, ToolRunner& tools, Environment& environment)
    : options_(std::move(options)),
      paths_(localServerPaths(withoutTrailingSlashes(options_.folder))),
      tools_(tools),
      environment_(environment) {}

ServerPrograms LocalServer::findPrograms() const {
  return findServerPrograms(environment_, tools_, options_.programFolders,
                            dataFolderMake(paths_.data));
}

std::string LocalServer::socketFolder() const {
  return paths_.socket.substr(0, paths_.socket.rfind('/'));
}

bool LocalServer::mayRun() const {
  // Below /tmp anybody can have a server listen under our name, for us to hand our mail to.
  return fileExists(paths_.socket) &&
         (socketFolder() == paths_.folder || isPrivateFolder(socketFolder()));
}

bool LocalServer::answers(const char* user) const {
  if (!mayRun()) return false;
  const auto session = makeMysqlSession();
  session->init();
  return session->connect(addressOf(paths_.socket, user));
}

bool LocalServer::answers() const { return answers(kServerUser); }

LocalServer::Status LocalServer::runningStatus(const ServerPrograms& programs) const {
  Status status;
  status.running = true;
  status.processId = dataFolderHolder(paths_.data).processId;
  status.socket = paths_.socket;
  // One that an older version of this program has started has only its first login.
  status.user = answers(kLocalUser) ? kLocalUser : kServerUser;
  status.dataFolder = paths_.data;
  status.program = programs.server;
  return status;
}

LocalServer::Status LocalServer::status() const {
  const ServerPrograms programs = findPrograms();
  if (answers()) return runningStatus(programs);
  Status status;
  status.socket = paths_.socket;
  status.dataFolder = paths_.data;
  status.program = programs.server;
  return status;
}

Result<void> LocalServer::prepareFolders() {
  if (Result<void> made = makePrivateFolder(paths_.folder, true); !made) return made;
  for (const std::string& folder : {paths_.scratch, paths_.files}) {
    if (Result<void> made = makePrivateFolder(folder, true); !made) return made;
  }
  if (socketFolder() == paths_.folder) return {};
  // Below /tmp anybody may have made a folder or a link of this name before us.
  return makePrivateFolder(socketFolder(), false);
}

Result<void> LocalServer::checkSpace() const {
  std::error_code unknown;
  const std::filesystem::space_info space = std::filesystem::space(paths_.folder, unknown);
  if (unknown || space.available >= options_.leastFreeBytes) return {};
  return Failure{
      fmt::format("The disk is too full for a new archive: {} MB are free where \"{}\" is, and {} "
                  "MB are needed to begin with. Make room, or connect to a server of your own.",
                  space.available / kMegabyte, paths_.folder,
                  (options_.leastFreeBytes + kMegabyte - 1) / kMegabyte)};
}

Result<void> LocalServer::makeDataFolder(const ServerPrograms& programs,
                                         const std::function<bool()>& cancelled) {
  if (isDirectory(paths_.data)) return {};
  if (Result<void> enough = checkSpace(); !enough) return enough;
  // Made beside its place and then moved, so that a half-made one is never taken for an archive.
  const std::string fresh = paths_.data + ".new";
  std::error_code ignored;
  std::filesystem::remove_all(fresh, ignored);
  ToolCall call;
  // No defaults: neither this machine's settings nor ours, whose blanks the script cannot read.
  call.arguments = {"--no-defaults", "--datadir=" + fresh};
  call.folder = paths_.folder;
  if (programs.make == ServerMake::mariadb) {
    call.program = programs.installer;
    // Without --user, which would make the script change owners in the system's own folders.
    // --force: a machine that cannot look up its own name is no hindrance to a server without a
    // network.
    for (const char* argument : {"--auth-root-authentication-method=normal", "--skip-test-db",
                                 "--skip-name-resolve", "--force"}) {
      call.arguments.emplace_back(argument);
    }
    call.arguments.push_back(fmt::format("--innodb-log-file-size={}", kLeastLogBytes));
    // Any server that starts removes the temporary tables in the folder it shares with others. The
    // script breaks a path at its blanks; the new data folder is where this one begins.
    call.arguments.emplace_back("--tmpdir=.." + paths_.scratch.substr(paths_.folder.size()));
  } else {
    call.program = programs.server;
    call.arguments.emplace_back("--initialize-insecure");
    call.arguments.push_back("--tmpdir=" + paths_.scratch);
    allowAdministrator(call.arguments);
  }
  if (call.program.empty()) return Failure{missingServerText(programs.make)};
  call.cancelled = cancelled;
  const Result<ToolOutcome> outcome = tools_.run(call);
  if (isCancelled(cancelled)) {
    std::filesystem::remove_all(fresh, ignored);
    return Failure{kCancelled};
  }
  if (!outcome) return Failure{outcome.error()};
  if (outcome->exitStatus != 0) {
    return Failure{fmt::format("{} could not make the folder \"{}\":\n{}", call.program, fresh,
                               lastLines(outcome->output + outcome->errorText, kLogTailLines))};
  }
  std::error_code failed;
  std::filesystem::rename(fresh, paths_.data, failed);
  if (failed) return Failure{paths_.data + ": " + failed.message()};
  return {};
}

Result<int> LocalServer::launch(const ServerPrograms& programs) {
  // Whatever a server that was killed has left: nobody holds the data folder.
  std::error_code ignored;
  std::filesystem::remove(paths_.socket, ignored);
  std::filesystem::remove(paths_.socket + ".lock", ignored);
  if (std::filesystem::file_size(paths_.log, ignored) > kLongLogBytes && !ignored) {
    std::filesystem::rename(paths_.log, paths_.log + ".old", ignored);
  }
  const Result<void> written = replaceFile(
      paths_.config,
      localServerConfig(paths_,
                        {programs.make, machineMemoryBytes(),
                         logBytesFor(dataBytes(paths_.data), resizesLog(programs, tools_))},
                        options_.extraSettings));
  if (!written) return Failure{written.error()};
  ToolCall call;
  call.program = programs.server;
  call.arguments = {"--defaults-file=" + paths_.config};
  allowAdministrator(call.arguments);
  call.folder = paths_.folder;
  return tools_.startDetached(call, paths_.log);
}

Result<bool> LocalServer::waitForAnswer(int processId, Deadline deadline,
                                        const std::function<bool()>& cancelled) {
  while (!answers()) {
    if (isCancelled(cancelled)) return Failure{kCancelled};
    const bool gone = processId > 0 ? hasEnded(processId) : !dataFolderHolder(paths_.data).held;
    if (gone) return false;
    if (Clock::now() >= deadline) {
      return Failure{
          fmt::format("The private server does not answer after {} seconds. The end of "
                      "its log:\n{}",
                      options_.startSeconds, logTail())};
    }
    std::this_thread::sleep_for(kPoll);
  }
  return true;
}

Result<FileLock> LocalServer::takeLock(const std::function<bool()>& cancelled) const {
  for (int second = 1;; ++second) {
    Result<FileLock> lock = FileLock::take(paths_.lock, 1);
    if (lock || second >= options_.startSeconds) return lock;
    if (isCancelled(cancelled)) return Failure{kCancelled};
  }
}

Result<LocalServer::Status> LocalServer::start(const std::function<bool()>& cancelled) {
  // With a server that runs, no programs are needed and nobody need wait for the lock.
  if (answers(kLocalUser)) return runningStatus(findPrograms());
  const ServerPrograms programs = findPrograms();
  if (programs.server.empty()) return Failure{missingServerText(dataFolderMake(paths_.data))};
  if (const Result<void> made = prepareFolders(); !made) return Failure{made.error()};
  const std::chrono::seconds patience(options_.startSeconds);
  const Result<FileLock> lock = takeLock(cancelled);
  if (!lock) return Failure{lock.error()};
  // Another program has started it meanwhile; or one started before is still at its beginning, or
  // already at its end.
  Result<bool> answered = waitForAnswer(0, Clock::now() + patience, cancelled);
  if (!answered) return Failure{answered.error()};
  if (!*answered) {
    if (const Result<void> made = makeDataFolder(programs, cancelled); !made) {
      return Failure{made.error()};
    }
    const Result<int> launched = launch(programs);
    if (!launched) return Failure{launched.error()};
    answered = waitForAnswer(*launched, Clock::now() + patience, cancelled);
    if (!answered) return Failure{answered.error()};
    if (!*answered) {
      return Failure{"The private server did not start. The end of its log:\n" + logTail()};
    }
    arrange(programs);
  } else if (!answers(kLocalUser)) {
    // Whoever has started it did not wait for it.
    arrange(programs);
  }
  return runningStatus(programs);
}

void LocalServer::arrange(const ServerPrograms& programs) {
  const auto session = makeMysqlSession();
  session->init();
  bool arranged = session->connect(addressOf(paths_.socket, kServerUser));
  std::vector<std::string> statements =
      watchStatements(options_.idleSeconds, resizesLog(programs, tools_));
  for (std::string& login : loginStatements()) statements.push_back(std::move(login));
  for (const std::string& statement : statements) {
    arranged = arranged && session->query(statement);
  }
  // The archive works all the same; the server only stays until it is stopped.
  if (!arranged) noteInLog("the server is not arranged as it should be: " + session->error());
}

Result<void> LocalServer::stop() {
  if (!isDirectory(paths_.data)) return {};
  const Result<FileLock> lock = FileLock::take(paths_.lock, options_.startSeconds);
  if (!lock) return Failure{lock.error()};
  const DataFolderHolder holder = dataFolderHolder(paths_.data);
  if (!holder.held) return {};
  if (holder.processId == 0) {
    return Failure{
        "The private server cannot be stopped from here: it is not a process of this "
        "system's view."};
  }
  if (::kill(holder.processId, SIGTERM) != 0 && errno != ESRCH) {
    return Failure{fmt::format("The private server (process {}) cannot be stopped: {}",
                               holder.processId, std::generic_category().message(errno))};
  }
  const Deadline deadline = Clock::now() + std::chrono::seconds(kStopSeconds);
  while (dataFolderHolder(paths_.data).held) {
    if (Clock::now() >= deadline) {
      return Failure{
          fmt::format("The private server (process {}) is still stopping.", holder.processId)};
    }
    std::this_thread::sleep_for(kPoll);
  }
  // Its files are closed, so it is at its very end. A child of ours is reaped here; the child of a
  // program that does not reap it would be seen for ever.
  const Deadline end = Clock::now() + kLastMoment;
  while (!hasEnded(holder.processId) && Clock::now() < end) std::this_thread::sleep_for(kPoll);
  return {};
}

std::string LocalServer::logTail() const {
  const Result<std::string> log = readFile(paths_.log);
  return log ? toUtf8(lastLines(*log, kLogTailLines)) : std::string();
}

void LocalServer::noteInLog(const std::string& text) const {
  if (std::FILE* log = std::fopen(paths_.log.c_str(), "a")) {
    std::fputs(("Keldane: " + text + "\n").c_str(), log);
    std::fclose(log);
  }
}

}  // namespace keldane
