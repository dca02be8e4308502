// How fast a folder of mail gets into an archive, beside a floor that sends the very same
// statements through the same client without reading or parsing any mail. Both run in processes of
// their own against one fresh private server, in turns; the median counts. A third run feeds the
// word index as well.
//
// archive_run FOLDER [ROUNDS]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
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

int run(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: archive_run FOLDER [ROUNDS]\n");
    return 2;
  }
  const std::string folder = std::filesystem::absolute(argv[1]).string();
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  char home[] = "/tmp/keldane-bench-XXXXXX";
  if (::mkdtemp(home) == nullptr) return 1;
  ::setenv("HOME", home, 1);
  ::setenv("TMPDIR", home, 1);
  const std::string tapePath = std::string(home) + "/tape";
  argc = 1;  // the archiver reads the arguments too: a folder's name is none of its business

  Measure recorded = inChild<Measure>([&] {
    BenchPorts ports(argv);
    StatementTape tape(tapePath);
    return archive(ports, folder, "recorded", &tape);
  });
  std::vector<Measure> ours;
  std::vector<Measure> indexed;
  std::vector<Measure> floor;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return archive(ports, folder, fmt::format("ours{}", round), nullptr);
    }));
    indexed.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return archive(ports, folder, fmt::format("indexed{}", round), nullptr, true);
    }));
    floor.push_back(inChild<Measure>([&] {
      BenchPorts ports(argv);
      return replay(ports, tapePath, fmt::format("floor{}", round));
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
    return replay(ports, tapePath, "kinds", true);
  });
  BenchPorts ports(argv);
  const auto archiver = makeArchiver(ports, nullptr);
  (void)archiver->localServer().stop();
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
