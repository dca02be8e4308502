// How fast a folder of mail gets into an archive, beside a floor that sends the very same
// statements through the same client without reading or parsing any mail. Both run in processes of
// their own against one fresh private server, in turns; the median counts. A third run feeds the
// word index as well.
//
// archive_run FOLDER [ROUNDS] [--connection NAME]
//
// With a name, the server is that of the saved connection, in databases that are gone at the end.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "base/files.h"
#include "bench/bench_archive.h"
#include "bench/child_process.h"
#include "bench/statement_tape.h"
#include "platform/process_memory.h"

namespace keldane::bench {
namespace {

struct Measure {
  double seconds = 0;
  long messages = 0;
  long peakKb = 0;
};

/// Archives the folder into a database of this name; answers the number of messages met.
Measure archive(BenchPorts& ports, const std::string& folder, const std::string& database,
                StatementTape* tape, bool withIndex = false) {
  const auto archiver = makeArchiver(ports, tape);
  if (!archiver->connectForCommand("", database).empty()) std::exit(1);
  ArchiveRun& run = archiver->archiveRun();
  if (tape != nullptr) tape->running = true;
  const auto start = std::chrono::steady_clock::now();
  RunObserver observer;
  ArchiveRequest request;
  request.paths = {folder};
  request.feeds = withIndex;
  if (run.start(std::move(request), observer)) std::exit(1);
  ports.queue.runUntil([&run] { return !run.isRunning(); }, std::chrono::milliseconds(5));
  Measure measure;
  measure.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (tape != nullptr) tape->running = false;
  measure.messages = run.lastReport()->sums.met;
  archiver->close();
  return measure;
}

Measure replay(BenchPorts& ports, const std::string& tapePath, const std::string& database,
               bool tellsKinds = false) {
  const auto archiver = makeArchiver(ports, nullptr);
  if (!archiver->connectForCommand("", database).empty()) std::exit(1);
  const ReplayResult result = replayTape(tapePath, archiver->session());
  if (!result.good) std::exit(1);
  archiver->close();
  if (tellsKinds) {
    for (const auto& [words, kind] : result.kinds) {
      fmt::print("  {:<36} {:>8} times {:>8.1f} us each {:>8.2f} s\n", words, kind.count,
                 kind.seconds / static_cast<double>(kind.count) * 1e6, kind.seconds);
    }
    std::fflush(stdout);
  }
  return {result.seconds, 0, 0};
}

double megabytesIn(const std::string& folder) {
  double bytes = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) bytes += static_cast<double>(entry.file_size());
  }
  return bytes / 1e6;
}

Measure median(std::vector<Measure> measures) {
  std::sort(measures.begin(), measures.end(),
            [](const Measure& a, const Measure& b) { return a.seconds < b.seconds; });
  return measures[measures.size() / 2];
}

void printRow(const char* name, const Measure& measure, long messages, double megabytes) {
  fmt::print("{:<10} {:>9.2f} s {:>10.0f} messages/s {:>8.2f} MB/s {:>8.1f} MB peak\n", name,
             measure.seconds, static_cast<double>(messages) / measure.seconds,
             megabytes / measure.seconds, static_cast<double>(measure.peakKb) / 1024.0);
}

/// The saved connection of the user who measures; ends the program when there is none.
ServerConnection savedConnection(char** argv, const std::string& name) {
  BenchPorts ports(argv);
  const auto archiver = makeArchiver(ports, nullptr);
  for (const ServerConnection& saved : archiver->connections().connectionList()) {
    if (saved.name == name) return saved;
  }
  std::fprintf(stderr, "there is no connection named \"%s\"\n", name.c_str());
  std::exit(2);
}

/// The bench's own home gets it, in place of a private server.
void keepConnection(char** argv, ServerConnection connection) {
  BenchPorts ports(argv);
  const auto archiver = makeArchiver(ports, nullptr);
  connection.database.clear();
  if (!archiver->connections().saveConnection(connection)) std::exit(1);
}

void dropDatabases(char** argv, const std::string& prefix, int rounds) {
  BenchPorts ports(argv);
  const auto archiver = makeArchiver(ports, nullptr);
  if (!archiver->connectForCommand("", prefix + "recorded").empty()) std::exit(1);
  std::vector<std::string> names = {prefix + "recorded", prefix + "kinds"};
  for (int round = 0; round < rounds; ++round) {
    for (const char* kind : {"ours", "indexed", "floor"}) {
      names.push_back(fmt::format("{}{}{}", prefix, kind, round));
    }
  }
  for (const std::string& name : names) {
    if (!archiver->session().query("DROP DATABASE IF EXISTS " + name)) {
      std::fprintf(stderr, "%s\n", archiver->session().error().c_str());
    }
  }
  archiver->close();
}

int run(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::optional<ServerConnection> connection;
  const auto option = std::find(words.begin(), words.end(), "--connection");
  if (option != words.end() && option + 1 != words.end()) {
    connection = savedConnection(argv, *(option + 1));
    words.erase(option, option + 2);
  }
  if (words.empty()) {
    std::fprintf(stderr, "usage: archive_run FOLDER [ROUNDS] [--connection NAME]\n");
    return 2;
  }
  const std::string folder = std::filesystem::absolute(words[0]).string();
  const int rounds = words.size() > 1 ? std::atoi(words[1].c_str()) : 5;
  const std::string prefix = fmt::format("keldane_bench_{}_", ::getpid());
  char home[] = "/tmp/keldane-bench-XXXXXX";
  if (::mkdtemp(home) == nullptr) return 1;
  ::setenv("HOME", home, 1);
  ::setenv("TMPDIR", home, 1);
  const std::string tapePath = std::string(home) + "/tape";
  if (connection) keepConnection(argv, *connection);

  Measure recorded = inChild<Measure>([&] {
    BenchPorts ports(argv);
    StatementTape tape(tapePath);
    return archive(ports, folder, prefix + "recorded", &tape);
  });
  std::vector<Measure> ours;
  std::vector<Measure> indexed;
  std::vector<Measure> floor;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return archive(ports, folder, fmt::format("{}ours{}", prefix, round), nullptr);
    }));
    indexed.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return archive(ports, folder, fmt::format("{}indexed{}", prefix, round), nullptr, true);
    }));
    floor.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return replay(ports, tapePath, fmt::format("{}floor{}", prefix, round));
    }));
  }
  const double megabytes = megabytesIn(folder);
  const Measure archiveMedian = median(ours);
  const Measure indexedMedian = median(indexed);
  const Measure floorMedian = median(floor);
  fmt::print("{} messages, {:.1f} MB, {} rounds, medians\n", recorded.messages, megabytes, rounds);
  printRow("archive", archiveMedian, recorded.messages, megabytes);
  printRow("with index", indexedMedian, recorded.messages, megabytes);
  printRow("floor", floorMedian, recorded.messages, megabytes);
  fmt::print("ratio of messages a second, archive to floor: {:.2f}\n",
             floorMedian.seconds / archiveMedian.seconds);
  fmt::print("with the index to without: {:.2f}\n", archiveMedian.seconds / indexedMedian.seconds);

  std::fflush(stdout);
  inChild<Measure>([&] {
    BenchPorts ports(argv);
    return replay(ports, tapePath, prefix + "kinds", true);
  });
  if (connection) {
    dropDatabases(argv, prefix, rounds);
  } else {
    BenchPorts ports(argv);
    (void)makeArchiver(ports, nullptr)->localServer().stop();
  }
  std::error_code error;
  std::filesystem::remove_all(home, error);
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) {
  keldane::giveLargeBlocksBack();
  return keldane::bench::run(argc, argv);
}
