#include "ingest/ledger/run_ledger.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ingest/ledger/ledger_file.h"
#include "ingest/ledger/ledger_reader.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

ExpectedRows markOf(std::string fingerprint) {
  ExpectedRows mark;
  mark.fingerprint = std::move(fingerprint);
  mark.afterId = 11;
  mark.msgDate = "2023-01-02 03:04:05";
  mark.headingsBytes = 120;
  mark.partCount = 2;
  mark.attachNamesBytes = 7;
  mark.attachTextBytes = 9;
  return mark;
}

LedgerStart startOf(std::string database, std::uint32_t greatestId, std::string home = "") {
  LedgerStart start;
  start.database = std::move(database);
  start.greatestId = greatestId;
  start.startedAt = "2023-11-14 22:13:20";
  start.home = std::move(home);
  return start;
}

void beginOrFail(RunLedger& ledger, const std::string& path, const LedgerStart& start) {
  const Result<void> begun = ledger.begin(path, start);
  ASSERT_TRUE(begun) << begun.error();
}

std::vector<LedgerLine> linesOf(const std::string& path) {
  std::vector<LedgerLine> lines;
  EXPECT_TRUE(forEachLedgerLine(path, [&](const LedgerLine& line) { lines.push_back(line); }));
  return lines;
}

LedgerState stateOf(const std::string& path) {
  Result<LedgerState> state = readLedgerState(path);
  EXPECT_TRUE(state);
  return state ? *state : LedgerState{};
}

std::vector<std::string> openPaths(const LedgerState& state) {
  std::vector<std::string> paths;
  for (const OpenEntry& entry : state.open) paths.push_back(entry.path);
  return paths;
}

