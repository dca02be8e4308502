#include "output/output_file.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "output/write_behind.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::size_t filesIn(const TemporaryFolder& folder) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    count += entry.is_regular_file() ? 1 : 0;
  }
  return count;
}

TEST(OutputFile, StandsUnderItsNameOnlyWhenItIsWhole) {
  const TemporaryFolder folder;
  const std::string path = folder.write("out", "old");
  const std::string large(3000000, 'x');
  {
    OutputFile dropped(path);
    ASSERT_TRUE(dropped.open());
    dropped.write(large);
    EXPECT_EQ(folder.read("out"), "old");
    EXPECT_EQ(filesIn(folder), 1U) << "a program that is killed now leaves nothing";
  }
  EXPECT_EQ(folder.read("out"), "old");
  OutputFile file(path);
  ASSERT_TRUE(file.open());
  file.write("a");
  file.write(large);
  file.write("b");
  file.setTime(1000000000);
  ASSERT_TRUE(file.commit());
  EXPECT_TRUE(folder.read("out") == "a" + large + "b");
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_EQ(status.st_mtime, 1000000000);
  EXPECT_EQ(filesIn(folder), 1U) << "nothing stays beside it";
}

TEST(OutputFile, OneOfManyTakesThePlaceOfAnother) {
  const TemporaryFolder folder;
  for (const char* text : {"old", "new"}) {
    OutputFile file(folder / "one", folder.path());
    ASSERT_TRUE(file.open());
    file.write(text);
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(folder.read("one"), text);
    EXPECT_EQ(filesIn(folder), 1U);
  }
  OutputFile dropped(folder / "two", folder.path());
  ASSERT_TRUE(dropped.open());
  dropped.write("x");
  EXPECT_EQ(filesIn(folder), 1U) << "it has no name before it is whole";
}

TEST(OutputFile, FollowsALinkAndWritesIntoWhatIsNoFile) {
  const TemporaryFolder folder;
  folder.write("real", "old");
  ASSERT_EQ(::symlink("real", (folder / "link").c_str()), 0);
  OutputFile file(folder / "link");
  ASSERT_TRUE(file.open());
  file.write("new");
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(folder.read("real"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  OutputFile device("/dev/null");
  ASSERT_TRUE(device.open());
  device.write("x");
  EXPECT_TRUE(device.commit());
}

TEST(OutputFile, NamesTheFileThatCannotBeWritten) {
  const TemporaryFolder folder;
  ASSERT_EQ(::symlink("nowhere", (folder / "dangling").c_str()), 0);
  for (const std::string& path :
       {folder / "missing/out", folder.path(), folder / "dangling", std::string()}) {
    OutputFile file(path);
    const Result<void> opened = file.open();
    ASSERT_FALSE(opened) << path;
    EXPECT_EQ(opened.error().find(path + ": "), 0U);
    file.write("more");
    EXPECT_FALSE(file.commit());
  }
}

TEST(OutputFile, AFullDiskLeavesNothingBehind) {
  const TemporaryFolder folder;
  const std::string path = folder.write("out", "old");
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{400000, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  OutputFile file(path);
  const bool opened = file.open().has_value();
  for (int i = 0; i < 100; ++i) file.write(std::string(10000, 'x'));
  const Result<void> written = file.commit();
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(file.hasFailed());
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().find(path + ": "), 0U);
  EXPECT_EQ(folder.read("out"), "old");
  EXPECT_EQ(filesIn(folder), 1U);
}

TEST(WriteBehind, WritesInOrderAndEndsAtTheFirstFailure) {
  const TemporaryFolder folder;
  const std::string large(3000000, 'x');
  WriteBehind files(folder.path());
  for (const std::string& bytes : {std::string("first"), large, std::string("last")}) {
    ASSERT_TRUE(files.put({folder / "one", bytes, 1000000000}));
    ASSERT_TRUE(files.put({folder / std::to_string(bytes.size()), bytes}));
  }
  ASSERT_TRUE(files.put({folder / "missing/out", "x"}));
  static_cast<void>(files.put({folder / "behind", "x"}));
  const Result<void> put = files.put({folder / "large behind", large});
  const Result<void> finished = files.finish();
  for (const Result<void>& failed : {put, finished, files.put({folder / "late", large})}) {
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().find(folder / "missing/out: "), 0U) << failed.error();
  }
  EXPECT_EQ(folder.read("one"), "last");
  EXPECT_TRUE(folder.read("3000000") == large);
  EXPECT_EQ(filesIn(folder), 4U) << "those before it, and nothing beside them";
}

}  // namespace
}  // namespace keldane
