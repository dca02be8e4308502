#include "app/panels/source_chooser.h"

#include <filesystem>
#include <memory>

#include "app/panels/folder_table.h"
#include "ingest/sources/mail_store_probe.h"
#include "tests/app/panels_rig.h"
#include "tests/support/mail_store_tree.h"

namespace keldane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNoMail =
    "alert [Keldane was unable to open the Mail application in order to retrieve the email account "
    "names to be listed in the Accounts tab of the Settings.] Searching will still work, but "
    "updating the list of accounts or mailboxes will not be possible.";

class SourceChooserTest : public testing::Test, protected ScriptedPanels {
 protected:
  SourceChooserTest() {
    process.workFolder = "/work";
    database.dbPath = "sub/mail";
  }

  /// Ann (z-1) and Bob (a-2), each with INBOX and Sent.
  MailStoreTree& store(const std::string& layout) {
    tree = std::make_unique<MailStoreTree>(home, layout);
    tree->addAccount({"z-1", "ann%40example.com"}, {"INBOX.mbox", "Sent.mbox"});
    tree->addAccount({"a-2", "bob%40example.com"}, {"INBOX.mbox"});
    probeMailStore(process);
    return *tree;
  }

  /// The rows with "+" before those that are checked.
  static std::vector<std::string> marked(const std::vector<AcctsRow>& rows) {
    std::vector<std::string> lines;
    for (const AcctsRow& row : rows) lines.push_back((row.acctCheck ? "+" : "-") + row.acctDesc);
    return lines;
  }

  void chooseMailboxes() {
    form.selectAcctsMboxMatrix = 1;
    chooser.selectMailboxes();
  }

  const TemporaryFolder& home = folder;
  SettingsForm form;
  MailSources sources{process, settings, host};
  SourceChooser chooser{{process, settings, form, sources, database, progress, ui}};
  std::unique_ptr<MailStoreTree> tree;
};

TEST_F(SourceChooserTest, AClickChoosesTheAccountThatIsShownInItsRow) {
  for (const char* layout : {"V2", "V7", "V10"}) {
    process.hasMailV = {};
    store(layout);
    settings.selectedAccounts = {"a-2"};
    chooser.fillSelectionTable();
    const std::string ann = layout == std::string("V2") ? "ann%40example.com" : "ann@example.com";
    ASSERT_EQ(sources.acctRows.size(), 2U) << layout;
    EXPECT_EQ(sources.shownRows()[0].acctDesc, ann) << layout;
    EXPECT_THAT(marked(sources.acctRows), ElementsAre("-z-1", "+a-2")) << layout;
    EXPECT_TRUE(sources.shownRows()[1].acctCheck) << layout;
    chooser.didClickAcctCheck(0);
    EXPECT_THAT(settings.selectedAccounts, ElementsAre("z-1", "a-2")) << layout;
    EXPECT_TRUE(sources.shownRows()[0].acctCheck) << layout;
    chooser.didClickAcctCheck(1);
    chooser.didClickAcctCheck(2);
    EXPECT_THAT(settings.selectedAccounts, ElementsAre("z-1")) << layout;
    std::filesystem::remove_all(home / ("Library/Mail/" + std::string(layout)));
    sources.acctRowsLoaded = false;
  }
  EXPECT_THAT(ui.alertLines(), IsEmpty());
}

TEST_F(SourceChooserTest, MailboxesAreAllCheckedUntilSomeAreChosen) {
  store("V10");
  chooseMailboxes();
  EXPECT_THAT(marked(sources.acctRows),
              ElementsAre("+V10/a-2/INBOX.mbox", "+V10/z-1/INBOX.mbox", "+V10/z-1/Sent.mbox"));
  EXPECT_THAT(marked(sources.shownRows()),
              ElementsAre("+V10/bob@example.com/INBOX.mbox", "+V10/ann@example.com/INBOX.mbox",
                          "+V10/ann@example.com/Sent.mbox"));
  EXPECT_THAT(sources.selectedRows, ElementsAre(0U, 1U, 2U));
  EXPECT_THAT(ui.lines("progress"),
              ElementsAre("progress Looking for mailboxes...", "progress end"));
  EXPECT_EQ(process.tmpFilePath, "/work/sub/mail.tmp");

  settings.selectedMailboxes = {"V10/z-1/Sent.mbox", "V10/gone.mbox"};
  chooser.getMailboxNames();
  EXPECT_THAT(marked(sources.acctRows),
              ElementsAre("-V10/a-2/INBOX.mbox", "-V10/z-1/INBOX.mbox", "+V10/z-1/Sent.mbox"));
  EXPECT_THAT(sources.selectedRows, IsEmpty());
  chooser.didClickAcctCheck(0);
  EXPECT_THAT(settings.selectedMailboxes, ElementsAre("V10/a-2/INBOX.mbox", "V10/z-1/Sent.mbox"));
}

