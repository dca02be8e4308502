// How long the search for duplicates takes as an archive grows. Fills archives of a private server
// with made-up messages of which a tenth are copies, lists the copies, and in the largest deletes
// them. "pair" is the share of messages that one sender has sent to one receiver, as a mailing list
// or a monitor does: there every message has to be told from all its neighbours. "server s" is the
// server's processor time, which other work on the machine does not lengthen, and "read each" the
// rows and index entries that it has read for a message: constant where the time grows with the
// archive and no faster.
//
// sweep [MESSAGES [PAIR-PERCENT]]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "archive/archive_database.h"
#include "archive/sql_values.h"
#include "base/files.h"
#include "base/text.h"
#include "platform/process_state.h"
#include "platform/process_tool_runner.h"
#include "platform/progress.h"
#include "platform/system_environment.h"
#include "query/duplicate_sweep.h"
#include "server/local_server.h"

namespace keldane::bench {
namespace {

constexpr int kDefaultMessages = 20000;
constexpr int kRowsInOneInsert = 200;
constexpr int kBodyBytes = 2000;
constexpr std::time_t kFirstSecond = 1388534400;  // 2014
constexpr std::time_t kSeconds = 10 * 365 * 86400L;

struct Mail {
  std::string date;
  std::string from;
  std::string to;
  std::string subject;
};

/// Messages of a mailbox that gets its mail from as many people as it has twenties of messages.
class MadeUpMail {
 public:
  MadeUpMail(int messages, int pairPercent)
      : people_(std::max(1, messages / 20)), pairPercent_(pairPercent) {}

  Mail next() {
    if (!mails_.empty() && number(0, 9) == 0) {
      return mails_[static_cast<std::size_t>(number(0, static_cast<int>(mails_.size()) - 1))];
    }
    Mail mail;
    const std::time_t second =
        kFirstSecond + std::uniform_int_distribution<std::time_t>(0, kSeconds)(random_);
    char text[32];
    std::tm parts = {};
    ::gmtime_r(&second, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    mail.date = text;
    const bool pair = number(1, 100) <= pairPercent_;
    const int person = number(1, people_);
    mail.from = pair ? std::string("\"Build monitor\" <monitor@example.org>")
                     : fmt::format("\"Person {0}\" <person{0}@example.org>", person);
    mail.to = "Me <me@example.org>";
    mail.subject = fmt::format("Re: [list] subject {} of 100% \"quoted\"", number(1, 1000));
    mails_.push_back(mail);
    return mail;
  }

 private:
  int number(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random_);
  }

  std::mt19937 random_{1};
  int people_;
  int pairPercent_;
  std::vector<Mail> mails_;
};

/// One session with an archive, and the sweep over it.
struct Archiver {
  explicit Archiver(ServerSession& theSession) : session(theSession) {}

