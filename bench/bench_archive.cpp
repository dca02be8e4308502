#include "bench/bench_archive.h"

#include <cstdio>
#include <cstdlib>

namespace keldane::bench {

BenchPorts::BenchPorts(char** argv) : environment(1, argv), host(tools) { terminal.quiet = true; }

std::unique_ptr<Archiver> makeArchiver(BenchPorts& ports, StatementTape* tape) {
  Archiver::Options options;
  if (tape != nullptr) {
    options.makeSession = [tape] { return makeRecordingSession(makeMysqlSession(), *tape); };
  }
  auto archiver = std::make_unique<Archiver>(
      Archiver::Ports{ports.terminal, ports.queue, ports.tools, ports.environment, ports.host},
      options);
  if (!archiver->preferences().load() || !archiver->start()) std::exit(1);
  archiver->loadPreferences();
  return archiver;
}

BenchArchive::BenchArchive(char** argv, const std::string& database, StatementTape* tape)
    : BenchPorts(argv), archiver(makeArchiver(*this, tape)) {
  if (!archiver->connectForCommand("", database).empty()) std::exit(1);
}

BenchArchive::~BenchArchive() { archiver->close(); }

void BenchArchive::run(const std::string& sql) {
  if (archiver->session().query(sql)) return;
  std::fprintf(stderr, "%s\n", archiver->session().error().c_str());
  std::exit(1);
}

double BenchArchive::number(const std::string& sql) {
  run(sql);
  return std::strtod(fetchFirstCell(archiver->session()).c_str(), nullptr);
}

}  // namespace keldane::bench