TEST_F(SourceChooserTest, TheSaveButtonTakesTheCheckBoxes) {
  store("V10");
  settings.selectedAccounts = {"gone"};
  chooser.rebuildSelection();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("gone")) << "from a table never filled";
  chooser.fillSelectionTable();
  chooser.checkAllAccts();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("gone")) << "before the button";
  chooser.rebuildSelection();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("z-1", "a-2"));
  chooser.uncheckAllAccts();
  settings.archive.postbox = 1;
  chooser.rebuildSelection();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("z-1", "a-2")) << "with the other client";
  settings.archive.postbox = 0;
  chooser.rebuildSelection();
  EXPECT_THAT(settings.selectedAccounts, IsEmpty());
}

TEST_F(SourceChooserTest, PathsToImportNeverBecomeAccounts) {
  store("V10");
  settings.selectedAccounts = {"a-2"};
  chooser.fillSelectionTable();
  chooser.openMbox();  // cancelled
  EXPECT_FALSE(sources.importMode);
  ui.chosenFiles = {{"/in/a.mbox", "/in/folder"}};
  chooser.openMbox();
  EXPECT_TRUE(sources.importMode);
  EXPECT_THAT(marked(sources.acctRows), ElementsAre("+/in/a.mbox", "+/in/folder"));
  EXPECT_EQ(ui.choosers[1].title, "Import MBOX Files");
  EXPECT_TRUE(ui.choosers[1].files && ui.choosers[1].folders && ui.choosers[1].several);
  EXPECT_THAT(ui.calls, Contains("sheet storeDatePanel"));
  chooser.didClickAcctCheck(0);
  chooser.rebuildSelection();
  chooser.saveSelectedSources();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("a-2"));
  chooser.fillSelectionTable();
  EXPECT_THAT(marked(sources.acctRows), ElementsAre("-z-1", "+a-2"));
}

TEST_F(SourceChooserTest, HighlightedRowsAreSavedWithTheConnections) {
  store("V10");
  settings.selectedAccounts = {"kept"};
  chooser.saveSelectedSources();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("kept"));
  chooser.fillSelectionTable();
  sources.selectedRows = {1, 5};
  chooser.saveSelectedSources();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("a-2"));
}

TEST_F(SourceChooserTest, AnotherClientShowsItsRowsChecked) {
  store("V10");
  form.selectEmailAppMatrix = 1;
  chooser.selectEmailApp();
  EXPECT_EQ(settings.archive.postbox, 1);
  EXPECT_FALSE(sources.acctRowsLoaded);
  form.selectEmailAppMatrix = 0;
  chooser.selectEmailApp();
  EXPECT_THAT(marked(sources.acctRows), ElementsAre("+z-1", "+a-2"));
  settings.archive.mailboxesState = 1;
  settings.selectedMailboxes = {"none of these"};
  chooser.selectEmailApp();
  EXPECT_EQ(marked(sources.acctRows)[0], "+V10/a-2/INBOX.mbox");
  EXPECT_EQ(process.tmpFilePath, "/work/mail.tmp");
}

TEST_F(SourceChooserTest, AStoreWithoutAListOfAccountsShowsItsFolders) {
  home.write("Library/Mail/V2/b/INBOX.mbox/x", "");
  home.write("Library/Mail/V2/A/INBOX.mbox/x", "");
  home.write("Library/Mail/V2/Mailboxes/x", "");
  home.write("Library/Mail/V2/file", "");
  probeMailStore(process);
  chooser.loadAccountRows();
  EXPECT_THAT(marked(sources.acctRows), ElementsAre("-A", "-b"));
  home.write("Library/Preferences/com.apple.mail.plist",
             "<plist><dict><key>MailAccounts</key><array><dict><key>AccountPath</key>"
             "<string>~/Library/Mail/V2/b</string></dict></array></dict></plist>");
  chooser.loadAccountRows();
  EXPECT_THAT(marked(sources.acctRows), ElementsAre("-b"));
}

