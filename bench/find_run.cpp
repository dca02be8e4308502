// How fast the word index is made and asked, beside two other indexers of mail on the same files,
// all as whole programs: time, memory and size of indexing, then searches, each in a process of its
// own, the first 200 newest. Ours is measured once more within one process. The others are given
// the same queries in their own writing; how many hits each has is shown, because they do not read
// mail alike.
//
// find_run KELDANE MAIL_FOLDER [MESSAGES [WORK_FOLDER]]
//
// MAIL_FOLDER holds a message a file. With MESSAGES each is written again with other ids, subjects
// and years until there are so many. WORK_FOLDER is kept. What an earlier run has finished there is
// not made again, neither the mail, whose files the others would take for changed, nor the
// indexes; without it all is made and taken away.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include "app/run_index.h"
#include "base/files.h"
#include "base/text.h"
#include "cli/program.h"
#include "find/index_catch_up.h"
#include "find/word_search.h"

namespace keldane::bench {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr int kRounds = 50;
constexpr std::size_t kLimit = 200;
constexpr const char* kDatabase = "findbench";
constexpr std::size_t kSampled = 3000;
/// Lies in the work folder once all have indexed the mail.
constexpr const char* kIndexedMark = "/indexed";

struct Outcome {
  double seconds = 0;
  double busySeconds = 0;  ///< of all its threads
  long peakKb = 0;
  long lines = 0;
  int status = 0;
};

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Runs a program to its end, what it prints counted in lines.
Outcome runProgram(const Words& words) {
  int ends[2];
  if (::pipe(ends) != 0) std::exit(1);
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const int nothing = ::open("/dev/null", O_RDWR);
    ::dup2(nothing, 0);
    ::dup2(ends[1], 1);
    ::dup2(nothing, 2);
    ::close(ends[0]);
    ::close(ends[1]);  // else the server that ours starts would keep the pipe open
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  Outcome outcome;
  char buffer[65536];
  for (ssize_t got = ::read(ends[0], buffer, sizeof buffer); got > 0;
       got = ::read(ends[0], buffer, sizeof buffer)) {
    outcome.lines += std::count(buffer, buffer + got, '\n');
  }
  ::close(ends[0]);
  rusage usage = {};
  ::wait4(child, &outcome.status, 0, &usage);
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  outcome.busySeconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
  outcome.peakKb = usage.ru_maxrss;
  return outcome;
}

Outcome runOrEnd(const Words& words) {
  Outcome outcome = runProgram(words);
  if (outcome.status == 0) return outcome;
  std::fprintf(stderr, "find_run: %s failed\n", join(words, " ").c_str());
  std::exit(1);
}

double megabytesIn(const std::string& folder) {
  double bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) bytes += static_cast<double>(entry.file_size());
  }
  return bytes / 1e6;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The message once more: another id, another subject, as many years later.
std::string copyOf(std::string source, long copy) {
  if (copy == 0) return source;
  const std::size_t end = std::min(source.find("\n\n"), source.find("\r\n\r\n"));
  std::string head = source.substr(0, std::min(end, source.size()));
  Words lines = split(head, "\n");
  for (std::string& line : lines) {
    const std::size_t colon = line.find(':');
    const std::string name = colon == std::string::npos ? "" : line.substr(0, colon);
    if (compareNoCase(name, "Subject") == 0) line.insert(colon + 1, fmt::format(" {}", copy));
    if (compareNoCase(name, "Message-ID") != 0) continue;
    const std::size_t open = line.find('<');
    if (open != std::string::npos) line.insert(open + 1, fmt::format("c{}.", copy));
  }
  return join(lines, "\n") + source.substr(head.size());
}

/// A Maildir with so many messages, made of those of the folder, under its name when it is whole.
long makeMaildir(const std::string& folder, const std::string& maildir, long wanted) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) std::exit(1);
  if (wanted == 0) wanted = static_cast<long>(files.size());
  const fs::path unfinished = maildir + "-unfinished";
  for (const char* part : {"cur", "new", "tmp"}) fs::create_directories(unfinished / part);
  for (long i = 0; i < wanted; ++i) {
    const auto count = static_cast<long>(files.size());
    const fs::path target = unfinished / "cur" / fmt::format("{:07}.eml", i);
    std::ofstream(target, std::ios::binary)
        << copyOf(readFile(files[static_cast<std::size_t>(i % count)]), i / count);
  }
  fs::rename(unfinished, maildir);
  return wanted;
}

