#include "settings/preferences_file.h"

#include <filesystem>
#include <functional>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/files.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

std::string list(const std::string& keys) {
  return "<plist version=\"1.0\"><dict>" + keys + "</dict></plist>";
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!name.ends_with(".lock")) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(PreferencesFile, BeginsEmptyAndMakesItsFolder) {
  const TemporaryFolder folder;
  PreferencesFile prefs(folder / "Library/Preferences/p.plist");
  ASSERT_TRUE(prefs.load());
  EXPECT_TRUE(prefs.keys().empty());
  prefs.setText("dbPath", "mail");
  ASSERT_TRUE(prefs.save());
  EXPECT_EQ(folder.modeOf("Library/Preferences/p.plist"), 0600U);
  PreferencesFile again(prefs.path());
  ASSERT_TRUE(again.load());
  EXPECT_EQ(again.text("dbPath"), "mail");
}

TEST(PreferencesFile, KeepsKeysOfOthers) {
  const TemporaryFolder folder;
  const std::string path = folder.write(
      "p.plist", list("<key>NSWindow Frame</key><string>0 0</string><key>when</key>"
                      "<date>2023-02-03T04:05:06Z</date><key>bytes</key><data>AP8=</data>"
                      "<key>ratio</key><real>0.30000000000000004</real><key>on</key><true/>"
                      "<key>dbPath</key><string>old</string><key>gone</key><integer>1</integer>"));
  const PlistDict before = *parsePlist(*readFile(path))->dict();
  PreferencesFile prefs(path);
  ASSERT_TRUE(prefs.load());
  prefs.setText("dbPath", "new");
  prefs.remove("gone");
  ASSERT_TRUE(prefs.save());
  PlistDict after = *parsePlist(*readFile(path))->dict();
  EXPECT_EQ(after.at("dbPath").text(), "new");
  EXPECT_EQ(after.count("gone"), 0U);
  for (const char* key : {"NSWindow Frame", "when", "bytes", "ratio", "on"}) {
    EXPECT_EQ(after.at(key), before.at(key)) << key;
  }
}

TEST(PreferencesFile, LeavesAloneWhatAnotherProgramHasWritten) {
  const TemporaryFolder folder;
  const std::string path = folder / "p.plist";
  PreferencesFile ours(path);
  ours.setInteger("dateFormat", 1);
  ours.setInteger("separator", 1);
  ASSERT_TRUE(ours.save());
  PreferencesFile theirs(path);
  ASSERT_TRUE(theirs.load());
  theirs.setInteger("dateFormat", 2);
  theirs.setText("tagRules", "theirs");
  ASSERT_TRUE(theirs.save());
  ours.setInteger("dateFormat", 1);  // as we knew it: no change of ours
  ours.setInteger("separator", 2);
  ASSERT_TRUE(ours.save());
  EXPECT_EQ(ours.integer("dateFormat"), 2);
  EXPECT_EQ(ours.integer("separator"), 2);
  EXPECT_EQ(ours.text("tagRules"), "theirs");
}

std::function<void(PlistDict&)> adds(const std::string& entry) {
  return [entry](PlistDict& keys) { listAt(keys, "rules").push_back({entry}); };
}

TEST(PreferencesFile, AListTakesTheEntriesOfAllPrograms) {
  const TemporaryFolder folder;
  const std::string path = folder / "p.plist";
  constexpr int kPrograms = 6;
  constexpr int kEntries = 20;
  std::vector<pid_t> children;
  for (int program = 0; program < kPrograms; ++program) {
    const pid_t child = ::fork();
    if (child != 0) {
      children.push_back(child);
      continue;
    }
    PreferencesFile prefs(path);
    bool good = prefs.load().has_value();
    for (int i = 0; i < kEntries && good; ++i) {
      good = prefs.edit(adds(std::to_string(program * kEntries + i))).has_value();
    }
    ::_exit(good ? 0 : 1);
  }
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  PreferencesFile prefs(path);
  ASSERT_TRUE(prefs.load());
  ASSERT_TRUE(prefs.has("rules"));
  EXPECT_EQ(prefs.find("rules")->array()->size(), static_cast<std::size_t>(kPrograms * kEntries));
}

TEST(PreferencesFile, AnEditThatCouldNotBeSavedWaitsForTheNextSave) {
  const TemporaryFolder folder;
  const std::string path = folder / "p.plist";
  PreferencesFile ours(path);
  fs::create_directory(path);  // nothing can be read or written there
  EXPECT_FALSE(ours.load());
  ours.setText("dbPath", "mail");
  EXPECT_FALSE(ours.save());
  EXPECT_FALSE(ours.edit(adds("ours")));
  EXPECT_EQ(ours.find("rules")->array()->size(), 1U) << "in force all the same";
  fs::remove(path);
  PreferencesFile theirs(path);
  ASSERT_TRUE(theirs.edit(adds("theirs")));
  ASSERT_TRUE(ours.save());
  EXPECT_EQ(*ours.find("rules"),
            (PlistValue{PlistArray{{std::string("theirs")}, {std::string("ours")}}}));
  EXPECT_EQ(ours.text("dbPath"), "mail");
  fs::remove(path);
  ours.setInteger("separator", 2);
  ASSERT_TRUE(ours.save());
  ASSERT_TRUE(ours.load());
  EXPECT_TRUE(ours.has("rules")) << "all is written again when the file has gone";
}

TEST(PreferencesFile, KeepsADamagedFileAside) {
  const char* const damages[] = {"", "<plist><dict><key>connections</key><array>", "bplist00xx",
                                 "<plist><array/></plist>"};
  for (const char* damage : damages) {
    const TemporaryFolder folder;
    PreferencesFile prefs(folder.write("p.plist", damage));
    const Result<void> loaded = prefs.load();
    ASSERT_FALSE(loaded) << damage;
    EXPECT_TRUE(prefs.keys().empty());
    EXPECT_EQ(folder.read("p.plist"), damage) << "touched before anything is saved";
    prefs.setText("dbPath", "mail");
    ASSERT_TRUE(prefs.save());
    ASSERT_TRUE(prefs.save());
    const std::vector<std::string> names = namesIn(folder.path());
    ASSERT_EQ(names.size(), 2U) << damage;
    EXPECT_TRUE(names[1].starts_with("p.plist.damaged-")) << names[1];
    EXPECT_NE(loaded.error().find(names[1]), std::string::npos) << loaded.error();
    EXPECT_EQ(folder.read(names[1]), damage);
    ASSERT_TRUE(prefs.load());
    EXPECT_EQ(prefs.text("dbPath"), "mail");
  }
}

TEST(PreferencesFile, StaysAsItWasWhenTheWritingBreaksOff) {
  const TemporaryFolder folder;
  const std::string before = list("<key>dbPath</key><string>old</string>");
  const std::string path = folder.write("p.plist", before);
  for (const bool killed : {true, false}) {
    const auto save = [&path] {
      PreferencesFile prefs(path);
      if (!prefs.load()) return 1;
      prefs.setText("dbPath", std::string(100000, 'n'));
      return prefs.save() ? 2 : 3;
    };
    const int status = statusWithFileLimit(4096, save, killed);
    if (killed) {
      EXPECT_EQ(WTERMSIG(status), SIGXFSZ);
    } else {
      EXPECT_EQ(WEXITSTATUS(status), 3) << "the failure was not told";
    }
    EXPECT_EQ(folder.read("p.plist"), before);
  }
}

}  // namespace
}  // namespace keldane