TEST_F(SourceChooserTest, LeavesTheMailApplicationAsItFoundIt) {
  store("V10");
  host.mailApplication = true;
  host.accounts = std::vector<MailAccount>{{"Home", "Disk:Users:u:Library:Mail:V10:z-1"}};
  host.running = {{"Mail", "", 7}, {"Mailer", "", 8}};
  EXPECT_TRUE(sources.makeV3dict());
  ASSERT_EQ(sources.mailAccounts.size(), 1U);
  EXPECT_EQ(sources.mailAccounts[0].path, "z-1");
  EXPECT_THAT(host.calls, ElementsAre("mailAccounts", "terminate Mail"));
  host.running = {{"Mail", "com.apple.mail", 7}};
  EXPECT_TRUE(sources.makeV3dict());
  EXPECT_THAT(host.calls, ElementsAre("mailAccounts", "terminate Mail", "mailAccounts"));
}

TEST_F(SourceChooserTest, FoldersAreKeptAsTheyAreAddedAndFound) {
  FolderTable table({settings, process, environment, progress, ui});
  home.write("Mail/work/1.eml", "From: a@b.c\n\nx\n");
  home.write("Maildir/cur/1", "From: a@b.c\n\nx\n");
  home.write("Maildir/new/x", "");
  home.write("Maildir/tmp/x", "");
  ui.chosenFiles = {{home / "Mail/work", home / "none"}};
  table.addFolders();
  EXPECT_THAT(ui.alertLines(), ElementsAre(testing::HasSubstr("there is no folder or file")));
  ASSERT_EQ(table.folderRows().size(), 1U);
  EXPECT_EQ(table.folderRows()[0].folderName, "work");

  table.findMail();
  EXPECT_EQ(ui.calls.back(), "sheet foundMailSheet");
  std::size_t fresh = 0;
  while (fresh < table.foundRows().size() && !table.foundRows()[fresh].foundCheck) ++fresh;
  ASSERT_LT(fresh, table.foundRows().size());
  EXPECT_EQ(table.foundRows()[fresh].mail.folder.path, home / "Maildir");
  table.didClickFoundCheck(fresh);
  EXPECT_FALSE(table.foundRows()[fresh].foundCheck);
  table.didClickFoundCheck(fresh);
  table.addFound();
  ASSERT_EQ(table.folderRows().size(), 2U);
  table.findMail();
  for (const FoundRow& row : table.foundRows()) EXPECT_FALSE(row.foundCheck) << "kept by now";

  table.selectedRows = {0, 1, 7};
  table.removeFolders();
  PreferencesFile again(prefs.path());
  ASSERT_TRUE(again.load());
  EXPECT_EQ(again.find("mailFolders")->array()->size(), 0U);
  EXPECT_THAT(table.folderRows(), IsEmpty());
}

TEST_F(SourceChooserTest, TellsThatTheMailApplicationDoesNotAnswer) {
  store("V10");
  host.mailApplication = true;
  settings.selectedAccounts = {"z-1"};
  chooser.fillSelectionTable();
  EXPECT_THAT(ui.alertLines(), ElementsAre(kNoMail));
  EXPECT_THAT(sources.acctRows, testing::SizeIs(0));
  chooser.rebuildSelection();
  EXPECT_THAT(settings.selectedAccounts, ElementsAre("z-1")) << "the choice is lost";
  chooseMailboxes();
  EXPECT_EQ(sources.shownRows()[0].acctDesc, "V10/a-2/INBOX.mbox") << "keeps its folder id";
  ui.alerts.clear();
  ui.calls.clear();
  process.unattendedRun = 1;
  chooser.loadAccountRows();
  EXPECT_THAT(ui.alertLines(), IsEmpty());
}

}  // namespace
}  // namespace keldane