/// A query as each program writes it.
struct Query {
  std::string ours;
  std::string first;
  std::string second;
};

struct QueryKind {
  const char* name;
  std::vector<Query> queries;
};

/// Words of the mail with the number of sampled messages that have them.
struct Vocabulary {
  std::map<std::string, long> counts;
  std::vector<std::pair<std::string, std::string>> neighbours;
  std::set<std::string> senders;
  long messages = 0;
};

Words wordsOf(const std::string& text) {
  Words words(1);
  for (const char c : text) {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (isLetter) {
      words.back() += static_cast<char>(c | 0x20);
    } else if (!words.back().empty() || (c != ' ' && words.size() > 1)) {
      // Only a blank may part the words of a phrase.
      words.emplace_back();
      if (c != ' ') words.emplace_back();
    }
  }
  return words;
}

Vocabulary sample(const std::string& maildir) {
  Vocabulary vocabulary;
  for (const auto& entry : fs::directory_iterator(fs::path(maildir) / "cur")) {
    if (static_cast<std::size_t>(vocabulary.messages) == kSampled) break;
    const std::string source = readFile(entry.path());
    const std::size_t body = source.find("\n\n");
    if (body == std::string::npos || source.find("base64") != std::string::npos ||
        source.find("quoted-printable") != std::string::npos ||
        source.find("html") != std::string::npos) {
      continue;
    }
    ++vocabulary.messages;
    const Words words = wordsOf(source.substr(body));
    for (const std::string& word : std::set<std::string>(words.begin(), words.end())) {
      if (word.size() > 4) ++vocabulary.counts[word];
    }
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
      if (words[i].size() > 4 && words[i + 1].size() > 4) {
        vocabulary.neighbours.emplace_back(words[i], words[i + 1]);
        break;
      }
    }
    const std::size_t from = source.find("\nFrom: ");
    const std::size_t at = source.find('@', from == std::string::npos ? body : from);
    if (at >= body) continue;
    const Words host = wordsOf(source.substr(at + 1, source.find_first_of(".>\n", at) - at - 1));
    if (host[0].size() > 3) vocabulary.senders.insert(host[0]);
  }
  return vocabulary;
}

std::vector<QueryKind> makeQueries(const Vocabulary& vocabulary) {
  std::vector<std::pair<long, std::string>> byCount;
  for (const auto& [word, count] : vocabulary.counts) byCount.emplace_back(count, word);
  std::sort(byCount.begin(), byCount.end());
  const auto atLeast = [&](long count) {
    return std::lower_bound(byCount.begin(), byCount.end(), std::make_pair(count, std::string()));
  };
  std::vector<QueryKind> kinds(6);
  kinds[0].name = "a rare word";
  kinds[1].name = "a common word";
  kinds[2].name = "two words";
  kinds[3].name = "a phrase";
  kinds[4].name = "a sender";
  kinds[5].name = "a month";
  auto rare = atLeast(2);
  auto middle = atLeast(std::max(vocabulary.messages / 20, 1L));
  auto sender = vocabulary.senders.begin();
  for (std::size_t i = 0; i < 10; ++i) {
    const std::string& common = byCount[byCount.size() - 1 - i].second;
    if (rare != byCount.end())
      kinds[0].queries.push_back({rare->second, rare->second, rare->second});
    kinds[1].queries.push_back({common, common, common});
    if (middle != byCount.end()) {
      const std::string two = middle->second + " " + common;
      kinds[2].queries.push_back({two, two, two});
      ++middle;
    }
    if (rare != byCount.end()) rare += std::min<long>(7, byCount.end() - rare);
    if (!vocabulary.neighbours.empty()) {
      const auto& [one, two] = vocabulary.neighbours[i * 17 % vocabulary.neighbours.size()];
      const std::string phrase = fmt::format("\"{} {}\"", one, two);
      kinds[3].queries.push_back({phrase, phrase, phrase});
    }
    if (sender != vocabulary.senders.end()) {
      const std::string from = "from:" + *sender++;
      kinds[4].queries.push_back({from, from, from});
    }
    const int month = static_cast<int>(i) + 1;
    kinds[5].queries.push_back({fmt::format("date:2002-{:02}", month),
                                fmt::format("date:2002-{0:02}-01..2002-{0:02}-28", month),
                                fmt::format("date:2002{0:02}01..2002{0:02}28", month)});
  }
  std::erase_if(kinds, [](const QueryKind& kind) { return kind.queries.empty(); });
  return kinds;
}

