// How fast searches, lists and reading are on a large archive, beside the same statements sent bare
// through the same client with the answers read and thrown away. Messages are read twice over: once
// messages that no statement has touched since the server's start, as one opens mail of an archive,
// and once the same few again and again, so that nothing but the client's own work is left.
//
// query_run MAIL_FOLDER [ARCHIVE_FOLDER [MESSAGES [WORK]]]
//
// The archive (100,000 messages when not said otherwise) is made once below ARCHIVE_FOLDER from the
// mail given, each message again with other subjects and dates, and is kept for the next time.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "bench/bench_archive.h"
#include "bench/statement_tape.h"
#include "query/search_result.h"
#include "query/statistics.h"

namespace keldane::bench {
namespace {

// At least so many rounds, and more of what is over soon.
constexpr int kRounds = 5;
constexpr int kMostRounds = 1000;
constexpr double kEnoughSeconds = 1.0;
constexpr int kMessagesRead = 20;
constexpr int kFirstReadRounds = 50;
constexpr unsigned kSeed = 20;
constexpr const char* kFirstRead = "20 read, first time";
constexpr const char* kDatabase = "querybench";

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// The archive that is measured.
struct Archive : BenchArchive {
  Archive(char** argv, StatementTape* tape) : BenchArchive(argv, kDatabase, tape) {}
  std::size_t rowsListed = 0;  ///< by the last list
};

void archiveFolder(Archive& archive, const std::string& folder) {
  ArchiveRun& run = archive.archiver->archiveRun();
  RunObserver observer;
  ArchiveRequest request;
  request.paths = {folder};
  request.feeds = false;
  if (run.start(std::move(request), observer)) std::exit(1);
  archive.queue.runUntil([&run] { return !run.isRunning(); }, std::chrono::milliseconds(5));
}

/// Fills the archive up: copies of the first messages with ids, subjects and dates of their own.
void fill(Archive& archive, const std::string& folder, long wanted) {
  long present = static_cast<long>(archive.number("SELECT count(id) FROM email"));
  if (present == wanted) return;
  for (const char* table : {"email", "origemail", "attachments", "tags"}) {
    archive.run(fmt::format("DELETE FROM {}", table));
  }
  std::fprintf(stderr, "query_run: making the archive, once\n");
  archiveFolder(archive, folder);
  const long first = static_cast<long>(archive.number("SELECT min(id) FROM email"));
  const long last = static_cast<long>(archive.number("SELECT max(id) FROM email"));
  const long stride = last - first + 1;
  present = static_cast<long>(archive.number("SELECT count(id) FROM email"));
  if (present == 0) std::exit(1);
  for (long copy = 1; present < wanted; ++copy) {
    const long by = copy * stride;
    const std::string which = fmt::format("WHERE id BETWEEN {} AND {} ORDER BY id LIMIT {}", first,
                                          last, std::min(wanted - present, stride));
    archive.run(fmt::format(
        "INSERT INTO email (id,from_fld,to_fld,subj_fld,date_fld,mailbox,mailto,body_fld,numAttach,"
        "attachNames,attachText,headings) SELECT id+{},from_fld,to_fld,CONCAT(subj_fld,' {}'),"
        "date_fld + INTERVAL {} HOUR,mailbox,mailto,body_fld,numAttach,attachNames,attachText,"
        "headings FROM email {}",
        by, copy, copy * 7, which));
    archive.run(fmt::format(
        "INSERT INTO origemail (id,orig_fld) SELECT id+{},orig_fld FROM origemail {}", by, which));
    present = static_cast<long>(archive.number("SELECT count(id) FROM email"));
  }
  for (const char* table : {"email", "origemail"}) {
    archive.run(fmt::format("ANALYZE TABLE {}", table));
    (void)archive.archiver->session().storeResult();
  }
}

/// An archive whose server has just been started and holds none of the mail in memory.
std::unique_ptr<Archive> coldArchive(char** argv, const std::string& home) {
  (void)Archive(argv, nullptr).archiver->localServer().stop();
  // With this list the server would fetch again what it held when it stopped.
  std::filesystem::remove(home + "/Library/Application Support/Keldane/Server/data/ib_buffer_pool");
  return std::make_unique<Archive>(argv, nullptr);
}

struct Work {
  const char* name;
  std::function<void(Archive&)> run;
};

void list(Archive& archive, const std::string& statement) {
  Progress unseen;
  SearchOptions how;
  how.style = dateStyleOf(archive.archiver->settings().user);
  const Result<SearchResult> found = runSearch(archive.archiver->session(), statement, how, unseen);
  if (!found) std::exit(1);
  archive.rowsListed = found->rows.size();
}

void search(Archive& archive, const SearchRequest& request) {
  const SearchSql sql = makeSearchSQL(request, searchContextOf(archive.archiver->settings()));
  list(archive, sql.beginSql + sql.whereSql);
}

/// Reads the message as one that is shown.
bool showMessage(Archive& archive, std::uint32_t id) {
  const UserSettings& user = archive.archiver->settings().user;
  StoredSources sources(archive.archiver->session(), sourceReading(user));
  Result<std::string> source = sources.fetch(id);
  if (!source) return false;
  return sources.readMessage(id, std::move(*source), headerDate(user, archive.environment, ""))
      .messageText.has_value();
}

std::vector<Work> works(const std::vector<std::uint32_t>& ids) {
  return {
      {"word in the body",
       [](Archive& archive) {
         SearchRequest request;
         request.conditions = {{"email.body_fld", "meeting", {}}};
         search(archive, request);
       }},
      {"entire message",
       [](Archive& archive) {
         SearchRequest request;
         request.conditions = phraseConditions("meeting");
         search(archive, request);
       }},
      {"date range",
       [](Archive& archive) {
         SearchRequest request;
         request.dates = dateRange(monthMenus("2002-09-30"));
         search(archive, request);
       }},
      {"newest 200", [](Archive& archive) { list(archive, makeNewestSQL(" LIMIT 200")); }},
      {"20 read, over and over",
       [ids](Archive& archive) {
         for (const std::uint32_t id : ids) {
           if (!showMessage(archive, id)) std::exit(1);
         }
       }},
      {"statistics",
       [](Archive& archive) {
         if (!findFigures(archive.archiver->session(), {}).complete) std::exit(1);
       }},
  };
}

void printRow(const char* name, std::size_t rows, std::uint64_t statements,
              const std::vector<double>& ours, const std::vector<double>& bare) {
  fmt::print("{:<24} {:>6} {:>11} {:>7.1f} ms {:>6.2f} {:>8.1f} ms\n", name, rows, statements,
             median(ours) * 1e3, median(ours) / median(bare), median(bare) * 1e3);
}

std::vector<std::uint32_t> shuffledIds(Archive& archive) {
  std::vector<std::uint32_t> ids;
  archive.run("SELECT id FROM email");
  const auto rows = archive.archiver->session().storeResult();
  while (rows && rows->next()) {
    ids.push_back(static_cast<std::uint32_t>(
        std::strtoul(std::string(rows->cell(0).value_or("0")).c_str(), nullptr, 10)));
  }
  std::shuffle(ids.begin(), ids.end(), std::mt19937(kSeed));
  return ids;
}

/// Messages of the whole archive, none of them twice: ours and bare take turns with others.
void measureFirstReading(char** argv, const std::string& home, const std::string& tapePath) {
  std::vector<std::uint32_t> ids;
  {
    StatementTape tape(tapePath);
    Archive archive(argv, &tape);
    ids = shuffledIds(archive);
    tape.running = true;
    (void)showMessage(archive, ids.back());
    tape.running = false;
  }
  const std::vector<std::string> queries = queriesOf(tapePath);
  const std::string taped = fmt::format("id={}", ids.back());
  const auto archive = coldArchive(argv, home);
  std::vector<double> ours;
  std::vector<double> bare;
  auto next = ids.begin();
  for (int round = 0; round < kFirstReadRounds && ids.end() - next > 2 * kMessagesRead; ++round) {
    ours.push_back(secondsOf([&] {
      for (int i = 0; i < kMessagesRead; ++i) {
        if (!showMessage(*archive, *next++)) std::exit(1);
      }
    }));
    archive->queue.runPending();
    std::vector<std::string> statements;
    for (int i = 0; i < kMessagesRead; ++i, ++next) {
      for (std::string sql : queries) {
        replaceAll(sql, taped, fmt::format("id={}", *next));
        statements.push_back(std::move(sql));
      }
    }
    bare.push_back(secondsOf([&] {
      for (const std::string& sql : statements) sendBare(archive->archiver->session(), sql);
    }));
  }
  if (!ours.empty()) {
    printRow(kFirstRead, 0, queries.size() * kMessagesRead, ours, bare);
  }
}

int run(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: query_run MAIL_FOLDER [ARCHIVE_FOLDER [MESSAGES [WORK]]]\n");
    return 2;
  }
  const std::string folder = std::filesystem::absolute(argv[1]).string();
  const std::string home =
      std::filesystem::absolute(argc > 2 ? argv[2] : KELDANE_BENCH_FOLDER).string();
  const long wanted = argc > 3 ? std::strtol(argv[3], nullptr, 10) : 100000;
  std::filesystem::create_directories(home);
  ::setenv("HOME", home.c_str(), 1);
  const std::string tapePath = home + "/tape";
  std::vector<std::uint32_t> ids;
  {
    Archive archive(argv, nullptr);
    fill(archive, folder, wanted);
    for (int i = 0; i < kMessagesRead; ++i) {
      ids.push_back(static_cast<std::uint32_t>(archive.number(
          fmt::format("SELECT id FROM email ORDER BY id LIMIT {},1", wanted / kMessagesRead * i))));
    }
  }
  fmt::print(
      "{} messages, at least {} rounds, medians; bare: the same statements, answers thrown away\n",
      wanted, kRounds);
  fmt::print("{:<24} {:>6} {:>11} {:>10} {:>6} {:>11}\n", "", "rows", "statements", "time", "ratio",
             "bare");
  for (const Work& work : works(ids)) {
    if (argc > 4 && std::string_view(work.name) != argv[4]) continue;
    std::size_t rows = 0;
    {
      StatementTape tape(tapePath);
      Archive archive(argv, &tape);
      tape.running = true;
      work.run(archive);
      tape.running = false;
      rows = archive.rowsListed;
    }
    std::vector<double> ours;
    std::vector<double> bare;
    std::uint64_t statements = 0;
    Archive archive(argv, nullptr);
    double spent = 0;
    for (int round = 0; round < kRounds || (spent < kEnoughSeconds && round < kMostRounds);
         ++round) {
      ours.push_back(secondsOf([&] { work.run(archive); }));
      archive.queue.runPending();
      const ReplayResult replayed = replayTape(tapePath, archive.archiver->session());
      if (!replayed.good) return 1;
      bare.push_back(replayed.seconds);
      spent += ours.back() + bare.back();
      statements = replayed.statements();
    }
    printRow(work.name, rows, statements, ours, bare);
  }
  if (argc < 5 || std::string_view(kFirstRead) == argv[4])
    measureFirstReading(argv, home, tapePath);
  std::filesystem::remove(tapePath);
  Archive archive(argv, nullptr);
  (void)archive.archiver->localServer().stop();
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::run(argc, argv); }
