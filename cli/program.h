#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/archiver.h"
#include "cli/pager.h"
#include "cli/terminal_interface.h"
#include "platform/desktop_host_services.h"
#include "platform/local_main_queue.h"
#include "platform/process_tool_runner.h"
#include "platform/system_environment.h"

namespace keldane {

/// Exit statuses of the terminal program.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

/// What every command of the terminal program stands on: the ports of this system and, once it is
/// asked for, the archiver.
class Program {
 public:
  Program(int argc, char** argv);
  ~Program();

  /// The archiver, started as far as a command needs without a server.
  Archiver& archiver();
  /// The same with an open session and database. Null when the connect failed; the reason has been
  /// printed. A command that makes an archive where there is none says so with `opening`.
  Archiver* connected(const std::string& connectionName = "", const std::string& databaseName = "",
                      Opening opening = Opening::existing);
  /// Runs the main queue until `done`. The first interrupt ends the run under way after its message
  /// at hand, the second one the program.
  void runUntil(const std::function<bool()>& done);
  /// Sees to it that all that was printed is written, and answers how the program ends: a full disk
  /// behind standard output is a failure, which is told; a reader that has had enough is none.
  int finishOutput();

  /// Prints "keldane: <message>" on standard error and answers kExitFailed.
  int fail(const std::string& message);
  /// Prints each of them so, in the terminal's own words. False when there is one.
  [[nodiscard]] bool tell(const Faults& faults);
  /// The same for a statement that the database has refused, with the server's words.
  int failSql(const std::string& serverError);

  LocalMainQueue queue;
  ProcessToolRunner tools;
  SystemEnvironment environment;
  DesktopHostServices host;
  TerminalInterface terminal{queue};
  OutputStyle style;
  int exitStatus = kExitDone;

 private:
  std::unique_ptr<Archiver> archiver_;
};

/// Fills the places of standard files that the program was started without, so that no file or
/// socket of its own takes them and is printed into. What is printed there then fails.
void fillStandardFiles();

/// From now on a file that would grow past the limit of the process fails to be written, as one on
/// a full disk does, in place of the program's end.
void tellOfFileLimits();

/// Interrupts (Ctrl-C) seen since the program started.
[[nodiscard]] int interruptCount();
/// From now on an interrupt is counted, and the second ends the program.
void watchInterrupts();

}  // namespace keldane
