#include "ingest/sources/mail_finder.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/sources/exported_mail.h"
#include "ingest/sources/message_counter.h"
#include "tests/support/fake_environment.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

const std::string kMessage =
    "From a@b.c Mon Jan  1 12:00:00 2004\nFrom: a@b.c\nSubject: x\n\nFrom here on text.\n\n";

std::string mboxOf(int messages) {
  std::string mbox;
  while (messages-- > 0) mbox += kMessage;
  return mbox;
}

std::string shown(const FoundSources& found) {
  std::string lines;
  for (const FoundMail& mail : found.mail) {
    lines += std::string(mailKindName(mail.kind)) + "|" + mail.folder.name + "|" +
             std::to_string(mail.messages) + "\n";
  }
  return lines;
}

FoundSources find(const TemporaryFolder& home) {
  Progress progress;
  return findMail({home.path(), {home / "spool/ann"}}, progress);
}

TEST(MailFinder, TellsEachPlaceOnceWithItsMessages) {
  const TemporaryFolder home;
  home.write("Maildir/cur/1:2,S", "Subject: x\n\n");
  home.write("Maildir/cur/2:2,ST", "Subject: x\n\n");
  home.write("Maildir/new/3", "Subject: x\n\n");
  home.write("Maildir/tmp/4", "Subj");
  home.write("Maildir/dovecot-uidlist", "3 V1 N3\n");
  std::filesystem::create_symlink(home / "Maildir", home / "Mail");
  std::filesystem::create_symlink(home / "Maildir", home / "Maildir/.again");
  home.write("mail/sent", mboxOf(2));
  home.write("mail/sent.msf", "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n");
  home.write("mail/subscriptions", mboxOf(1));
  home.write("mail/notes.txt", "Not mail: at all\n");
  home.write("spool/ann", mboxOf(1));
  home.write("old/pictures/in.mbox", mboxOf(1));  // not where mail is looked for
  EXPECT_EQ(shown(find(home)),
            "Maildir|Maildir|3\n"
            "mbox files|mail|3\n"
            "system mailbox|Spool|1\n");
}

TEST(MailFinder, FilesOfOutlookAreToldWithTheirConverter) {
  const TemporaryFolder home;
  home.write("Documents/Outlook Files/old.pst", "!BDN");
  const FoundSources found = find(home);
  ASSERT_EQ(shown(found), "Outlook file|old|0\n");
  EXPECT_TRUE(found.mail[0].isUncounted);
  EXPECT_FALSE(found.mail[0].canBeKept());
  EXPECT_NE(found.mail[0].advice.find("readpst (package pst-utils)"), std::string::npos);
}

TEST(MailFinder, PlacesOfOneNameAreToldApart) {
  const TemporaryFolder home;
  home.write("Downloads/In.mbox", mboxOf(1));
  home.write("Documents/in.mbox/mbox", mboxOf(2));
  EXPECT_EQ(shown(find(home)), "exported mail|In|1\nexported mail|in 2|2\n");
}

TEST(MailFinder, TheSpoolIsThatOfTheUser) {
  FakeEnvironment environment;
  environment.variables = {{"LOGNAME", "ann"}};
  EXPECT_EQ(mailPlacesOf("/h", environment).spools,
            (std::vector<std::string>{"/var/mail/ann", "/var/spool/mail/ann"}));
  environment.variables = {{"LOGNAME", "../x"}};
  EXPECT_TRUE(mailPlacesOf("/h", environment).spools.empty());
  environment.variables = {{"LOGNAME", "ann"}, {"MAIL", "/s/ann"}};
  EXPECT_EQ(mailPlacesOf("/h", environment).spools, std::vector<std::string>{"/s/ann"});
}

TEST(ExportedMail, IsSoughtInTheUsersFoldersUpToALimit) {
  const TemporaryFolder home;
  home.write(".config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/Ladd ner\"\n");
  home.write("Ladd ner/a/1.mbox", "");
  home.write("Ladd ner/a/2.MBOX", "");
  home.write("Ladd ner/b/1.mbox", "");
  home.write("Ladd ner/b/2.mbox", "");
  home.write("Ladd ner/b/picture.png", "");
  home.write("Ladd ner/c/d/e/f/deep.mbox", "");
  home.write("Ladd ner/c/d/e/f/g/deeper.mbox", "");
  home.write("Ladd ner/takeout-1.tgz", "");
  const auto paths = [&home](const ExportLimits& limits) {
    std::string all;
    const ExportedMail found = findExportedMail(home.path(), {}, limits);
    for (const MailPlace& place : found.places) all += place.folder.path.substr(home.path().size());
    for (const MailPlace& place : found.packed) all += " " + place.folder.name;
    return all;
  };
  // A folder of nothing else is one place.
  EXPECT_EQ(paths({}),
            "/Ladd ner/a/Ladd ner/b/1.mbox/Ladd ner/b/2.mbox/Ladd ner/c/d/e/f/deep.mbox takeout-1");
  EXPECT_EQ(paths({.entries = 100, .depth = 0}), " takeout-1");
  EXPECT_EQ(paths({.entries = 3, .depth = 4}), "");
}

TEST(MessageCounter, CountsWhereverABlockEnds) {
  const TemporaryFolder home;
  // Of a size that the blocks of the reading cut in every way.
  const int many = 20000;
  const std::string path = home.write("x.mbox", std::string("From: a@b.c\n\n") + mboxOf(many));
  Progress progress;
  MessageCounter counter(progress, {});
  EXPECT_EQ(counter.count(home.write("y.mbox", mboxOf(many))).messages(), many);
  EXPECT_EQ(counter.count(path).messages(), many + 1);
}

TEST(MessageCounter, EstimatesWhatIsBehindItsLimits) {
  const TemporaryFolder home;
  Progress progress;
  MessageCounter counter(progress, {}, {.countedBytes = 100, .sampleBytes = 100, .files = 2});
  const MailCount large = counter.count(home.write("m/a.mbox", mboxOf(30000)));
  EXPECT_TRUE(large.isEstimate);
  EXPECT_NEAR(static_cast<double>(large.messages()), 30000, 300);
  home.write("m/b.eml", "Subject: x\n\n");
  home.write("m/c.eml", "Subject: x\n\n");
  EXPECT_TRUE(counter.count(home / "m").isEstimate);
}

}  // namespace
}  // namespace keldane
