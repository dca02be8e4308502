#include "schedule/crontab_cleaner.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "base/files.h"
#include "platform/process_tool_runner.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

constexpr const char* kList =
    "[ -f \"$tab\" ] || { echo 'no crontab for me' >&2; exit 1; }; cat \"$tab\"";
constexpr const char* kWrite = "cat > \"$tab\"";

/// A stand-in for the system's crontab, which keeps its lines in the file "tab" and notes its calls
/// in the file "calls".
struct CrontabCleanerTest : ::testing::Test {
  void standIn(const std::string& list = kList, const std::string& write = kWrite) {
    folder.writeScript("crontab",
                       "here=$(dirname \"$0\"); tab=$here/tab\necho \"$1\" >> "
                       "$here/calls\ncase \"$1\" in\n-l) " +
                           list + " ;;\n-) " + write + " ;;\nesac\n");
  }
  void clean() { CrontabCleaner(tools, folder / "support", folder / "crontab").removeCrontab(); }
  [[nodiscard]] std::string contents(const char* name) const {
    return fileExists(folder / name) ? folder.read(name) : "none";
  }
  [[nodiscard]] std::string copy() const { return contents("support/crontab.copy"); }

  const TemporaryFolder folder;
  ProcessToolRunner tools;
};

TEST_F(CrontabCleanerTest, TakesOutItsOwnLinesOnly) {
  struct Case {
    const char* name;
    const char* before;
    const char* after;
  };
  const std::string many(300000, 'x');
  for (const Case& row :
       {Case{"ours in the middle",
             "# mine\n0 1 * * * backup\n5 * * * * /Applications/KeldanePro.app/K 1\n\n@daily x\n",
             "# mine\n0 1 * * * backup\n\n@daily x\n"},
        Case{"none of ours", "0 1 * * * backup\n", "0 1 * * * backup\n"},
        Case{"ours without the bundle's name", "0 1 * * * KeldanePro 1\n",
             "0 1 * * * KeldanePro 1\n"},
        Case{"only ours", "0 1 * * * KeldanePro.app\n", ""},
        Case{"only ours, no line end", "0 1 * * * KeldanePro.app", ""},
        Case{"no line end", "a\nb", "a\nb"}, Case{"blank lines", "\n\n", "\n\n"},
        Case{"bytes that are no UTF-8", "0 1 * * * \xE9\xFF\n", "0 1 * * * \xE9\xFF\n"},
        Case{"more than a pipe holds", many.c_str(), many.c_str()}, Case{"empty", "", ""}}) {
    SCOPED_TRACE(row.name);
    standIn();
    folder.write("tab", row.before);
    folder.write("calls", "");
    clean();
    EXPECT_EQ(contents("tab"), row.after);
    EXPECT_EQ(contents("calls"), "-l\n-\n");
    EXPECT_EQ(copy(), "none");
  }
  std::filesystem::remove(folder / "tab");
  clean();
  EXPECT_EQ(contents("tab"), "") << "an empty one where there was none";
}

TEST_F(CrontabCleanerTest, WritesNothingThatItCouldNotRead) {
  for (const char* list : {"echo 'you are not allowed to use this program' >&2; exit 1", "exit 1",
                           "head -c 3 \"$tab\"; exit 2", "head -c 3 \"$tab\"; kill -9 $$"}) {
    SCOPED_TRACE(list);
    standIn(list);
    folder.write("tab", "0 1 * * * backup\n");
    folder.write("calls", "");
    clean();
    EXPECT_EQ(contents("tab"), "0 1 * * * backup\n");
    EXPECT_EQ(contents("calls"), "-l\n");
  }
  std::filesystem::remove(folder / "crontab");
  clean();
  EXPECT_EQ(contents("tab"), "0 1 * * * backup\n");
}

TEST_F(CrontabCleanerTest, WritesNothingThatItCouldNotKeepACopyOf) {
  standIn();
  folder.write("tab", "0 1 * * * backup\nKeldanePro.app\n");
  folder.write("support", "a file in the way");
  clean();
  EXPECT_EQ(contents("tab"), "0 1 * * * backup\nKeldanePro.app\n");
  EXPECT_EQ(contents("calls"), "-l\n");
}

TEST_F(CrontabCleanerTest, ARefusedWriteLeavesTheLinesAndNoCopy) {
  for (const char* write : {"cat > /dev/null; exit 1", "exit 1", "kill -9 $$"}) {
    SCOPED_TRACE(write);
    standIn(kList, write);
    folder.write("tab", "0 1 * * * backup\nKeldanePro.app\n");
    clean();
    EXPECT_EQ(contents("tab"), "0 1 * * * backup\nKeldanePro.app\n");
    EXPECT_EQ(copy(), "none");
  }
}

TEST_F(CrontabCleanerTest, AWriteThatWasCutOffIsMadeGoodAtTheNextStart) {
  for (const char* write :
       {"head -c 5 > \"$tab\"; kill -9 $$", ": > \"$tab\"; exit 1", "rm \"$tab\"; exit 1"}) {
    SCOPED_TRACE(write);
    standIn(kList, write);
    folder.write("tab", "0 1 * * * backup\nKeldanePro.app\n@daily x\n");
    clean();
    EXPECT_EQ(copy(), "0 1 * * * backup\n@daily x\n");
    standIn();
    clean();
    EXPECT_EQ(contents("tab"), "0 1 * * * backup\n@daily x\n");
    EXPECT_EQ(copy(), "none");
  }
}

TEST_F(CrontabCleanerTest, LinesWrittenSinceACutOffWriteWin) {
  standIn(kList, "head -c 5 > \"$tab\"; kill -9 $$");
  folder.write("tab", "0 1 * * * backup\n");
  clean();
  standIn();
  folder.write("tab", "0 2 * * * new\n");
  folder.write("support/crontab.copy-1", "of another time");
  clean();
  EXPECT_EQ(contents("tab"), "0 2 * * * new\n");
  EXPECT_EQ(contents("support/crontab.copy-1"), "of another time");
  EXPECT_EQ(contents("support/crontab.copy-2"), "0 1 * * * backup\n");
  EXPECT_EQ(copy(), "none");
}

TEST_F(CrontabCleanerTest, AProgramThatEndsWhileItWritesLeavesACopy) {
  // As if this program were killed behind the start of the tool: nothing of what follows the write
  // happens, and the tool finds an empty input.
  standIn(kList, ": > \"$tab\"; cp \"$here/support/crontab.copy\" \"$here/seen\"; cat > \"$tab\"");
  folder.write("tab", "0 1 * * * backup\n");
  clean();
  EXPECT_EQ(contents("seen"), "0 1 * * * backup\n");
}

}  // namespace
}  // namespace keldane
