// How fast an archive leaves in each format, and how much memory that takes, beside a floor that
// sends the very same statements and throws the answers away. Both run in processes of their own on
// one private server, in turns; the medians count.
//
// export_run MAIL_FOLDER [ARCHIVE_FOLDER [MESSAGES [ROUNDS [FORMAT]]]]
//
// The archive (100,000 messages when not said otherwise) is made once below ARCHIVE_FOLDER from the
// mail given, each message again under another sender and date, and is kept for the next time.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "app/query_settings.h"
#include "bench/bench_archive.h"
#include "bench/child_process.h"
#include "bench/statement_tape.h"
#include "output/folder_exports.h"
#include "output/mbox_exports.h"
#include "output/sql_dump.h"
#include "output/table_exports.h"
#include "platform/process_memory.h"

namespace keldane::bench {
namespace {

constexpr const char* kDatabase = "exportbench";
constexpr double kMegabyte = 1e6;
constexpr double kFreeMegabytes = 64;  ///< of memory, with the largest message four times over it

struct Measure {
  double seconds = 0;
  double megabytes = 0;
  long messages = 0;
  long peakKb = 0;
};

/// The archive that is measured.
struct Archive : BenchArchive {
  Archive(char** argv, StatementTape* tape) : BenchArchive(argv, kDatabase, tape) {}
};

struct Format {
  const char* name;
  Result<OutputReport> (*run)(const OutputContext&, const MessageList&, const std::string&);
};

constexpr Format kFormats[] = {
    {"tab", [](const OutputContext& context, const MessageList& list,
               const std::string& path) { return exportTab(context, list, path, true); }},
    {"comma", [](const OutputContext& context, const MessageList& list,
                 const std::string& path) { return exportComma(context, list, path, true); }},
    {"mbox", [](const OutputContext& context, const MessageList& list,
                const std::string& path) { return exportMbox(context, list, path); }},
    {"eml", [](const OutputContext& context, const MessageList& list,
               const std::string& path) { return exportEml(context, list, path, false); }},
    {"maildir", [](const OutputContext& context, const MessageList& list,
                   const std::string& path) { return exportMaildir(context, list, path, false); }},
    {"mboxrd", [](const OutputContext& context, const MessageList& list,
                  const std::string& path) { return exportMboxrd(context, list, path, false); }},
    {"json", [](const OutputContext& context, const MessageList& list,
                const std::string& path) { return exportJson(context, list, path, true); }},
    {"csv", [](const OutputContext& context, const MessageList& list,
               const std::string& path) { return exportCsv(context, list, path); }},
    {"sql", [](const OutputContext& context, const MessageList& list, const std::string& path) {
       return exportSQL(context, list, {path, kDatabase, 1, true});
     }}};

void archiveFolder(Archive& archive, const std::string& folder) {
  ArchiveRun& run = archive.archiver->archiveRun();
  RunObserver observer;
  if (run.start({.paths = {folder}, .range = {}, .ledgerPath = {}}, observer)) std::exit(1);
  archive.queue.runUntil([&run] { return !run.isRunning(); }, std::chrono::milliseconds(5));
}

/// Fills the archive up: copies of the first messages with ids, senders and dates of their own.
void fill(Archive& archive, const std::string& folder, long wanted) {
  const auto count = [&archive] {
    return static_cast<long>(archive.number("SELECT count(id) FROM email"));
  };
  long present = count();
  if (present == wanted) return;
  if (present != 0) archive.run("DELETE FROM keldane_fingerprints");
  for (const char* table : {"email", "origemail", "attachments", "tags"}) {
    archive.run(fmt::format("DELETE FROM {}", table));
  }
  std::fprintf(stderr, "export_run: making the archive, once\n");
  archiveFolder(archive, folder);
  const long first = static_cast<long>(archive.number("SELECT min(id) FROM email"));
  const long last = static_cast<long>(archive.number("SELECT max(id) FROM email"));
  const long stride = last - first + 1;
  present = count();
  if (present == 0) std::exit(1);
  for (long copy = 1; present < wanted; ++copy) {
    const long by = copy * stride;
    archive.run(fmt::format(
        "INSERT INTO email (id,from_fld,to_fld,subj_fld,date_fld,mailbox,mailto,body_fld,numAttach,"
        "attachNames,attachText,headings) SELECT id+{},CONCAT('{} ',from_fld),to_fld,subj_fld,"
        "date_fld + INTERVAL {} HOUR,mailbox,mailto,body_fld,numAttach,attachNames,attachText,"
        "headings FROM email WHERE id BETWEEN {} AND {} ORDER BY id LIMIT {}",
        by, copy, copy * 7, first, last, wanted - present));
    for (const char* columns :
         {"origemail (id,orig_fld) SELECT id+{0},orig_fld FROM origemail",
          "attachments SELECT id+{0},type_fld,filename_fld,encode_fld,attach_fld FROM attachments",
          "keldane_fingerprints SELECT id+{0},source_sha256,content_sha256,reading,size_bytes,"
          "encoding,line_ends,path,offset_bytes,exact_zstd FROM keldane_fingerprints"}) {
      archive.run("INSERT INTO " + fmt::format(fmt::runtime(columns), by) +
                  fmt::format(" WHERE id BETWEEN {} AND {} AND id+{} IN (SELECT id FROM email)",
                              first, last, by));
    }
    present = count();
  }
}

MessageList wholeList(Archive& archive) {
  std::vector<std::uint32_t> ids;
  const auto rows = queryRows(archive.archiver->session(), "SELECT id FROM email ORDER BY id");
  while (rows && (*rows)->next()) {
    ids.push_back(static_cast<std::uint32_t>(std::strtoul(textOf(**rows, 0).c_str(), nullptr, 10)));
  }
  return listOfIds(archive.archiver->session(), std::move(ids));
}

double megabytesAt(const std::string& path) {
  namespace fs = std::filesystem;
  if (!fs::is_directory(path)) return static_cast<double>(fs::file_size(path)) / kMegabyte;
  double bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) bytes += static_cast<double>(entry.file_size());
  }
  return bytes / kMegabyte;
}

