#include "ingest/run_logs.h"

#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

constexpr RunTotals kTotals{12, 7, 4};

TEST(RunLogs, SummaryNamesInvalidFilesAsLongAsItIsAscii) {
  EXPECT_EQ(storeLogSummary(kTotals, {}), "Processed: 12\nArchived: 7\nDuplicates: 4\n");
  EXPECT_EQ(storeLogSummary(kTotals, {0, 2, "/a %s\n/b\n"}),
            "Processed: 12\nArchived: 7\nDuplicates: 4\nInvalid Files: 2\n/a %s\n/b\n");
  EXPECT_EQ(storeLogSummary(kTotals, {0, 1, "/\xc3\xa4\n"}), runSummary(kTotals));
}

TEST(RunLogs, DebugLogIsReadInPieces) {
  const TemporaryFolder folder;
  const std::string path =
      folder.write("db.log", "/mail/1.emlx\nINVALID: /a\nPARSED: 5\nPARSED:3 files\n" +
                                 std::string(29999, 'x') + "INVALID: /b\nINVALID:\n");
  const DebugLogTotals totals = readDebugLog(path);
  EXPECT_EQ(totals.parsed, 8);
  EXPECT_EQ(totals.invalid, 3);
  EXPECT_EQ(totals.invalidText, "/a\n/b\n");
  EXPECT_EQ(readDebugLog(folder / "missing").invalid, 0);
}

TEST(RunLogs, NewestRunStandsFirst) {
  const TemporaryFolder folder;
  const std::string path = folder / "Keldane.log";
  EXPECT_TRUE(rewriteRunLog(path, "2023-11-14 22:13:20 +0000", {1, 1, 0}));
  EXPECT_TRUE(rewriteRunLog(path, "2023-11-15 22:13:20 +0000", kTotals));
  EXPECT_EQ(folder.read("Keldane.log"),
            "2023-11-15 22:13:20 +0000    Processed: 12    Archived: 7    Duplicates: 4\n"
            "2023-11-14 22:13:20 +0000    Processed: 1    Archived: 1    Duplicates: 0\n");
  EXPECT_FALSE(rewriteRunLog(folder / "missing/Keldane.log", "now", kTotals));
}

TEST(RunLogs, DuplicatesAreThoseOfTheLastRun) {
  const TemporaryFolder folder;
  const std::string path = folder.write("Duplicates.log", "old");
  SpooledText text;
  text.append("a duplicate\n");
  EXPECT_TRUE(rewriteDuplicatesLog(path, "today", text));
  EXPECT_EQ(folder.read("Duplicates.log"),
            "During the today archive, the following duplicate emails were found to already be in "
            "the database and were therefore skipped:\n\na duplicate\n");
}

TEST(RunLogs, ALogIsForItsOwnerAndEachLineIsThereAtOnce) {
  const TemporaryFolder folder;
  LogFile log;
  log.write("lost\n");
  log.openForAppend(folder / "new.storelog");
  log.write("one\n");
  EXPECT_EQ(folder.read("new.storelog"), "one\n");
  log.openForAppend(folder / "new.storelog");
  log.write("two\n");
  EXPECT_EQ(folder.read("new.storelog"), "one\ntwo\n");
  log.openForAppend(folder / "missing/new.storelog");
  log.write("lost\n");
  struct stat status {};
  ASSERT_EQ(::stat((folder / "new.storelog").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

}  // namespace
}  // namespace keldane
