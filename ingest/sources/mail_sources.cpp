#include "ingest/sources/mail_sources.h"

#include <algorithm>
#include <utility>

#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/mailbox_names.h"

namespace keldane {
namespace {

constexpr const char* kMailIdentifier = "com.apple.mail";
constexpr const char* kMailProgram = "Mail";

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

bool MailSources::makeV3dict() {
  if (!host_.hasMailApplication()) {
    mailAccounts = accountsInStore(process_);
    return true;
  }
  const std::vector<RunningApplication> before = host_.runningApplications();
  const bool mailWasRunning =
      std::any_of(before.begin(), before.end(), [](const RunningApplication& application) {
        return application.bundleIdentifier.ends_with(kMailIdentifier);
      });
  mailAccounts.clear();
  Result<std::vector<MailAccount>> answer = host_.mailAccounts();
  const bool answered = answer && !answer->empty();
  if (answered) {
    const std::string version = versionFolder(process_);
    for (MailAccount& account : *answer) {
      mailAccounts.push_back(
          {std::move(account.name), accountFolderId(std::move(account.path), version)});
    }
  }
  if (mailWasRunning) return answered;
  for (const RunningApplication& application : host_.runningApplications()) {
    if (application.executableName == kMailProgram) host_.terminateApplication(application);
  }
  return answered;
}

bool MailSources::loadMailPrefs() {
  if (settings_.archive.postbox != 0) return true;
  if (!versionFolder(process_).empty()) return makeV3dict();
  mailPrefsDict_ = readMailPrefs(process_);
  return true;
}

/// False when no list of accounts is at hand.
bool MailSources::listAccounts() {
  const bool ownClient = settings_.archive.postbox == 0;
  const bool versioned = !versionFolder(process_).empty();
  // A newer store has no such property list: there the accounts have just been asked for, and where
  // that failed there is nothing to choose from.
  if (choosesMailboxes() || (!mailPrefsDict_ && !(ownClient && versioned))) return false;
  if (ownClient && !versioned) mailAccounts = accountsOfPrefs(*mailPrefsDict_);
  AccountRows accounts = rowsOfAccounts(mailAccounts, process_.mailRootSuffix);
  acctRows = std::move(accounts.ids);
  allAcctRows = std::move(accounts.names);
  return true;
}

bool MailSources::loadAccountRows() {
  allAcctRows.clear();
  acctRows.clear();
  const bool answered = loadMailPrefs();
  if (!listAccounts()) {
    acctRows = rowsOfFolders(process_.homePath + process_.mailRootSuffix);
    allAcctRows = acctRows;
  }
  for (std::size_t i = 0; i < acctRows.size(); ++i) {
    const bool check = contains(settings_.selectedAccounts, acctRows[i].acctDesc);
    acctRows[i].acctCheck = allAcctRows[i].acctCheck = check;
  }
  acctDisplayRows = acctRows;
  rowKind = RowKind::accounts;
  selectedRows.clear();
  acctRowsLoaded = true;
  return answered;
}

bool MailSources::getMailboxNames() {
  const bool answered = loadAccountRows();
  if (settings_.archive.importFolderState == 0) settings_.archive.importFolderPath.clear();
  std::vector<std::string> names;
  if (settings_.archive.postbox == 0) names = mailboxesInStore(process_);
  acctRows.clear();
  acctDisplayRows.clear();
  selectedRows.clear();
  const bool all = settings_.selectedMailboxes.empty();
  for (std::string& name : names) {
    // Highlighted while none is chosen, so that all are taken.
    if (all) selectedRows.push_back(acctRows.size());
    const bool check = all || contains(settings_.selectedMailboxes, name);
    acctDisplayRows.push_back({check, mailboxForDisplay(name, mailAccounts)});
    acctRows.push_back({check, std::move(name)});
  }
  rowKind = RowKind::mailboxes;
  mailboxNamesLoaded = true;
  return answered;
}

bool MailSources::rowsAreSources() const {
  return rowKind == (choosesMailboxes() ? RowKind::mailboxes : RowKind::accounts);
}

void MailSources::setCheck(std::size_t row, bool check) {
  for (std::vector<AcctsRow>* rows : {&acctRows, &acctDisplayRows, &allAcctRows}) {
    // The names are those of accounts; rows of mailboxes are others.
    if (rows == &allAcctRows && rowKind != RowKind::accounts) continue;
    if (row < rows->size()) (*rows)[row].acctCheck = check;
  }
}

void MailSources::setAllChecks(bool check) {
  for (std::vector<AcctsRow>* rows : {&acctRows, &acctDisplayRows, &allAcctRows}) {
    for (AcctsRow& row : *rows) row.acctCheck = check;
  }
}

void MailSources::checkChosenRows() {
  for (std::size_t row = 0; row < acctRows.size(); ++row) {
    setCheck(row, contains(chosen(), acctRows[row].acctDesc));
  }
}

void MailSources::chooseCheckedRows() {
  if (!rowsAreSources()) return;
  chosen().clear();
  for (const AcctsRow& row : acctRows) {
    if (row.acctCheck) chosen().push_back(row.acctDesc);
  }
}

}  // namespace keldane