TEST(RunLedger, GivesEachMessageOneLineWithWhatBecameOfIt) {
  const TemporaryFolder folder;
  const std::string path = folder / "Ledger.log";
  RunLedger ledger;
  beginOrFail(ledger, path, startOf("mail", 11));
  ledger.recordNonMail("/mail/notes.txt", "no mail");
  ledger.beginMessage("/mail/box", 4096);
  ledger.open(markOf("f"));
  ledger.recordRow(12);
  ledger.close(LedgerOutcome::archived, "12");
  ledger.beginMessage("/mail/box", 9000);
  ledger.close(LedgerOutcome::duplicate, "12");
  ledger.beginMessage("/mail/1.emlx", std::nullopt);
  ledger.close(LedgerOutcome::dropped, "out of range");
  ledger.beginMessage("/mail/2:2,T", std::nullopt);
  ledger.close(LedgerOutcome::markedDeleted, "marked");
  ledger.finish();

  const Result<std::string> shown = readLedgerLines(path, "");
  ASSERT_TRUE(shown);
  EXPECT_EQ(*shown,
            "not-mail\tno mail\t-\t/mail/notes.txt\n"
            "archived\t12\t4096\t/mail/box\n"
            "duplicate\t12\t9000\t/mail/box\n"
            "dropped\tout of range\t-\t/mail/1.emlx\n"
            "marked-deleted\tmarked\t-\t/mail/2:2,T\n"
            "#sums\tmet=4\tarchived=1\tduplicates=1\texcluded=0\tdropped=1\tfailed=0\t"
            "marked-deleted=1\tnot-mail=1\tunreadable=0\t"
            "postponed=0\tunchanged=0\n");
  const Result<std::string> dropped = readLedgerLines(path, "dropped");
  ASSERT_TRUE(dropped);
  EXPECT_EQ(*dropped, "dropped\tout of range\t-\t/mail/1.emlx\n");
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(RunLedger, KeepsAnyPathOnOneLine) {
  const TemporaryFolder folder;
  const std::vector<std::string> paths = {"/plain",
                                          "/tab\there",
                                          "/line\nend\r",
                                          "/back\\slash\\n",
                                          "/steer\x1b[2J\x7f",
                                          "/latin\xe9",
                                          std::string("/nul\0end", 8),
                                          "#open"};
  RunLedger ledger;
  beginOrFail(ledger, folder / "l", startOf("mail", 0));
  for (const std::string& path : paths) {
    ledger.beginMessage(path, std::nullopt);
    ledger.close(LedgerOutcome::failed, "why: " + path);
  }
  ledger.finish();
  const std::vector<LedgerLine> lines = linesOf(folder / "l");
  ASSERT_EQ(lines.size(), paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    EXPECT_EQ(lines[i].path, paths[i]);
    EXPECT_EQ(lines[i].detail, "why: " + paths[i]);
  }
}

TEST(RunLedger, SumsMeetWhateverIsForgotten) {
  RunLedger ledger;  // adds up without a file, too
  ledger.beginMessage("a", std::nullopt);
  ledger.beginMessage("b", std::nullopt);  // "a" has been given no outcome
  ledger.open(markOf("f"));
  ledger.leaveOpen("gone");
  ledger.beginMessage("c", std::nullopt);
  ledger.close(LedgerOutcome::excluded, "rule");
  ledger.beginMessage("d", std::nullopt);
  ledger.recordNonMail("e", "no mail");
  ledger.finish();
  const LedgerSums& sums = ledger.sums();
  EXPECT_EQ(sums.met, 4);
  EXPECT_EQ(sums.failed, 3);
  EXPECT_EQ(sums.excluded, 1);
  EXPECT_EQ(sums.notMail, 1);
  EXPECT_EQ(sums.met, sums.archived + sums.duplicates + sums.excluded + sums.dropped + sums.failed);
}

TEST(RunLedger, CutAtAnyByteKeepsWhatIsOpenAndOnlyThat) {
  const TemporaryFolder folder;
  struct Span {
    std::string path;
    std::uintmax_t openedAt;  // size of the file when the opening line was whole
    std::uintmax_t closedAt;
  };
  std::vector<Span> spans;
  constexpr std::uintmax_t kNever = ~std::uintmax_t{0};
  const auto size = [&] { return std::filesystem::file_size(folder / "l"); };
  {
    RunLedger first;
    beginOrFail(first, folder / "l", startOf("mail", 11));
    first.beginMessage("left", 7);
    first.open(markOf("f"));
    first.leaveOpen("gone");
    first.finish();
  }
  {
    RunLedger ledger;
    beginOrFail(ledger, folder / "l", startOf("mail", 11));
    spans.push_back({"left", size(), kNever});
    const auto store = [&](const std::string& path, LedgerOutcome outcome, std::uint32_t id) {
      ledger.beginMessage(path, std::nullopt);
      ledger.open(markOf("print"));
      Span span{path, size(), 0};
      ledger.recordRow(id);
      ledger.close(outcome, "x");
      span.closedAt = size();
      spans.push_back(span);
    };
    store("one", LedgerOutcome::archived, 12);
    ASSERT_EQ(ledger.leftOpen().size(), 1U);
    ledger.settle(ledger.leftOpen()[0]);
    spans[0].closedAt = size();
    store("two", LedgerOutcome::excluded, 13);
    ledger.beginMessage("three", std::nullopt);
    ledger.open(markOf("print"));
    spans.push_back({"three", size(), kNever});
    ledger.leaveOpen("gone");
    ledger.beginMessage("four", std::nullopt);
    ledger.close(LedgerOutcome::duplicate, "12");
    ledger.finish();
  }
  const std::string whole = folder.read("l");
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    folder.write("cut", whole.substr(0, cut));
    const LedgerState state = stateOf(folder / "cut");
    EXPECT_TRUE(state.isLedger) << cut;
    const std::vector<std::string> open = openPaths(state);
    for (const Span& span : spans) {
      const bool isOpen = std::count(open.begin(), open.end(), span.path) == 1;
      if (cut >= span.closedAt) {
        EXPECT_FALSE(isOpen) << span.path << " at " << cut;
      } else if (cut >= span.openedAt) {
        EXPECT_TRUE(isOpen) << span.path << " at " << cut;
      }
    }
    EXPECT_EQ(state.orderly, cut == whole.size() || cut < whole.find('\n') + 1) << cut;
  }
}