  ServerSession& session;
  ProcessState process;
  Progress progress;
  ArchiveDatabase database{session, progress, process};
};

void run(ServerSession& session, const std::string& sql) {
  if (session.query(sql)) return;
  std::fprintf(stderr, "sweep: %s\n", session.error().c_str());
  std::exit(1);
}

void fill(ServerSession& session, int messages, int pairPercent) {
  MadeUpMail mails(messages, pairPercent);
  const std::string body(kBodyBytes, 'x');
  for (int done = 0; done < messages;) {
    std::string sql =
        "INSERT INTO email (date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) VALUES";
    for (int i = 0; i < kRowsInOneInsert && done < messages; ++i, ++done) {
      const Mail mail = mails.next();
      sql += fmt::format("{}(\"{}\",{},{},{},\"box{}\",\"{}\",\"\",\"\",\"\")", i == 0 ? "" : ",",
                         mail.date, quotedInline(mail.from), quotedInline(mail.to),
                         quotedInline(mail.subject), done % 7, body);
    }
    run(session, sql);
  }
  run(session, "ANALYZE TABLE email");
  static_cast<void>(session.storeResult());
}

/// What the session has cost so far.
struct Cost {
  long statements = 0;
  long rowsRead = 0;         ///< rows and index entries that the server has stepped to
  double serverSeconds = 0;  ///< processor time of the server
};

/// Processor time of a process, from the system's own table; 0 where there is none.
double processorSeconds(int process) {
  const Result<std::string> line = readFile(fmt::format("/proc/{}/stat", process));
  if (!line) return 0;
  const std::vector<std::string> fields = split(line->substr(line->rfind(')') + 1), " ");
  if (fields.size() < 14) return 0;
  return static_cast<double>(std::atol(fields[12].c_str()) + std::atol(fields[13].c_str())) /
         static_cast<double>(::sysconf(_SC_CLK_TCK));
}

Cost costSoFar(ServerSession& session, int serverProcess) {
  Cost cost;
  run(session,
      "SHOW SESSION STATUS WHERE Variable_name='Questions' OR Variable_name LIKE 'Handler_read%'");
  const auto rows = session.storeResult();
  while (rows && rows->next()) {
    const long value = std::atol(std::string(rows->cell(1).value_or("0")).c_str());
    (rows->cell(0) == "Questions" ? cost.statements : cost.rowsRead) += value;
  }
  cost.serverSeconds = processorSeconds(serverProcess);
  return cost;
}

/// Sweeps and prints a row of the report; answers the seconds.
double sweep(Archiver& archiver, int serverProcess, int messages, int pairPercent, bool deletes) {
  const Cost before = costSoFar(archiver.session, serverProcess);
  const auto start = std::chrono::steady_clock::now();
  const Result<SweepResult> found =
      sweepDuplicates(archiver.session, deletes, {}, archiver.progress);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!found || !found->error.empty()) std::exit(1);
  const Cost after = costSoFar(archiver.session, serverProcess);
  fmt::print("{:>8} {:>5}% {:>7} {:>9.2f} {:>9.2f} {:>11} {:>11.1f} {:>8} {:>8}\n", messages,
             pairPercent, deletes ? "delete" : "list", seconds,
             after.serverSeconds - before.serverSeconds, after.statements - before.statements - 1,
             static_cast<double>(after.rowsRead - before.rowsRead) / messages, found->listed.size(),
             found->deleted);
  std::fflush(stdout);
  return seconds;
}

void sweepSizes(ServerSession& session, int serverProcess, int most, int pairPercent) {
  std::vector<double> seconds;
  for (const int messages : {most / 4, most / 2, most}) {
    // A database object makes the indexes of the first archive that it opens.
    Archiver archiver(session);
    archiver.database.dbPath = fmt::format("sweep{}_{}", pairPercent, messages);
    if (!archiver.database.openDatabase().empty()) std::exit(1);
    fill(session, messages, pairPercent);
    seconds.push_back(sweep(archiver, serverProcess, messages, pairPercent, false));
    if (messages == most) sweep(archiver, serverProcess, messages, pairPercent, true);
  }
  fmt::print("{:.1f} times the time for 4 times the messages\n", seconds.back() / seconds.front());
}

int runBench(int argc, char** argv) {
  const int messages = argc > 1 ? std::atoi(argv[1]) : kDefaultMessages;
  const std::vector<int> pairs =
      argc > 2 ? std::vector<int>{std::atoi(argv[2])} : std::vector<int>{0, 10};
  if (messages < 4) {
    std::fprintf(stderr, "usage: sweep [MESSAGES [PAIR-PERCENT]]\n");
    return 2;
  }
  char folder[] = "/tmp/keldane-bench-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return 1;
  ProcessToolRunner tools;
  SystemEnvironment environment(0, nullptr);
  LocalServer::Options options;
  options.folder = std::string(folder) + "/Server";
  LocalServer server(options, tools, environment);
  const Result<LocalServer::Status> started = server.start();
  if (!started) {
    std::fprintf(stderr, "sweep: %s\n", started.error().c_str());
    return 1;
  }
  const std::unique_ptr<ServerSession> session = makeMysqlSession();
  ServerAddress address;
  address.host = "localhost";
  address.user = "root";
  address.socket = started->socket;
  const bool connected = session->connect(address);
  if (connected) {
    run(*session, "SET SESSION sql_mode=''");
    fmt::print("{:>8} {:>6} {:>7} {:>9} {:>9} {:>11} {:>11} {:>8} {:>8}\n", "messages", "pair",
               "mode", "seconds", "server s", "statements", "read each", "listed", "deleted");
    for (const int pairPercent : pairs)
      sweepSizes(*session, started->processId, messages, pairPercent);
  }
  session->close();
  const bool stopped = server.stop().has_value();
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  return connected && stopped ? 0 : 1;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::runBench(argc, argv); }
