#include "ingest/sources/source_chooser.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "ingest/sources/mail_accounts.h"
#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/mailbox_names.h"
#include "ingest/sources/postbox_accounts.h"

namespace keldane {
namespace {

constexpr const char* kTable = "selectAcctsTableView";
constexpr const char* kMailIdentifier = "com.apple.mail";
constexpr const char* kMailProgram = "Mail";

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

bool SourceChooser::choosesMailboxes() const {
  return context_.settings.archive.mailboxesState != 0;
}

bool SourceChooser::rowsAreSources() const {
  return context_.sources.rowKind == (choosesMailboxes() ? RowKind::mailboxes : RowKind::accounts);
}

const std::vector<AcctsRow>& SourceChooser::shownRows() const {
  const SourceSelection& sources = context_.sources;
  return sources.rowKind == RowKind::accounts ? sources.allAcctRows : sources.acctDisplayRows;
}

void SourceChooser::showRows() { context_.ui.changed(kTable); }

void SourceChooser::enableTrashAndJunk() {
  SettingsForm& form = context_.settings.form;
  form.trashCheckEnabled = form.junkCheckEnabled = true;
  context_.ui.changed("trashCheck");
  context_.ui.changed("junkCheck");
}

void SourceChooser::selectEmailApp() {
  Settings& settings = context_.settings;
  settings.archive.postbox = settings.form.selectEmailAppMatrix;
  if (settings.archive.postbox == 0) probeMailStore(context_.process);
  if (choosesMailboxes()) {
    enableTrashAndJunk();
    context_.process.tmpFilePath = context_.process.workFolder + "/" +
                                   std::string(lastPathComponent(context_.database.dbPath)) +
                                   ".tmp";
    context_.sources.acctRowsLoaded = false;
    getMailboxNames();
  } else {
    if (settings.archive.postbox == 1) return;
    enableTrashAndJunk();
    context_.sources.acctRowsLoaded = false;
    loadAccountRows(context_.sources.acctRows);
  }
  if (settings.archive.postbox < 1) checkAllAccts();
}

void SourceChooser::selectMailboxes() {
  Settings& settings = context_.settings;
  settings.archive.mailboxesState = settings.form.selectAcctsMboxMatrix;
  settings.form.trashCheck = settings.archive.trashState != 0;
  settings.form.junkCheck = settings.archive.junkState != 0;
  enableTrashAndJunk();
  context_.sources.acctRowsLoaded = false;
  if (!choosesMailboxes()) {
    loadAccountRows(context_.sources.acctRows);
    return;
  }
  context_.process.tmpFilePath =
      context_.process.workFolder + "/" + context_.database.dbPath + ".tmp";
  getMailboxNames();
}

void SourceChooser::setCheck(std::size_t row, bool check) {
  SourceSelection& sources = context_.sources;
  for (std::vector<AcctsRow>* rows :
       {&sources.acctRows, &sources.acctDisplayRows, &sources.allAcctRows}) {
    // The names are those of accounts; rows of mailboxes are others.
    if (rows == &sources.allAcctRows && sources.rowKind != RowKind::accounts) continue;
    if (row < rows->size()) (*rows)[row].acctCheck = check;
  }
}

void SourceChooser::didClickAcctCheck(std::size_t row) {
  SourceSelection& sources = context_.sources;
  if (!rowsAreSources() || row >= sources.acctRows.size()) return;
  sources.selectedRows = {row};
  setCheck(row, !sources.acctRows[row].acctCheck);
  takeCheckedRows();
  showRows();
}

void SourceChooser::setAllChecks(bool check) {
  SourceSelection& sources = context_.sources;
  for (std::vector<AcctsRow>* rows :
       {&sources.acctRows, &sources.acctDisplayRows, &sources.allAcctRows}) {
    for (AcctsRow& row : *rows) row.acctCheck = check;
  }
  showRows();
}

void SourceChooser::checkAllAccts() { setAllChecks(true); }

void SourceChooser::uncheckAllAccts() { setAllChecks(false); }

void SourceChooser::openMbox() {
  FileChooser chooser;
  chooser.title = "Import MBOX Files";
  chooser.prompt = "Open";
  chooser.folders = true;
  chooser.several = true;
  const std::vector<std::string> chosen = context_.ui.chooseFiles(chooser);
  if (chosen.empty()) return;
  SourceSelection& sources = context_.sources;
  sources.acctRows.clear();
  for (const std::string& path : chosen) sources.acctRows.push_back({true, path});
  sources.rowKind = RowKind::paths;
  sources.selectedRows.clear();
  sources.importMode = true;
  context_.ui.openSheet("storeDatePanel");
}

// The rows.

void SourceChooser::makeV3dict() {
  SourceSelection& sources = context_.sources;
  HostServices& host = context_.host;
  if (!host.hasMailApplication()) {
    sources.mailAccounts = accountsInStore(context_.process);
    return;
  }
  const std::vector<RunningApplication> before = host.runningApplications();
  const bool mailWasRunning =
      std::any_of(before.begin(), before.end(), [](const RunningApplication& application) {
        return application.bundleIdentifier.ends_with(kMailIdentifier);
      });
  sources.mailAccounts.clear();
  Result<std::vector<MailAccount>> answer = host.mailAccounts();
  if ((!answer || answer->empty()) && context_.process.unattendedRun == 0) {
    context_.ui.alert(
        {"Keldane was unable to open the Mail application in order to retrieve the email account "
         "names to be listed in the Accounts tab of the Settings.",
         "Searching will still work, but updating the list of accounts or mailboxes will not be "
         "possible."});
  }
  if (answer) {
    const std::string version = versionFolder(context_.process);
    for (MailAccount& account : *answer) {
      sources.mailAccounts.push_back(
          {std::move(account.name), accountFolderId(std::move(account.path), version)});
    }
  }
  if (mailWasRunning) return;
  for (const RunningApplication& application : host.runningApplications()) {
    if (application.executableName == kMailProgram) host.terminateApplication(application);
  }
}

void SourceChooser::loadMailPrefs() {
  if (context_.settings.archive.postbox != 0) return;
  if (versionFolder(context_.process).empty()) {
    mailPrefsDict_ = readMailPrefs(context_.process);
  } else {
    makeV3dict();
  }
}

/// False when no list of accounts is at hand.
bool SourceChooser::listAccounts(std::vector<AcctsRow>& rows) {
  SourceSelection& sources = context_.sources;
  const bool ownClient = context_.settings.archive.postbox == 0;
  const bool versioned = !versionFolder(context_.process).empty();
  // A newer store has no such property list: there the accounts have just been asked for, and where
  // that failed there is nothing to choose from.
  if (choosesMailboxes() || (!mailPrefsDict_ && !(ownClient && versioned))) return false;
  if (ownClient && !versioned) sources.mailAccounts = accountsOfPrefs(*mailPrefsDict_);
  AccountRows accounts = rowsOfAccounts(sources.mailAccounts, context_.process.mailRootSuffix);
  rows = std::move(accounts.ids);
  sources.allAcctRows = std::move(accounts.names);
  return true;
}

void SourceChooser::checkChosen(std::vector<AcctsRow>& rows) {
  SourceSelection& sources = context_.sources;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool chosen = contains(context_.settings.selectedAccounts, rows[i].acctDesc);
    rows[i].acctCheck = sources.allAcctRows[i].acctCheck = chosen;
  }
}

void SourceChooser::loadAccountRows(std::vector<AcctsRow>& rows) {
  SourceSelection& sources = context_.sources;
  sources.allAcctRows.clear();
  rows.clear();
  loadMailPrefs();
  if (!listAccounts(rows)) {
    rows = rowsOfFolders(context_.process.homePath + context_.process.mailRootSuffix);
    sources.allAcctRows = rows;
  }
  checkChosen(rows);
  sources.acctDisplayRows = rows;
  if (&rows == &sources.acctRows) {
    sources.rowKind = RowKind::accounts;
    sources.selectedRows.clear();
  }
  sources.acctRowsLoaded = true;
  showRows();
}

void SourceChooser::getMailboxNames() {
  SourceSelection& sources = context_.sources;
  Settings& settings = context_.settings;
  loadAccountRows(sources.acctRows);
  if (settings.archive.importFolderState == 0) {
    settings.archive.importFolderPath.clear();
    settings.form.importFolderTextField.clear();
    context_.ui.changed("importFolderTextField");
  }
  context_.ui.changed("progressLabels");
  context_.progress.doProgressPanel("Looking for mailboxes...");
  std::vector<std::string> names;
  if (settings.archive.postbox == 0) names = mailboxesInStore(context_.process);
  sources.acctRows.clear();
  sources.acctDisplayRows.clear();
  sources.selectedRows.clear();
  for (std::string& name : names) {
    const bool all = settings.selectedMailboxes.empty();
    // Highlighted while none is chosen, so that all are taken.
    if (all) sources.selectedRows.push_back(sources.acctRows.size());
    const bool check = all || contains(settings.selectedMailboxes, name);
    sources.acctDisplayRows.push_back({check, mailboxForDisplay(name, sources.mailAccounts)});
    sources.acctRows.push_back({check, std::move(name)});
  }
  sources.rowKind = RowKind::mailboxes;
  showRows();
  context_.progress.close();
  sources.mailboxNamesLoaded = true;
}

void SourceChooser::readPostboxAccounts() {
  const PostboxAccounts found = findPostboxAccounts(context_.process.homePath, postboxAppFolder_);
  if (!found.mailRootSuffix.empty()) context_.process.mailRootSuffix = found.mailRootSuffix;
  if (found.failure) {
    context_.ui.alert(*found.failure);
    return;
  }
  context_.sources.mailAccounts = found.accounts;
}

// What is chosen.

void SourceChooser::takeCheckedRows() {
  Settings& settings = context_.settings;
  std::vector<std::string>& chosen =
      choosesMailboxes() ? settings.selectedMailboxes : settings.selectedAccounts;
  chosen.clear();
  for (const AcctsRow& row : context_.sources.acctRows) {
    if (row.acctCheck) chosen.push_back(row.acctDesc);
  }
}

void SourceChooser::rebuildSelection() {
  if (!rowsAreSources() || context_.sources.acctRows.empty()) return;
  if (choosesMailboxes() || context_.settings.archive.postbox < 1) takeCheckedRows();
}

void SourceChooser::fillSelectionTable() {
  SourceSelection& sources = context_.sources;
  if (choosesMailboxes()) {
    ensureMailboxNames();
  } else if (!sources.acctRowsLoaded || !rowsAreSources()) {
    loadAccountRows(sources.acctRows);
  }
  const Settings& settings = context_.settings;
  const std::vector<std::string>& chosen =
      choosesMailboxes() ? settings.selectedMailboxes : settings.selectedAccounts;
  for (std::size_t row = 0; row < sources.acctRows.size(); ++row) {
    setCheck(row, contains(chosen, sources.acctRows[row].acctDesc));
  }
  showRows();
}

void SourceChooser::ensureMailboxNames() {
  if (!context_.sources.mailboxNamesLoaded || !rowsAreSources()) getMailboxNames();
}

void SourceChooser::saveSelectedSources() {
  if (!rowsAreSources()) return;
  Settings& settings = context_.settings;
  const std::vector<AcctsRow>& rows = context_.sources.acctRows;
  std::vector<std::string>& chosen =
      choosesMailboxes() ? settings.selectedMailboxes : settings.selectedAccounts;
  chosen.clear();
  for (const std::size_t row : context_.sources.selectedRows) {
    if (row >= rows.size()) break;
    chosen.push_back(rows[row].acctDesc);
  }
}

}  // namespace keldane