TEST(RunLedger, CarriesOverWhatOtherDatabasesHaveOpen) {
  const TemporaryFolder folder;
  {
    RunLedger ledger;
    beginOrFail(ledger, folder / "l", startOf("first", 11));
    ledger.beginMessage("/box\t1", 77);
    ledger.open(markOf("print"));
    ledger.recordRow(12);
    ledger.leaveOpen("gone");
    ledger.finish();
  }
  for (int run = 0; run < 2; ++run) {
    RunLedger ledger;
    beginOrFail(ledger, folder / "l", startOf("second", 0));
    ASSERT_EQ(ledger.leftOpen().size(), 1U);
    const OpenEntry& entry = ledger.leftOpen()[0];
    EXPECT_EQ(entry.database, "first");
    EXPECT_EQ(entry.path, "/box\t1");
    EXPECT_EQ(entry.offsetBytes, 77U);
    EXPECT_EQ(entry.insertedId, 12U);
    EXPECT_EQ(entry.mark, markOf("print"));
    ledger.beginMessage("m", std::nullopt);
    ledger.close(LedgerOutcome::archived, "1");  // closes nothing that was carried over
    ledger.finish();
  }
  RunLedger last;
  beginOrFail(last, folder / "l", startOf("first", 12));
  last.settle(last.leftOpen().at(0));
  last.finish();
  EXPECT_THAT(stateOf(folder / "l").open, IsEmpty());
}

TEST(RunLedger, TellsWhichRowsACutOffRunHasAccountedFor) {
  const TemporaryFolder folder;
  const auto store = [](RunLedger& ledger, std::uint32_t id, LedgerOutcome outcome) {
    ledger.beginMessage("m", std::nullopt);
    ledger.open(markOf("print"));
    ledger.recordRow(id);
    ledger.close(outcome, "x");
  };
  {
    RunLedger ledger;  // never finished
    beginOrFail(ledger, folder / "l", startOf("mail", 11));
    store(ledger, 12, LedgerOutcome::archived);
    store(ledger, 13, LedgerOutcome::excluded);
    store(ledger, 14, LedgerOutcome::failed);
    store(ledger, 15, LedgerOutcome::archived);
  }
  {
    RunLedger other;
    beginOrFail(other, folder / "l", startOf("other", 900));
    ASSERT_EQ(other.interruptedRuns().size(), 1U);
    EXPECT_EQ(other.interruptedRuns()[0], (InterruptedRun{"mail", 11, 15, 0, {13, 14}}));
    other.finish();
  }
  {
    RunLedger same;
    beginOrFail(same, folder / "l", startOf("mail", 20));
    ASSERT_EQ(same.interruptedRuns().size(), 1U);
    EXPECT_EQ(same.interruptedRuns()[0], (InterruptedRun{"mail", 11, 15, 20, {13, 14}}));
    same.settle(same.interruptedRuns()[0]);
    same.finish();
  }
  RunLedger last;
  beginOrFail(last, folder / "l", startOf("mail", 20));
  EXPECT_THAT(last.interruptedRuns(), IsEmpty());
}

TEST(RunLedger, IsKeptByOneRunAtATime) {
  const TemporaryFolder folder;
  RunLedger first;
  beginOrFail(first, folder / "l", startOf("mail", 0));
  first.beginMessage("m", std::nullopt);
  first.open(markOf("f"));
  RunLedger second;
  const Result<void> refused = second.begin(folder / "l", "mail");
  ASSERT_FALSE(refused);
  EXPECT_THAT(refused.error(), HasSubstr("Another archive run"));
  first.close(LedgerOutcome::archived, "1");
  first.finish();
  EXPECT_TRUE(second.begin(folder / "l", "mail"));
  EXPECT_THAT(second.leftOpen(), IsEmpty());
}

TEST(RunLedger, LeavesForeignFilesAlone) {
  const TemporaryFolder folder;
  folder.write("thesis.txt", "Chapter 1\n");
  RunLedger ledger;
  EXPECT_FALSE(ledger.begin(folder / "thesis.txt", "mail"));
  EXPECT_FALSE(ledger.begin(folder.path(), "mail"));
  EXPECT_FALSE(ledger.begin(folder / "missing/l", "mail"));
  EXPECT_FALSE(ledger.begin("/dev/null", "mail"));
  EXPECT_EQ(folder.read("thesis.txt"), "Chapter 1\n");
  EXPECT_FALSE(readLedgerLines(folder / "thesis.txt", ""));
}