struct Times {
  double median = 0;
  double worst = 0;
  long hits = 0;  ///< of all rounds, at most `kLimit` each
};

Times measure(const std::vector<Query>& queries, const std::string Query::*text,
              const std::function<Outcome(const std::string&)>& ask) {
  std::vector<double> seconds;
  Times times;
  for (int round = 0; round < kRounds; ++round) {
    const Outcome outcome = ask(queries[static_cast<std::size_t>(round) % queries.size()].*text);
    seconds.push_back(outcome.seconds);
    times.hits += outcome.lines;
  }
  std::sort(seconds.begin(), seconds.end());
  times.median = seconds[seconds.size() / 2] * 1000;
  times.worst = seconds.back() * 1000;
  return times;
}

void printTimes(const char* program, const Times& times) {
  fmt::print("  {:<24} {:>9.1f} {:>9.1f} {:>9}\n", program, times.median, times.worst, times.hits);
  std::fflush(stdout);  // it takes long
}

void printIndexing(const char* program, const Outcome& outcome, long messages, double megabytes) {
  fmt::print(
      "  {:<24} {:>9.1f} s ({:.1f} s at work) {:>9.0f} messages/s {:>9.1f} MB on disk {:>8.0f} MB "
      "peak\n",
      program, outcome.seconds, outcome.busySeconds,
      static_cast<double>(messages) / outcome.seconds, megabytes,
      static_cast<double>(outcome.peakKb) / 1024);
  std::fflush(stdout);
}

/// The index asked within this process, the server for the rows of the hits.
class Inside {
 public:
  explicit Inside(char** argv) : environment_(1, argv), host_(tools_) {
    terminal_.quiet = true;
    archiver_ = std::make_unique<Archiver>(
        Archiver::Ports{terminal_, queue_, tools_, environment_, host_}, Archiver::Options());
    if (!archiver_->preferences().load() || !archiver_->start()) std::exit(1);
    archiver_->loadPreferences();
    // As a search does, which changes nothing and leaves the index to the others.
    if (!archiver_->connectForCommand("", kDatabase, Opening::existing).empty()) std::exit(1);
    const Result<std::string> identity = archiveIdentity(archiver_->session());
    if (!identity) std::exit(1);
    index_ = std::make_unique<WordIndex>(
        indexFolder(supportFolder(archiver_->process()), *identity), *identity);
    MessageTextReader reader(indexReaderOptions(archiver_->settings(), nullptr));
    Progress progress;
    if (!IndexCatchUp(archiver_->session(), *index_, reader).run(progress)) std::exit(1);
  }
  ~Inside() { archiver_->close(); }

  Outcome ask(const std::string& text) {
    const auto start = std::chrono::steady_clock::now();
    const auto query = readWordQuery(text, "2003-01-01");
    const auto hits = WordSearch(archiver_->session(), *index_)
                          .find(std::get<QueryNode>(query), HitOrder::newestFirst, kLimit);
    Outcome outcome;
    outcome.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    outcome.lines = hits ? static_cast<long>(hits->size()) : -1;
    return outcome;
  }
  void stopServer() { (void)archiver_->localServer().stop(); }

 private:
  LocalMainQueue queue_;
  ProcessToolRunner tools_;
  SystemEnvironment environment_;
  DesktopHostServices host_;
  TerminalInterface terminal_{queue_};
  std::unique_ptr<Archiver> archiver_;
  std::unique_ptr<WordIndex> index_;
};

