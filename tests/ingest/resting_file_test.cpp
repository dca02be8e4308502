#include "ingest/reading/resting_file.h"

#include <filesystem>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

TEST(RestingFile, AWriteOrAnotherFileInItsPlaceShows) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a", "one");
  const Result<FileState> before = stateOf(path);
  ASSERT_TRUE(before);
  EXPECT_EQ(*stateOf(path), *before);
  std::filesystem::last_write_time(
      path, std::filesystem::last_write_time(path) + std::chrono::nanoseconds(1000));
  EXPECT_FALSE(*stateOf(path) == *before) << "same length, later";
  const std::string other = folder.write("b", "one");
  std::filesystem::rename(other, path);
  EXPECT_NE(stateOf(path)->inode, before->inode);
}

TEST(RestingFile, WhatIsNoFileIsNamed) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(stateOf(folder / "pipe").error(), "not a regular file (a pipe)");
  EXPECT_EQ(stateOf("/dev/null").error(), "not a regular file (a device)");
  EXPECT_EQ(stateOf(folder.path()).error(), "is a folder");
  EXPECT_EQ(stateOf(folder / "missing").error(), "No such file or directory");
}

TEST(RestingFile, RestsFiveSecondsAfterItsLastChange) {
  FileState state;
  state.modifiedSeconds = 1000;
  EXPECT_EQ(secondsUntilRested(state, 1000), 5);
  EXPECT_EQ(secondsUntilRested(state, 1004), 1);
  EXPECT_EQ(secondsUntilRested(state, 1005), 0);
  EXPECT_EQ(secondsUntilRested(state, 999), 0) << "dated in the future";
  EXPECT_EQ(secondsUntilRested(state, 1000, 0), 0);
}

}  // namespace
}  // namespace keldane