TEST(RunLedger, KeptElsewhereIsFoundFromHome) {
  const TemporaryFolder folder;
  const std::string home = folder / "Ledger.log";
  {
    RunLedger ledger;
    beginOrFail(ledger, folder / "other", startOf("mail", 11, home));
    ledger.beginMessage("m", std::nullopt);
    ledger.open(markOf("f"));
  }
  const std::string untouched = folder.read("other");
  for (const char* name : {"Ledger.log", "third"}) {
    RunLedger ledger;
    beginOrFail(ledger, folder / name, startOf("mail", 11, home));
    ASSERT_EQ(ledger.leftOpen().size(), 1U) << name;
    EXPECT_EQ(ledger.leftOpen()[0].path, "m");
    EXPECT_EQ(folder.read("other"), untouched);
  }
}

TEST(RunLedger, RemembersASourceUntilARunOfItsRangeHasReadIt) {
  const TemporaryFolder folder;
  const std::string home = folder / "Ledger.log";
  struct Run {
    const char* name;
    const char* ledger;
    std::vector<std::string> sources;
    const char* from;
    bool readToTheEnd;
    bool finishes;
    std::vector<std::string> left;  ///< "source from"
  };
  const Run runs[] = {
      {"killed", "Ledger.log", {"A", "B"}, "1901", false, false, {"A 1901", "B 1901"}},
      {"narrower", "Ledger.log", {"A"}, "2020", true, true, {"A 1901", "B 1901"}},
      {"elsewhere, cancelled", "other", {"C"}, "2021", false, true, {"A 1901", "B 1901", "C 2021"}},
      {"one of them", "Ledger.log", {"A"}, "1901", true, true, {"B 1901", "C 2021"}},
      {"import", "Ledger.log", {}, "1901", true, true, {"B 1901", "C 2021"}},
      {"the rest", "Ledger.log", {"B", "C"}, "1901", true, true, {}},
  };
  for (const Run& run : runs) {
    RunLedger ledger;
    LedgerStart start = startOf("mail", 0, home);
    start.sources = run.sources;
    start.rangeFrom = run.from;
    start.rangeTo = "2050";
    beginOrFail(ledger, folder / run.ledger, start);
    if (run.readToTheEnd) ledger.sourcesRead();
    if (run.finishes) ledger.finish();
    std::vector<std::string> left;
    for (const UnfinishedSource& it : RunLedger::unfinishedSources(home, home)) {
      left.push_back(it.source + " " + it.from);
    }
    EXPECT_THAT(left, ::testing::UnorderedElementsAreArray(run.left)) << run.name;
  }
}

TEST(RunLedger, KeptElsewhereByALivingRunIsNotTouched) {
  const TemporaryFolder folder;
  const std::string home = folder / "Ledger.log";
  RunLedger homeRun;
  beginOrFail(homeRun, home, startOf("mail", 11, home));
  RunLedger living;
  beginOrFail(living, folder / "other", startOf("mail", 11, home));
  living.beginMessage("m", std::nullopt);
  living.open(markOf("f"));
  homeRun.finish();
  {
    RunLedger ledger;
    beginOrFail(ledger, home, startOf("mail", 11, home));
    EXPECT_THAT(ledger.leftOpen(), IsEmpty());
    ledger.finish();
  }
  living.leaveOpen("gone");
  living.finish();
  RunLedger next;
  beginOrFail(next, home, startOf("mail", 11, home));
  EXPECT_EQ(next.leftOpen().size(), 1U);
}

TEST(LedgerFile, ALineTornByAFullDiskDoesNotSpoilTheNext) {
  const TemporaryFolder folder;
  std::signal(SIGXFSZ, SIG_IGN);
  Result<std::unique_ptr<LedgerFile>> file = LedgerFile::take(folder / "l");
  ASSERT_TRUE(file);
  ASSERT_TRUE((*file)->restart("#ledger\t1\tr\tt\t5\tmail\n"));
  rlimit former{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
  const rlimit tight{std::filesystem::file_size(folder / "l") + 8, former.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  EXPECT_FALSE((*file)->append("#row\t3\t123\n"));  // "#row\t3\t1" is written
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &former), 0);
  EXPECT_TRUE((*file)->append("dropped\twhy\t-\tpath\n"));
  const std::vector<LedgerLine> lines = linesOf(folder / "l");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].detail, "why");
  EXPECT_THAT(folder.read("l"), HasSubstr("#row\t3\t1\t!\n"));
}

}  // namespace
}  // namespace keldane
