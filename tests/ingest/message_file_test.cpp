#include "ingest/message_file.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/file_list.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

TEST(MessageFile, IsReadAsUtf8OrElseAsLatin1) {
  const TemporaryFolder folder;
  EXPECT_EQ(*readMessageFile(folder.write("utf8", "\xC3\xA4\r\nb\rc\n")), "\xC3\xA4\nb\nc\n");
  EXPECT_EQ(*readMessageFile(folder.write("latin1", "\xE4\xC3\xA4\n")),
            "\xC3\xA4\xC3\x83\xC2\xA4\n");
  EXPECT_EQ(*readMessageFile(folder.write("nul", std::string("a\0b", 3))), std::string("a\0b", 3));
  EXPECT_FALSE(readMessageFile(folder.path()));
}

TEST(MessageFile, IsCutAtEachSeparatorWithItsOffset) {
  const TemporaryFolder folder;
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    const std::string first = "From a" + end + "A: 1" + end + end + "x From y" + end;
    const std::string path = folder.write("x.eml.txt", first + "From \xE4" + end + "B: 2" + end);
    const auto pieces = readSeveralMessages(path);
    ASSERT_EQ(pieces->size(), 2U);
    EXPECT_EQ((*pieces)[0].text, "From a\nA: 1\n\nx From y");
    EXPECT_EQ((*pieces)[0].offsetBytes, 0U);
    EXPECT_EQ((*pieces)[1].text, "\xC3\xA4\nB: 2\n");
    EXPECT_EQ((*pieces)[1].offsetBytes, first.size());
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
  files.add(folder.path() + "/", [&complaints](const std::string& line) { complaints += line; });
  files.add(folder / "a.eml", {});
  files.add(folder / "missing", {});
  EXPECT_EQ(listed(files, folder),
            (std::vector<std::string>{"/.hidden/x", "/a.eml", "/b/10.eml", "/b/2.eml", "/b.eml",
                                      "/c/d/e/f", "/c/link.eml", "/c/round", "/a.eml"}));
  EXPECT_EQ(complaints, "");
}

}  // namespace
}  // namespace keldane
