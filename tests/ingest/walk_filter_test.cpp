#include "ingest/sources/walk_filter.h"

#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

struct PathCase {
  const char* name;
  WalkFilter filter;
  const char* path;
  const char* exclusion;
};

class WalkFilterPath : public testing::TestWithParam<PathCase> {};

TEST_P(WalkFilterPath, IsReadOrNot) {
  EXPECT_EQ(GetParam().filter.exclusion(GetParam().path).value_or(""), GetParam().exclusion);
}

constexpr WalkFilter kAccounts{};
constexpr WalkFilter kAccountsWithTrashAndJunk{false, false, true, true};
constexpr WalkFilter kMailboxes{false, true, false, false};
constexpr WalkFilter kImport{true, false, false, false};
constexpr WalkFilter kImportWithMailboxes{true, true, false, false};

INSTANTIATE_TEST_SUITE_P(
    WalkFilter, WalkFilterPath,
    testing::Values(PathCase{"InBox", kAccounts, "/m/V10/1/INBOX.mbox/1.emlx", ""},
                    PathCase{"SentBox", kAccounts, "/m/V10/1/Sent Messages.mbox/1.emlx", ""},
                    PathCase{"OtherBox", kAccounts, "/m/V10/1/Archive.mbox/1.emlx",
                             "neither in box nor sent box"},
                    PathCase{"HiddenFile", kImport, "/m/INBOX/.DS_Store", "hidden file"},
                    PathCase{"FileInHiddenFolder", kImport, "/m/.x/1.eml", ""},
                    PathCase{"LocalMailboxes", kAccounts, "/m/Mailboxes/INBOX.mbox/1",
                             "mailbox of this machine"},
                    PathCase{"LocalSentMailbox", kAccounts, "/m/Mailboxes/Sent.mbox/1", ""},
                    PathCase{"Trash", kAccounts, "/m/INBOX/Trash/1", "trash mailbox"},
                    PathCase{"TrashAloneIsNoInBox", kAccountsWithTrashAndJunk, "/m/Trash/1",
                             "neither in box nor sent box"},
                    PathCase{"TrashOfInBox", kAccountsWithTrashAndJunk, "/m/INBOX/Deleted/1", ""},
                    PathCase{"Junk", kAccounts, "/m/INBOX/spam/1", "junk mailbox"},
                    PathCase{"CaseCounts", kAccounts, "/m/INBOX/SPAM/1", ""},
                    PathCase{"Drafts", kAccountsWithTrashAndJunk, "/m/INBOX/Drafts/1",
                             "drafts or outgoing mailbox"},
                    PathCase{"ChosenMailbox", kMailboxes, "/m/Archive.mbox/1", ""},
                    PathCase{"ChosenTrash", kMailboxes, "/m/Trash.mbox/1", "trash mailbox"},
                    PathCase{"ImportedTrash", kImport, "/m/Trash/Mailboxes/Junk/1", ""},
                    PathCase{"ImportedTrashWhileMailboxesAreChosen", kImportWithMailboxes,
                             "/m/Trash/1", "trash mailbox"},
                    PathCase{"ImportedOtherWhileMailboxesAreChosen", kImportWithMailboxes,
                             "/m/Mailboxes/Drafts/1", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MailboxName, IsThePathBelowTheStore) {
  const struct {
    const char* what;
    const char* path;
    const char* name;
  } rows[] = {
      {"message of the store", "/Users/u/Library/Mail/V10/12/INBOX.mbox/5/Data/Messages/1.emlx",
       "V10/12/INBOX"},
      {"mailbox in a mailbox", "/Users/u/Library/Mail/V10/12/Work.mbox/Client.mbox/1.emlx",
       "V10/12/Work.mbox/Client"},
      {"other extension", "/Users/u/Library/Mail/IMAP-ann@x/INBOX.imapmbox/1.emlx", "ann@x/INBOX"},
      {"post office account", "/Users/u/Library/Mail/POP-ann@x/INBOX.mbox/1.emlx", "ann@x/INBOX"},
      {"no extension", "/tmp/import/1.eml", "tmp/import/1.eml"},
      {"first character of several bytes", "\xC3\xA4/1.eml", "/1.eml"},
      {"nothing", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(mailboxNameOf(row.path, "/Users/u", "/Library/Mail"), row.name) << row.what;
  }
  EXPECT_EQ(mailboxNameOf("/a/b", "", ""), "a/b");
}

}  // namespace
}  // namespace keldane
