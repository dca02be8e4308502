#include "cli/program.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "archive/existing_archive.h"
#include "cli/database_words.h"

namespace keldane {
namespace {

std::atomic<int> interrupts = 0;
static_assert(std::atomic<int>::is_always_lock_free, "touched by a signal handler");

/// The main thread looks at the interrupts itself.
std::atomic<bool> watched = false;
static_assert(std::atomic<bool>::is_always_lock_free, "touched by a signal handler");

void onInterrupt(int) {
  const int count = ++interrupts;
  if (count > 2 || (count > 1 && !watched)) _exit(kExitInterrupted);
}

}  // namespace

int interruptCount() { return interrupts; }

void watchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

void tellOfFileLimits() {
  struct sigaction action = {};
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}

void fillStandardFiles() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is the one that is missing.
    if (::fcntl(descriptor, F_GETFD) < 0) (void)::open("/dev/null", O_RDONLY);
  }
}

Program::Program(int argc, char** argv) : environment(argc, argv), host(tools) {
  terminal.isInterrupted = [] { return interruptCount() > 0; };
}

Program::~Program() {
  if (archiver_) archiver_->close();
}

Archiver& Program::archiver() {
  if (archiver_) return *archiver_;
  if (!environment.variable("HOME")) {
    // Everything would be looked for, and kept, below the root folder.
    fail("there is no home folder: set HOME to the folder that holds your archive's settings");
    std::exit(kExitFailed);
  }
  Archiver::Options options;
  options.cleansCrontab = false;
  archiver_ = std::make_unique<Archiver>(Archiver::Ports{terminal, queue, tools, environment, host},
                                         options);
  archiver_->archiveRun().reconnect = [this] {
    static_cast<void>(tell(archiver_->reconnect()));
    const bool stands = archiver_->connections().isConnected();
    if (!stands) archiver_->process().cancelFlag = 1;
    return stands;
  };
  if (const Result<void> loaded = archiver_->preferences().load(); !loaded) {
    terminal.tell({Fault::About::settings, loaded.error()});
  }
  if (archiver_->start()) archiver_->loadPreferences();
  return *archiver_;
}

Archiver* Program::connected(const std::string& connectionName, const std::string& databaseName,
                             Opening opening) {
  Archiver& made = archiver();
  made.ensureConnection();
  if (!connectionName.empty()) {
    const std::vector<std::string> names = made.connections().connectionNames();
    if (std::find(names.begin(), names.end(), connectionName) == names.end()) {
      fail("there is no connection named \"" + connectionName +
           "\"; `keldane connections list` shows them");
      return nullptr;
    }
  }
  if (!databaseName.empty()) {
    if (const Result<void> named = checkDatabaseName(databaseName); !named) {
      fail(named.error());
      return nullptr;
    }
  }
  static_cast<void>(tell(made.connectForCommand(connectionName, databaseName, opening)));
  if (!made.connections().isConnected()) return nullptr;
  return made.process().cancelFlag.exchange(0) == 0 ? &made : nullptr;
}

void Program::runUntil(const std::function<bool()>& done) {
  bool told = false;
  watched = true;
  queue.runUntil([&] {
    if (!archiver_ || interruptCount() == 0) return done();
    ArchiveRun& run = archiver_->archiveRun();
    if (interruptCount() > 1) {
      // The worker may hang in a statement for long, so nothing waits for it.
      run.logInterrupted();
      _exit(kExitInterrupted);
    }
    if (!told) {
      terminal.notice("Stopping after the message at hand; press Ctrl-C again to end at once.");
      run.interrupt();
    }
    told = true;
    return done();
  });
  watched = false;
}

int Program::finishOutput() {
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exitStatus;
  const int reason = errno;
  // The client library of the database has broken pipes ignored; an earlier one no longer tells.
  pollfd output{STDOUT_FILENO, 0, 0};
  const bool readerGone = ::poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
  if (reason == EPIPE || readerGone) return exitStatus;
  return fail(reason == 0 ? "the output could not be written whole"
                          : "the output could not be written whole: " +
                                std::generic_category().message(reason));
}

int Program::fail(const std::string& message) {
  std::fprintf(stderr, "keldane: %s\n", message.c_str());
  return kExitFailed;
}

bool Program::tell(const Faults& faults) {
  for (const Fault& fault : faults) terminal.tell(fault);
  return faults.empty();
}

int Program::failSql(const std::string& serverError) { return fail(databaseSentence(serverError)); }

}  // namespace keldane