void indexAll(const std::string& keldane, const std::string& maildir, const std::string& work,
              long messages) {
  std::ofstream(work + "/notmuch-config")
      << "[database]\npath=" << work << "/mail\n[user]\nname=a\nprimary_email=a@example.org\n";
  fmt::print("indexing, as whole programs\n");
  runOrEnd({keldane, "--quiet", "archive", "--no-index", "--database", kDatabase, maildir});
  const Outcome ours = runOrEnd({keldane, "--quiet", "index", "rebuild", "--database", kDatabase});
  printIndexing("keldane index rebuild", ours, messages,
                megabytesIn(work + "/Library/Application Support/Keldane/Index"));
  const Outcome first = runOrEnd({"notmuch", "new", "--quiet"});
  printIndexing("notmuch new", first, messages, megabytesIn(work + "/mail/.notmuch"));
  runOrEnd({"mu", "init", "--quiet", "--muhome=" + work + "/mu", "--maildir=" + work + "/mail"});
  const Outcome second = runOrEnd({"mu", "index", "--quiet", "--muhome=" + work + "/mu"});
  printIndexing("mu index", second, messages, megabytesIn(work + "/mu"));
}

void searchAll(const std::string& keldane, const std::string& maildir, const std::string& work,
               char** argv) {
  Inside inside(argv);
  fmt::print("searching, ms: median, worst of {}; hits of all rounds, {} newest each\n", kRounds,
             kLimit);
  for (const QueryKind& kind : makeQueries(sample(maildir))) {
    fmt::print("{}\n", kind.name);
    const std::string limit = std::to_string(kLimit);
    printTimes("keldane find --ids", measure(kind.queries, &Query::ours, [&](const auto& text) {
                 return runOrEnd({keldane, "--quiet", "find", "--ids", "--limit", limit,
                                  "--database", kDatabase, "--", text});
               }));
    printTimes("within one process", measure(kind.queries, &Query::ours,
                                             [&](const auto& text) { return inside.ask(text); }));
    printTimes("notmuch search", measure(kind.queries, &Query::first, [&](const auto& text) {
                 return runProgram({"notmuch", "search", "--output=messages", "--sort=newest-first",
                                    "--limit=" + limit, text});
               }));
    printTimes("mu find", measure(kind.queries, &Query::second, [&](const auto& text) {
                 return runProgram({"mu", "find", "--muhome=" + work + "/mu", "--sortfield=date",
                                    "--reverse", "--maxnum=" + limit, "--fields=i", text});
               }));
  }
  inside.stopServer();
}

int run(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: find_run KELDANE MAIL_FOLDER [MESSAGES [WORK_FOLDER]]\n");
    return 2;
  }
  const std::string keldane = fs::absolute(argv[1]).string();
  const std::string folder = fs::absolute(argv[2]).string();
  const long wanted = argc > 3 ? std::atol(argv[3]) : 0;
  char made[] = "/tmp/keldane-bench-XXXXXX";
  const bool isKept = argc > 4;
  if (!isKept && ::mkdtemp(made) == nullptr) return 1;
  const std::string work = isKept ? fs::absolute(argv[4]).string() : made;
  fs::create_directories(work);
  ::setenv("HOME", work.c_str(), 1);
  ::setenv("TMPDIR", work.c_str(), 1);
  ::setenv("NOTMUCH_CONFIG", (work + "/notmuch-config").c_str(), 1);
  const std::string maildir = work + "/mail";
  if (!fs::exists(work + kIndexedMark)) {
    const long messages = fs::exists(maildir)
                              ? std::distance(fs::directory_iterator(maildir + "/cur"), {})
                              : makeMaildir(folder, maildir, wanted);
    fmt::print("{} messages, {:.1f} MB\n", messages, megabytesIn(maildir + "/cur"));
    indexAll(keldane, maildir, work, messages);
    std::ofstream(work + kIndexedMark).put('\n');
  }
  searchAll(keldane, maildir, work, argv);
  std::error_code error;
  if (!isKept) fs::remove_all(work, error);
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::run(argc, argv); }
