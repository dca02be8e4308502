#include "settings/mail_folders.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

using testing::HasSubstr;

TEST(MailFolders, TakeWhatIsThereAndNotRepeated) {
  const TemporaryFolder home;
  home.write("Mail/work/1.eml", "");
  home.write("Mail/old.mbox", "");
  home.write("outside", "");
  std::filesystem::create_directory_symlink(home / "Mail", home / "link");
  const std::vector<MailFolder> kept = {{"Work", home / "Mail/work"},
                                        {"old.mbox", "/gone/old.mbox"}};
  struct {
    const char* name;
    std::string path, wanted;
    const char* answer;  ///< the name it gets, or "!" and part of the failure
  } const cases[] = {
      {"a file", home / "outside", "", "outside"},
      {"a name that is taken gives way", home / "Mail/old.mbox", "", "old.mbox 2"},
      {"with dots and a slash", home / "Mail/../Mail//old.mbox/", "Box", "Box"},
      {"nothing there", home / "none", "", "!there is no folder or file"},
      {"kept", home / "Mail/work/", "", "!is kept already, as \"Work\""},
      {"in a kept one", home / "Mail/work/1.eml", "", "!lies in the source \"Work\""},
      {"kept, through a link", home / "link/work", "", "!is kept already, as \"Work\""},
      {"above a kept one", home / "Mail", "", "!holds the source \"Work\""},
      {"home", home.path(), "", "!the home folder and those above it"},
      {"root", "/", "", "!the home folder and those above it"},
      {"a taken name", home / "outside", "WORK", "!choose another name"},
      {"a name like a path", home / "outside", "a/b", "!is no name"},
      {"a name of the walk", home / "outside", "a:::::b", "!is no name"},
      {"a long name", home / "outside", std::string(101, 'n'), "!is no name"},
      {"a name that steers", home / "outside", "a\x1b[2J", "!is no name"},
  };
  for (const auto& c : cases) {
    const Result<MailFolder> made = makeMailFolder(c.path, c.wanted, kept, home.path());
    const std::string answer = c.answer;
    if (answer.starts_with('!')) {
      EXPECT_FALSE(made) << c.name;
      EXPECT_THAT(made ? "" : made.error(), HasSubstr(answer.substr(1))) << c.name;
    } else {
      ASSERT_TRUE(made) << c.name << ": " << made.error();
      EXPECT_EQ(made->name, answer) << c.name;
      EXPECT_TRUE(isThere(*made)) << c.name;
    }
  }
  EXPECT_EQ(findMailFolder(kept, "work"), &kept[0]);
  EXPECT_EQ(findMailFolder(kept, home / "Mail/work/"), &kept[0]);
  EXPECT_EQ(findMailFolder(kept, "/gone"), nullptr);
  EXPECT_EQ(freeName("a/b:\n", {}), "a b");
  EXPECT_EQ(freeName("\x01", {}), "Mail");
}

TEST(MailFolders, ChangesOfTwoProgramsStand) {
  const TemporaryFolder home;
  PreferencesFile ours(home / "p.plist");
  PreferencesFile theirs(home / "p.plist");
  const MailFolder one{"One", "/one"};
  const MailFolder two{"Tw\xC3\xB6 & <2>", "/two"};
  const MailFolder three{"Three", "/three"};
  ASSERT_TRUE(keepMailFolder(ours, one));
  ASSERT_TRUE(keepMailFolder(theirs, two));
  ASSERT_TRUE(keepMailFolder(ours, three));
  ASSERT_TRUE(keepMailFolder(theirs, three));
  EXPECT_EQ(readMailFolders(theirs), (std::vector<MailFolder>{one, two, three}));
  ASSERT_TRUE(forgetMailFolder(ours, two));
  ASSERT_TRUE(theirs.load());
  EXPECT_EQ(readMailFolders(theirs), (std::vector<MailFolder>{one, three}));
}

}  // namespace
}  // namespace keldane
