#include "ingest/reading/partial_file.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/files.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::vector<std::string> takeAll(PartialFile& partial) {
  std::vector<std::string> parts;
  while (auto part = partial.takePart()) parts.push_back(std::move(*part));
  return parts;
}

/// Mends the text with the parts as they lie there.
void repair(PartialFile& partial, const std::string& path, std::string& text) {
  EXPECT_TRUE(partial.repair(path, text, readFile));
}

constexpr const char* kStub = "box/Data/Messages/12.partial.emlx";

TEST(PartialFile, PutsAttachmentsBackWhereTheirNamesStand) {
  const TemporaryFolder folder;
  folder.write("box/Data/Attachments/12/2/a.txt", "first");
  folder.write("box/Data/Attachments/12/10/2.3/b c.txt", "second");
  folder.write("box/Data/Attachments/12/10/2.3/deep/too-deep.txt", "out of reach");
  folder.write("box/Data/Attachments/12/3/unnamed.txt", "third");
  folder.write("box/Data/Attachments/12/.DS_Store", "junk");
  folder.write("box/Data/Attachments/123/2/a.txt", "of another message");
  std::string text =
      "Content-Type: text/plain; name=a.txt\n\n\n--x\n"
      "Content-Type: text/plain; name=\"b c.txt\"\nX: y\n\n\n--x--\n";
  PartialFile partial;
  repair(partial, folder / kStub, text);
  EXPECT_EQ(text,
            "Content-Type: text/plain; name=a.txt\n\nZmlyc3Q=\n--x\n"
            "Content-Type: text/plain; name=\"b c.txt\"\nX: y\n\nc2Vjb25k\n--x--\n");
  EXPECT_EQ(takeAll(partial), (std::vector<std::string>{"first", "third", "second"}));
}

TEST(PartialFile, ABareNameGoesBeforeAQuotedOneAndTheBlankLineMustBeNear) {
  const TemporaryFolder folder;
  folder.write("box/Data/Attachments/12/2/a.txt", "x");
  PartialFile partial;
  std::string both = "name=\"a.txt\"\n\n1\nname=a.txt\n\n2\n";
  repair(partial, folder / kStub, both);
  EXPECT_EQ(both, "name=\"a.txt\"\n\n1\nname=a.txt\n\neA==2\n");
  // The name and what follows it may take 500 characters, of whatever width.
  std::string wide;
  for (int i = 0; i < 488; ++i) wide += "\xC3\xA4";
  std::string near = "name=a.txt" + wide + "\n\n2\n";
  repair(partial, folder / kStub, near);
  EXPECT_EQ(near, "name=a.txt" + wide + "\n\neA==2\n");
  const std::string far = "name=a.txt" + wide + "-\n\n2\n";
  std::string kept = far;
  repair(partial, folder / kStub, kept);
  EXPECT_EQ(kept, far);
}

TEST(PartialFile, CollectsPartFilesOfItsOwnNumberOnly) {
  const TemporaryFolder folder;
  folder.write("box/Data/Messages/12.10.emlxpart", "ten");
  folder.write("box/Data/Messages/12.2.emlxpart", std::string(49, 'a'));
  folder.write("box/Data/Messages/123.2.emlxpart", "of another message");
  folder.write("box/Data/Messages/12.2.emlx", "no part");
  PartialFile partial;
  std::string text = "Subject: x\n\n";
  repair(partial, folder / kStub, text);
  EXPECT_EQ(text, "Subject: x\n\n");
  const std::vector<std::string> parts = takeAll(partial);
  ASSERT_EQ(parts.size(), 2U);
  EXPECT_EQ(parts[0].find("\r\n"), 64U);
  EXPECT_EQ(parts[1], "dGVu");
  partial.forget();
  EXPECT_FALSE(partial.takePart());
}

TEST(PartialFile, EntersNoLinkedFolder) {
  const TemporaryFolder folder;
  folder.write("secret/a.txt", "private");
  std::filesystem::create_directories(folder / "box/Data/Attachments/12");
  std::filesystem::create_directory_symlink(folder / "secret",
                                            folder / "box/Data/Attachments/12/2");
  PartialFile partial;
  std::string text = "name=a.txt\n\n";
  repair(partial, folder / kStub, text);
  EXPECT_EQ(text, "name=a.txt\n\n");
  EXPECT_FALSE(partial.takePart());
}

TEST(PartialFile, APartThatIsThereAndCannotBeReadIsTold) {
  for (const std::string name :
       {"box/Data/Attachments/12/2/a.txt", "box/Data/Messages/12.2.emlxpart"}) {
    const TemporaryFolder folder;
    const std::string part = folder.write(name, "x");
    PartialFile partial;
    std::string text = "name=a.txt\n\n";
    const Result<void> repaired =
        partial.repair(folder / kStub, text, [](const std::string& path) -> Result<std::string> {
          return Failure{path + ": Input/output error"};
        });
    ASSERT_FALSE(repaired);
    EXPECT_EQ(repaired.error(), part + ": Input/output error");
  }
  // A folder that cannot be listed, whoever runs the test: its path is longer than paths may be.
  PartialFile partial;
  std::string text = "name=a.txt\n\n";
  const std::string longPath = "/" + std::string(5000, 'x');
  EXPECT_FALSE(partial.repair(longPath + "/Messages/12.partial.emlx", text, readFile));
}

TEST(PartialFile, LeavesOtherFilesAlone) {
  const TemporaryFolder folder;
  folder.write("Attachments/partial/2/a.txt", "x");
  folder.write("Messages/1.emlxpart", "y");
  for (const char* name : {"Messages/partial.emlx", "Messages/.partial.emlx", "Messages/partial"}) {
    PartialFile partial;
    std::string text = "name=a.txt\n\n";
    repair(partial, folder / name, text);
    EXPECT_EQ(text, "name=a.txt\n\n") << name;
    EXPECT_FALSE(partial.takePart()) << name;
  }
}

TEST(PartialFile, EncodesInLines) {
  EXPECT_EQ(base64Lines("", 76), "");
  EXPECT_EQ(base64Lines("\xFF\xFE", 76), "//4=");
  EXPECT_EQ(base64Lines(std::string(57, '\0'), 76), std::string(76, 'A'));
  EXPECT_EQ(base64Lines(std::string(58, '\0'), 76), std::string(76, 'A') + "\r\nAA==");
}

}  // namespace
}  // namespace keldane
