#include "base/files.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

std::size_t entriesOf(const std::string& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(ReadFile, GivesEveryByte) {
  const TemporaryFolder folder;
  const std::string bytes = std::string("\0\r\n\xFF", 4) + std::string(200000, 'x');
  EXPECT_EQ(*readFile(folder.write("mail.eml", bytes)), bytes);
  EXPECT_EQ(*readFile(folder.write("empty", "")), "");
  EXPECT_EQ(*readBeginning(folder / "mail.eml", 6), bytes.substr(0, 6));
  EXPECT_EQ(*readBeginning(folder / "mail.eml", 300000), bytes);
}

TEST(ReadFile, SaysWhyItCannot) {
  const TemporaryFolder folder;
  EXPECT_NE(readFile(folder / "missing").error().find("No such file"), std::string::npos);
  EXPECT_NE(readFile(folder.path()).error().find("directory"), std::string::npos);
  // A pipe without a writer would hold its reader for ever.
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(readFile(folder / "pipe"));
  EXPECT_FALSE(readBeginning(folder / "pipe", 1));
}

TEST(ReplaceFile, LeavesOneFileOfTheModeAsked) {
  const TemporaryFolder folder;
  const std::string path = folder.write("prefs", "old");
  fs::permissions(path, fs::perms::all);
  ASSERT_TRUE(replaceFile(path, "new"));
  EXPECT_EQ(folder.read("prefs"), "new");
  EXPECT_EQ(folder.modeOf("prefs"), 0600U);
  EXPECT_EQ(entriesOf(folder.path()), 1U);
  ASSERT_TRUE(replaceFile(path, "shared", 0644));
  EXPECT_EQ(folder.modeOf("prefs"), 0644U);
}

TEST(ReplaceFile, KeepsASymbolicLink) {
  const TemporaryFolder folder;
  folder.write("kept/prefs", "old");
  fs::create_symlink("kept/prefs", folder / "prefs");
  fs::create_symlink("kept/new", folder / "dangling");
  ASSERT_TRUE(replaceFile(folder / "prefs", "new"));
  ASSERT_TRUE(replaceFile(folder / "dangling", "made"));
  EXPECT_TRUE(fs::is_symlink(folder / "prefs"));
  EXPECT_EQ(folder.read("kept/prefs"), "new");
  EXPECT_EQ(folder.read("kept/new"), "made");
}

TEST(ReplaceFile, KeepsTheOldFileWhenTheDiskIsFull) {
  const TemporaryFolder folder;
  const std::string path = folder.write("prefs", "old");
  EXPECT_EQ(statusWithFileLimit(
                4096, [&] { return replaceFile(path, std::string(100000, 'n')) ? 1 : 0; }),
            0)
      << "the failure was not told";
  EXPECT_EQ(folder.read("prefs"), "old");
  EXPECT_EQ(entriesOf(folder.path()), 1U);
}

TEST(ReplaceFile, FailsWhereItMayNotWrite) {
  const TemporaryFolder folder;
  EXPECT_FALSE(replaceFile(folder / "missing/prefs", "x"));
  fs::create_directory(folder / "taken");
  EXPECT_FALSE(replaceFile(folder / "taken", "x"));
  EXPECT_EQ(entriesOf(folder.path()), 1U);
}

TEST(MakeFolders, MakesWhatIsMissingAndKeepsTheRest) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "open");
  fs::permissions(folder / "open", fs::perms(0755));
  ASSERT_TRUE(makeFolders(folder / "open/a//b/"));
  EXPECT_EQ(folder.modeOf("open"), 0755U);
  EXPECT_EQ(folder.modeOf("open/a"), 0700U);
  EXPECT_EQ(folder.modeOf("open/a/b"), 0700U);
  EXPECT_TRUE(makeFolders(folder / "open/a/b"));
  folder.write("file", "");
  EXPECT_NE(makeFolders(folder / "file/a").error().find("Not a directory"), std::string::npos);
  EXPECT_TRUE(fileExists(folder / "file"));
  EXPECT_FALSE(isDirectory(folder / "file"));
}

}  // namespace
}  // namespace keldane
