#include "cli/settings_keys.h"

#include <filesystem>

#include "tests/settings/settings_rig.h"

namespace keldane {
namespace {

TEST(SettingsKeys, TakeWhatTheirControlTakes) {
  SettingsRig rig;
  const std::string folder = rig.folder / "in";
  const std::string quoted = rig.folder / "a\"b";
  const std::string file = rig.folder.write("file", "");
  std::filesystem::create_directories(folder);
  std::filesystem::create_directories(quoted);
  const std::string link = rig.folder / "link";
  std::filesystem::create_directory_symlink(rig.folder.path(), link);
  struct {
    const char* name;
    std::string key, value;
    const char* error;  ///< part of it; empty: accepted
  } const cases[] = {
      {"word", "trashState", "on", ""},
      {"no word", "trashState", "maybe", "trashState takes on or off, not \"maybe\""},
      {"number", "limitSearchSize", "50", ""},
      {"text for a number", "limitSearchSize", "fifty", "a whole number from 0 to 999999999"},
      {"statement for a number", "limitSearchSize", "1\",2", "a whole number"},
      {"beyond the range", "hoursStep", "24", "from 1 to 23"},
      {"longer than any number", "hoursStep", "99999999999999999999", "from 1 to 23"},
      {"size", "attachSize", "2.5", ""},
      {"negative size", "attachSize", "-1", "a number such as 1.6"},
      {"half a size", "attachSize", "2.", "a number such as 1.6"},
      {"choice", "dateFormat", "day-first", ""},
      {"no choice", "separator", "2", "separator takes -, /, ., not \"2\""},
      {"field", "sortField", "subject", ""},
      {"a field that would not last", "sortField", "from", "date, subject, mailbox"},
      {"an import without its folder", "importFolderState", "on", "choose the folder first"},
      {"folder", "importFolderPath", folder, ""},
      {"folder then", "importFolderState", "on", ""},
      {"no folder", "importFolderPath", folder + "/none", "a folder that exists"},
      {"file", "importFolderPath", file, "a folder that exists"},
      {"quote", "importFolderPath", quoted, "double quote"},
      {"home", "importFolderPath", rig.folder.path(), "home folder"},
      {"root", "importFolderPath", "/", "home folder"},
      {"link to the home", "importFolderPath", link, "home folder"},
      {"through a link", "importFolderPath", link + "/in", ""},
      {"unknown", "noSuch", "1", "there is no setting \"noSuch\""},
  };
  for (const auto& c : cases) {
    const std::string before = settingValue(rig.settings, c.key).has_value()
                                   ? settingValue(rig.settings, c.key).value()
                                   : "";
    const Result<void> put = setSettingValue(rig.settings, c.key, c.value, rig.process.homePath);
    if (*c.error == '\0') {
      EXPECT_TRUE(put) << c.name;
      EXPECT_EQ(settingValue(rig.settings, c.key).value(), c.value) << c.name;
      continue;
    }
    ASSERT_FALSE(put) << c.name;
    EXPECT_NE(put.error().find(c.error), std::string::npos) << c.name << ": " << put.error();
    if (const Result<std::string> now = settingValue(rig.settings, c.key); now.has_value()) {
      EXPECT_EQ(*now, before) << c.name;
    }
  }
  EXPECT_EQ(rig.settings.archive.importFolderState, 1);
  EXPECT_TRUE(setSettingValue(rig.settings, "importFolderPath", "", rig.process.homePath));
  EXPECT_EQ(rig.settings.archive.importFolderState, 0);
}

TEST(SettingsKeys, EachShowsAValueThatItAccepts) {
  SettingsRig rig;
  for (const SettingKey& key : settingKeys()) {
    const std::string value = settingValue(rig.settings, key.name).value();
    EXPECT_TRUE(setSettingValue(rig.settings, key.name, value, rig.process.homePath)) << key.name;
    EXPECT_EQ(settingValue(rig.settings, key.name).value(), value) << key.name;
  }
}

}  // namespace
}  // namespace keldane
