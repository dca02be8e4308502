#include "ingest/mail_walk.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/ingest/reader_bench.h"

namespace keldane {
namespace {

std::string mail(const std::string& body) {
  return "From: Ann <ann@example.com>\nDate: Mon, 15 Jan 2024 10:20:30 +0000\n\n" + body;
}

class MailWalkTest : public testing::Test, public ReaderBench {
 protected:
  void walk() {
    MailWalk({.process = process,
              .settings = *settings,
              .sources = sources,
              .reader = reader,
              .ledger = ledger,
              .getMailboxNames = [this] { ++mailboxListings; },
              .storeLog = [this](const std::string& line) { log += line; }})
        .getEmailPaths();
  }

  int mailboxListings = 0;
};

TEST_F(MailWalkTest, ReadsTheChosenAccountsOfTheNewestStore) {
  process.hasMailV[0] = process.hasMailV[7] = true;
  settings->selectedAccounts = {"12", "gone"};
  folder.write("Library/Mail/V10/12/INBOX.mbox/Data/Messages/1.emlx", mail("x\n"));
  folder.write("Library/Mail/V10/12/Archive.mbox/2.emlx", mail("x\n"));
  folder.write("Library/Mail/V10/12/INBOX.mbox/Info.plist", "x");
  folder.write("Library/Mail/V10/34/INBOX.mbox/3.emlx", mail("x\n"));
  folder.write("Library/Mail/V3/12/INBOX.mbox/4.emlx", mail("x\n"));
  walk();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].msgMailbox, "V10/12/INBOX");
  EXPECT_EQ(ledger.sums().met, 1);
  EXPECT_EQ(ledger.sums().notMail, 2);
}

TEST_F(MailWalkTest, ReadsTheChosenMailboxes) {
  process.hasMailV[7] = true;
  archive.mailboxesState = 1;
  settings->selectedMailboxes = {"V10/12/Archive.mbox"};
  folder.write("Library/Mail/V10/12/Archive.mbox/1.emlx", mail("x\n"));
  walk();
  EXPECT_EQ(stored.size(), 1U);
  EXPECT_EQ(mailboxListings, 1);
}

TEST_F(MailWalkTest, ImportsPlainPathsAndEmptiesTheFolderAtTheEnd) {
  sources.importMode = sources.deleteImportFiles = sources.mailboxNamesLoaded = true;
  const std::string single = folder.write("single.eml", mail("x\n"));
  folder.write("import/box", "From a\n" + mail("x\n"));
  folder.write("import/sub/.hidden", "x");
  std::filesystem::create_symlink(single, folder / "import/link.eml");
  archive.importFolderPath = folder / "import";
  sources.acctRows = {{false, single}, {true, folder / "import"}};
  walk();
  EXPECT_EQ(stored.size(), 3U);
  EXPECT_TRUE(std::filesystem::is_empty(folder / "import"));
  EXPECT_TRUE(std::filesystem::exists(single));
  EXPECT_FALSE(sources.deleteImportFiles);
  EXPECT_FALSE(sources.mailboxNamesLoaded);
}

TEST_F(MailWalkTest, ACancelledWalkStopsBeforeTheNextFileAndRemovesNothing) {
  sources.importMode = sources.deleteImportFiles = true;
  folder.write("import/1.eml", mail("x\n"));
  folder.write("import/2.eml", mail("x\n"));
  archive.importFolderPath = folder / "import";
  sources.acctRows = {{true, folder / "import"}};
  onStore = [this](const CurrentMessage&) { process.cancelFlag = 1; };
  walk();
  EXPECT_EQ(stored.size(), 1U);
  EXPECT_EQ(process.cancelFlag, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "import/1.eml"));
}

}  // namespace
}  // namespace keldane
