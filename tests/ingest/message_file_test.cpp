#include "ingest/reading/message_file.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/sources/file_list.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

TEST(MessageFile, ItemsAreSplitAtTheFiveColons) {
  const EmailItem item = splitEmailItem("/a::b.eml:::::in\nbox");
  EXPECT_EQ(item.path, "/a::b.eml");
  EXPECT_EQ(item.mailbox, "inbox");
  EXPECT_EQ(splitEmailItem("/a").path, "/a");
}

std::vector<std::string> listed(const FileList& files, const TemporaryFolder& folder) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < files.size(); ++i) {
    paths.push_back(files.path(i).substr(folder.path().size()));
  }
  return paths;
}

TEST(FileList, HoldsAllThatLiesBelowInAStableOrder) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  for (const char* name : {"b/2.eml", "b/10.eml", "a.eml", "b.eml", ".hidden/x", "c/d/e/f"}) {
    folder.write(name, "");
  }
  fs::create_directories(folder / "empty");
  fs::create_directory_symlink(folder.path(), folder / "c/loop");
  fs::create_symlink(folder / "a.eml", folder / "c/link.eml");
  fs::create_symlink(folder / "c/round", folder / "c/round");
  std::string complaints;
  FileList files;
  files.add(folder.path() + "/",
            [&complaints](const std::string& where, const std::string& reason) {
              complaints += where + ": " + reason;
            });
  files.add(folder / "a.eml", {});
  files.add(folder / "missing", {});
  EXPECT_EQ(listed(files, folder),
            (std::vector<std::string>{"/.hidden/x", "/a.eml", "/b/10.eml", "/b/2.eml", "/b.eml",
                                      "/c/d/e/f", "/c/link.eml", "/c/round", "/a.eml"}));
  EXPECT_EQ(complaints, "");
}

}  // namespace
}  // namespace keldane
