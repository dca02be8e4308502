#include "ingest/sources/mail_accounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/mailbox_names.h"
#include "ingest/sources/postbox_accounts.h"
#include "tests/support/mail_store_tree.h"

namespace keldane {
namespace {

using testing::ElementsAre;

using Texts = std::vector<std::string>;

Texts texts(const std::vector<AcctsRow>& rows) {
  Texts found;
  for (const AcctsRow& row : rows) found.push_back(row.acctDesc);
  return found;
}

Texts accountTexts(const std::vector<MailAccount>& accounts) {
  Texts found;
  for (const MailAccount& account : accounts) found.push_back(account.name + "=" + account.path);
  return found;
}

TEST(MailStoreProbe, TakesTheNewestLayoutThatIsThere) {
  struct {
    const char* name;
    Texts layouts;
    const char* suffix;
    const char* version;
  } const cases[] = {
      {"nothing", {}, "/Library/Mail", ""},
      {"V2 is part of the root", {"V2"}, "/Library/Mail/V2", ""},
      {"V3 goes before V2", {"V2", "V3"}, "/Library/Mail", "/V3"},
      {"two digits", {"V9", "V10", "V7"}, "/Library/Mail", "/V10"},
      {"unknown", {"V11", "V1"}, "/Library/Mail", ""},
  };
  for (const auto& c : cases) {
    const TemporaryFolder home;
    for (const std::string& layout : c.layouts) home.write("Library/Mail/" + layout + "/x", "");
    ProcessState process;
    process.homePath = home.path();
    probeMailStore(process);
    EXPECT_EQ(process.mailRootSuffix, c.suffix) << c.name;
    EXPECT_EQ(versionFolder(process), c.version) << c.name;
  }
}

TEST(AccountFolderId, IsWhatStandsBehindTheVersion) {
  struct {
    const char* name;
    const char* text;
    const char* version;
    const char* id;
  } const cases[] = {
      {"two digits", "Disk:Users:u:Library:Mail:V10:1-2:", "/V10", "1-2"},
      {"one digit", "Disk:Users:u:Library:Mail:V7:1-2:", "/V7", "1-2"},
      {"no flag is the oldest", "/Library/Mail/V3/IMAP-a", "", "IMAP-a"},
      {"already an id", "1-2", "/V10", "1-2"},
      {"cut off behind the version", "Disk:V9:", "/V9", ""},
      {"another version", "Disk:V9:a", "/V10", "DiskV9a"},
  };
  for (const auto& c : cases) EXPECT_EQ(accountFolderId(c.text, c.version), c.id) << c.name;
}

TEST(RowsOfAccounts, StandInTheOrderOfTheirNames) {
  const AccountRows rows = rowsOfAccounts({{"work 2", "~/Library/Mail/V2/c"},
                                           {"Work", "~/Library/Mail/V2/z"},
                                           {"", "~/Library/Mail/V2/Mailboxes"},
                                           {"", "~/Library/Mail/V2/POP-x"},
                                           {"LocalAccountName", "~/Library/Mail/V2/l"},
                                           {"Ann", "id"}},
                                          "/Library/Mail/V2");
  EXPECT_EQ(texts(rows.names), (Texts{"Ann", "POP-x", "Work", "work 2"}));
  EXPECT_EQ(texts(rows.ids), (Texts{"id", "POP-x", "z", "c"}));
}

TEST(AccountsInStore, AreItsFoldersUnderTheirAddresses) {
  const TemporaryFolder home;
  MailStoreTree tree(home, "V10");
  tree.addAccount({"11-A", "ann%40example.com"}, {"INBOX.mbox"});
  tree.addAccount({"22-B", "bob"}, {"INBOX.mbox"});
  tree.addAccount({"33-C", ""}, {"INBOX.mbox"});
  home.write("Library/Mail/V10/Signatures/x", "");
  home.write("Library/Mail/V10/.hidden/x", "");
  home.write("Library/Mail/V10/file", "");
  ProcessState process;
  process.homePath = home.path();
  probeMailStore(process);
  EXPECT_THAT(accountTexts(accountsInStore(process)),
              ElementsAre("ann@example.com=11-A", "bob@imap.example.com=22-B", "33-C=33-C"));
  home.write("Library/Mail/V10/MailData/Signatures/AccountsMap.plist", "<plist><dict>");
  EXPECT_THAT(accountTexts(accountsInStore(process)),
              ElementsAre("11-A=11-A", "22-B=22-B", "33-C=33-C"));
}

TEST(SelectableMailbox, EndsBehindTheLastExtension) {
  ProcessState process;
  process.homePath = "/Users/u";
  struct {
    const char* name;
    const char* path;
    std::optional<std::string> mailbox;
  } const cases[] = {
      {"message", "/Library/Mail/V10/12/INBOX.mbox/34/Data/Messages/1.emlx", "V10/12/INBOX.mbox"},
      {"nested", "/Library/Mail/V10/12/Work.mbox/Client.mbox/3/Data/Messages/1.emlx",
       "V10/12/Work.mbox/Client.mbox"},
      {"the folder itself", "/Library/Mail/V7/a/b.mbox/Messages", "V7/a/b.mbox"},
      {"older extension", "/Library/Mail/IMAP-a/INBOX.imapmbox/Messages/1.emlx",
       "IMAP-a/INBOX.imapmbox"},
      {"no messages", "/Library/Mail/V10/12/INBOX.mbox/Info.plist", std::nullopt},
      {"a mailbox of that name", "/Library/Mail/V10/12/Messages.mbox/Info.plist",
       "V10/12/Messages.mbox"},
      {"the word without its slash", "/Library/Mail/V10/12/Old Messages.mbox/Info.plist",
       std::nullopt},
      {"attachment", "/Library/Mail/V10/1/a.mbox/2/Data/Attachments/1/Messages/x", std::nullopt},
      {"data of the store", "/Library/Mail/V10/MailData/Messages/a.mbox", std::nullopt},
      {"no mailbox", "/Library/Mail/V10/12/Messages/1.emlx", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(selectableMailbox(c.path, process), c.mailbox) << c.name;
}

TEST(MailboxesInStore, AreFoundInEveryLayout) {
  for (const char* layout : {"V2", "V7", "V10"}) {
    const TemporaryFolder home;
    MailStoreTree tree(home, layout);
    tree.addAccount({"acct", "Ann"}, {"Work.mbox/Client.mbox", "INBOX.mbox", "Work.mbox"});
    tree.addPartial("acct", "INBOX.mbox");
    ProcessState process;
    process.homePath = home.path();
    probeMailStore(process);
    EXPECT_THAT(mailboxesInStore(process),
                testing::UnorderedElementsAre(tree.mailbox("acct", "INBOX.mbox"),
                                              tree.mailbox("acct", "Work.mbox"),
                                              tree.mailbox("acct", "Work.mbox/Client.mbox")))
        << layout;
  }
}

TEST(MailboxForDisplay, ShowsTheNameOfTheFirstAccountInIt) {
  const std::vector<MailAccount> accounts = {{"", "12"},
                                             {"No folder", ""},
                                             {"V2 only", "~/Library/Mail/V2/"},
                                             {"Ann", "~/Library/Mail/V2/12"},
                                             {"Later", "1"}};
  EXPECT_EQ(mailboxForDisplay("V10/12/INBOX.mbox", accounts), "V10/Ann/INBOX.mbox");
  EXPECT_EQ(mailboxForDisplay("V9/77/INBOX.mbox", accounts), "V9/77/INBOX.mbox");
}

TEST(PostboxAccounts, AreThoseOfTheProfile) {
  const TemporaryFolder home;
  const std::string data = "Library/Application Support/Postbox/";
  using Missing = PostboxAccounts::Missing;
  EXPECT_EQ(findPostboxAccounts(home.path(), false).missing, Missing::folders);
  home.write(data + "profiles.ini", "[Profile0]\nPath=Profiles/x.default\nDefault=1\n");
  EXPECT_EQ(findPostboxAccounts(home.path(), false).missing, Missing::prefsFile);
  home.write(data + "Profiles/x.default/prefs.js",
             "user_pref(\"mail.root.none\", \"/p/Mail\");\n"
             "user_pref(\"mail.server.server1.name\", \"On My Mac\");\n"
             "user_pref(\"mail.server.server1.directory-rel\", \"[ProfD]a\");\n"
             "user_pref(\"mail.server.server3.name\", \"Ann\");\n"
             "user_pref(\"mail.server.server3.directory-rel\", \"[ProfD]ImapMail/b\");\n"
             "user_pref(\"mail.server.server9.name\", \"cut off");
  const PostboxAccounts found = findPostboxAccounts(home.path(), false);
  EXPECT_EQ(found.mailRootSuffix, "/" + data + "Profiles/x.default");
  EXPECT_THAT(accountTexts(found.accounts), ElementsAre("Ann=/p/ImapMail/b"));
}

}  // namespace
}  // namespace keldane
