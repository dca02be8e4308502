#include "ingest/reading/message_file.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/sources/file_list.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

TEST(MessageFile, IsCutAtEachSeparatorWithItsOffset) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    const std::string first = "From a" + end + "A: 1" + end + end + "x From y" + end;
    auto pieces = cutAtSeparators(first + "From \xE4" + end + "B: 2" + end);
    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0].bytes, "From a" + end + "A: 1" + end + end + "x From y");
    EXPECT_EQ(pieces[0].offsetBytes, 0U);
    EXPECT_EQ(pieces[1].bytes, "\xE4" + end + "B: 2" + end);
    EXPECT_EQ(pieces[1].offsetBytes, first.size());
    deleteFirstLine(pieces[1].bytes);
    EXPECT_EQ(pieces[1].bytes, "B: 2" + end);
  }
}

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