Measure exportAll(Archive& archive, const Format& format, const std::string& path,
                  StatementTape* tape) {
  const MessageList list = wholeList(archive);
  Progress unseen;
  if (tape != nullptr) tape->running = true;
  const auto start = std::chrono::steady_clock::now();
  const Result<OutputReport> report =
      format.run({archive.archiver->session(), unseen,
                  sourceReading(archive.archiver->settings().user).stripPlist},
                 list, path);
  Measure measure;
  measure.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!report) {
    std::fprintf(stderr, "export_run: %s: %s\n", format.name, report.error().c_str());
    std::exit(1);
  }
  measure.messages = static_cast<long>(report->messages);
  return measure;
}

Measure median(std::vector<Measure> measures) {
  std::sort(measures.begin(), measures.end(),
            [](const Measure& a, const Measure& b) { return a.seconds < b.seconds; });
  return measures[measures.size() / 2];
}

void compare(char** argv, const Format& format, const std::string& folder, int rounds) {
  const std::string path = folder + "/out." + format.name;
  const std::string tapePath = folder + "/tape";
  const auto carry = [&](StatementTape* tape) {
    std::filesystem::remove_all(path);
    Archive archive(argv, tape);
    return exportAll(archive, format, path, tape);
  };
  (void)inChild<Measure>([&] {
    StatementTape tape(tapePath);
    return carry(&tape);
  });
  const double megabytes = megabytesAt(path);
  std::vector<Measure> ours;
  std::vector<Measure> floor;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(inChild<Measure>([&] { return carry(nullptr); }));
    floor.push_back(inChild<Measure>([&] {
      Archive archive(argv, nullptr);
      const ReplayResult result = replayTape(tapePath, archive.archiver->session());
      if (!result.good) std::exit(1);
      return Measure{result.seconds, 0, 0, 0};
    }));
  }
  std::filesystem::remove_all(path);
  std::filesystem::remove(tapePath);
  const Measure export_ = median(ours);
  const double least = median(floor).seconds;
  const double messages = static_cast<double>(export_.messages);
  fmt::print("{:<8} {:>9.0f} {:>8.1f} {:>8.1f} {:>10.0f} {:>6.2f}\n", format.name,
             messages / export_.seconds, megabytes / export_.seconds,
             static_cast<double>(export_.peakKb) / 1024.0, messages / least,
             least / export_.seconds);
  std::fflush(stdout);
}

int run(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr,
                 "usage: export_run MAIL_FOLDER [ARCHIVE_FOLDER [MESSAGES [ROUNDS [FORMAT]]]]\n");
    return 2;
  }
  const std::string mail = std::filesystem::absolute(argv[1]).string();
  const std::string folder =
      std::filesystem::absolute(argc > 2 ? argv[2] : KELDANE_BENCH_FOLDER).string();
  const long wanted = argc > 3 ? std::atol(argv[3]) : 100000;
  const int rounds = argc > 4 ? std::atoi(argv[4]) : 3;
  std::filesystem::create_directories(folder);
  ::setenv("HOME", folder.c_str(), 1);
  ::setenv("TMPDIR", folder.c_str(), 1);
  (void)inChild<Measure>([&] {
    Archive archive(argv, nullptr);
    fill(archive, mail, wanted);
    const double largest =
        archive.number("SELECT max(length(orig_fld)) FROM origemail") / kMegabyte;
    fmt::print(
        "{:.0f} messages, {} rounds, medians; largest source {:.1f} MB: peak to be below "
        "{:.0f} MB\n{:<8} {:>9} {:>8} {:>8} {:>10} {:>6}\n",
        archive.number("SELECT count(id) FROM email"), rounds, largest,
        kFreeMegabytes + 4 * largest, "format", "msg/s", "MB/s", "peak MB", "floor msg/s", "ratio");
    std::fflush(stdout);
    return Measure{};
  });
  for (const Format& format : kFormats) {
    if (argc > 5 && std::strcmp(argv[5], format.name) != 0) continue;
    compare(argv, format, folder, rounds);
  }
  (void)Archive(argv, nullptr).archiver->localServer().stop();
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) {
  keldane::giveLargeBlocksBack();
  return keldane::bench::run(argc, argv);
}
