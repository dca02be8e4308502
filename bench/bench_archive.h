#pragma once

#include <memory>
#include <string>

#include "bench/statement_tape.h"
#include "cli/program.h"

namespace keldane::bench {

/// The ports of a terminal program, quiet and without its command line.
struct BenchPorts {
  explicit BenchPorts(char** argv);

  LocalMainQueue queue;
  ProcessToolRunner tools;
  SystemEnvironment environment;
  DesktopHostServices host;
  TerminalInterface terminal{queue};
};

/// The core over these ports, started, its preferences read, not connected. `tape`: gets all that
/// its session sends; may be null. Ends the program when it cannot be started.
[[nodiscard]] std::unique_ptr<Archiver> makeArchiver(BenchPorts& ports, StatementTape* tape);

/// The same, connected to a database of its private server; what fails ends the program.
struct BenchArchive : BenchPorts {
  BenchArchive(char** argv, const std::string& database, StatementTape* tape);
  ~BenchArchive();

  void run(const std::string& sql);
  /// The first cell of the answer.
  [[nodiscard]] double number(const std::string& sql);

  std::unique_ptr<Archiver> archiver;
};

}  // namespace keldane::bench
