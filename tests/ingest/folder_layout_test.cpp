#include "ingest/sources/folder_layout.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

struct NameCase {
  const char* name;
  std::vector<const char*> files;  ///< the first one is asked for
  const char* kept;                ///< folder or file that is kept as "Mine"
  MailForm form;
  const char* mailbox;
};

class FolderLayoutName : public testing::TestWithParam<NameCase> {};

TEST_P(FolderLayoutName, IsWhatItsUserReads) {
  const TemporaryFolder home;
  for (const char* file : GetParam().files) home.write(file, "Subject: x\n\n");
  FolderLayout layout("Mine", home / GetParam().kept);
  const std::string path = home / GetParam().files.front();
  EXPECT_EQ(layout.formOf(path), GetParam().form);
  EXPECT_EQ(layout.mailboxOf(path, layout.formOf(path)), GetParam().mailbox);
}

constexpr MailForm kMaildir = MailForm::maildirMessage;
constexpr MailForm kSeveral = MailForm::several;

INSTANTIATE_TEST_SUITE_P(
    FolderLayout, FolderLayoutName,
    testing::Values(
        NameCase{"MboxFile", {"mail/Letters.mbox"}, "mail/Letters.mbox", kSeveral, "Mine"},
        NameCase{"MessageOfMh", {"mail/a/2004"}, "mail", MailForm::mhMessage, "Mine/a"},
        NameCase{"ExportedFolder", {"x/In.mbox/mbox"}, "x", kSeveral, "Mine/In"},
        NameCase{"ExportedFolderAlone", {"In.mbox/mbox"}, "In.mbox", kSeveral, "Mine"},
        NameCase{"FolderOfThunderbird", {"t/2004.sbd/In"}, "t", kSeveral, "Mine/2004/In"},
        NameCase{"Profile",
                 {"t/Mail/Local Folders/Inbox", "t/prefs.js"},
                 "t",
                 kSeveral,
                 "Mine/Local Folders/Inbox"},
        NameCase{"MaildirAlone", {"m/cur/1:2,S", "m/new/2"}, "m", kMaildir, "Mine"},
        NameCase{"MaildirWithFolders",
                 {"m/cur/1:2,S", "m/new/2", "m/.Sent/cur/3"},
                 "m",
                 kMaildir,
                 "Mine/INBOX"},
        NameCase{"DotsForLevels",
                 {"m/.Sent.2004/cur/1", "m/.Sent.2004/new/2"},
                 "m",
                 kMaildir,
                 "Mine/Sent/2004"},
        NameCase{"CodedName",
                 {"m/.R&AOk-union.&2D3eAA-/cur/1", "m/.R&AOk-union.&2D3eAA-/new/2"},
                 "m",
                 kMaildir,
                 "Mine/R\u00E9union/\U0001F600"},
        NameCase{"BeingDelivered",
                 {"m/tmp/1", "m/cur/2", "m/new/3"},
                 "m",
                 MailForm::undelivered,
                 "Mine"},
        NameCase{"FolderThatIsCalledNew", {"m/new/Inbox"}, "m", kSeveral, "Mine/new/Inbox"},
        NameCase{"FoldersOfKMail",
                 {"k/.in.directory/Work/cur/1", "k/.in.directory/Work/new/2"},
                 "k",
                 kMaildir,
                 "Mine/in/Work"},
        NameCase{"CacheOfEvolution",
                 {"e/folders/INBOX/subfolders/Work/cur/3f/17"},
                 "e",
                 kMaildir,
                 "Mine/INBOX/Work"},
        NameCase{"SingleMessage", {"x/letters/a.eml"}, "x", MailForm::messageFile, "Mine/letters"}),
    [](const auto& row) { return row.param.name; });

TEST(FolderLayout, TheMboxOfAYearIsNoMessageOfMh) {
  const TemporaryFolder home;
  const std::string path = home.write("mail/2004", "From a@b.c Mon Jan  1 12:00:00 2004\n");
  FolderLayout layout("Mine", home / "mail");
  EXPECT_EQ(layout.formOf(path), kSeveral);
  EXPECT_EQ(layout.mailboxOf(path, kSeveral), "Mine/2004");
}

TEST(FolderLayout, AProfileHasTheAccountsOfItsSettingsUnderTheirNames) {
  const TemporaryFolder home;
  home.write("p/prefs.js",
             "user_pref(\"mail.server.server2.directory\", \"" + home.path() + "/old/imap\");\n" +
                 "user_pref(\"mail.server.server2.directory-rel\", \"[ProfD]ImapMail/imap\");\n"
                 "user_pref(\"mail.server.server2.name\", \"Ann \\\"at work\\\"\");\n"
                 "user_pref(\"mail.server.server3.directory\", \"" +
                 home.path() +
                 "/far\");\n"
                 "user_pref(\"mail.server.server4.directory-rel\", \"[ProfD]News/n\");\n"
                 "user_pref(\"mail.server.server4.type\", \"nntp\");\n");
  const std::string imap = home.write("p/ImapMail/imap/INBOX", "");
  const std::string far = home.write("far/Inbox", "");
  const std::string unlisted = home.write("p/Mail/gone/Inbox", "");
  home.write("p/News/n/group", "");
  home.write("old/imap/INBOX", "");
  FolderLayout layout("T", home / "p");
  EXPECT_EQ(layout.places(), (std::vector<std::string>{home / "p/ImapMail/imap", home / "far",
                                                       home / "p/Mail/gone"}));
  EXPECT_EQ(layout.mailboxOf(imap, kSeveral), "T/Ann \"at work\"/INBOX");
  EXPECT_EQ(layout.mailboxOf(far, kSeveral), "T/far/Inbox");
  EXPECT_EQ(layout.mailboxOf(unlisted, kSeveral), "T/gone/Inbox");
}

TEST(FolderLayout, ANameThatIsNotCodedStands) {
  for (const char* name : {"R&D", "R&D-2", "A&B-C", "&", "&AOk", "&2D0-", "a&-b&"}) {
    const std::string decoded = decodeFolderName(name);
    EXPECT_EQ(decoded, name == std::string("a&-b&") ? "a&b&" : name);
  }
}

}  // namespace
}  // namespace keldane
