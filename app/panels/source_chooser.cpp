#include "app/panels/source_chooser.h"

#include <string>
#include <vector>

#include "base/text.h"
#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/postbox_accounts.h"

namespace keldane {

void SourceChooser::showRows() { context_.ui.changed("selectAcctsTableView"); }

void SourceChooser::enableTrashAndJunk() {
  SettingsForm& form = context_.form;
  form.trashCheckEnabled = form.junkCheckEnabled = true;
  context_.ui.changed("trashCheck");
  context_.ui.changed("junkCheck");
}

void SourceChooser::selectEmailApp() {
  Settings& settings = context_.settings;
  settings.archive.postbox = context_.form.selectEmailAppMatrix;
  if (settings.archive.postbox == 0) probeMailStore(context_.process);
  if (context_.sources.choosesMailboxes()) {
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
    loadAccountRows();
  }
  if (settings.archive.postbox < 1) checkAllAccts();
}

void SourceChooser::selectMailboxes() {
  Settings& settings = context_.settings;
  settings.archive.mailboxesState = context_.form.selectAcctsMboxMatrix;
  context_.form.trashCheck = settings.archive.trashState != 0;
  context_.form.junkCheck = settings.archive.junkState != 0;
  enableTrashAndJunk();
  context_.sources.acctRowsLoaded = false;
  if (!context_.sources.choosesMailboxes()) {
    loadAccountRows();
    return;
  }
  context_.process.tmpFilePath =
      context_.process.workFolder + "/" + context_.database.dbPath + ".tmp";
  getMailboxNames();
}

void SourceChooser::didClickAcctCheck(std::size_t row) {
  MailSources& sources = context_.sources;
  if (!sources.rowsAreSources() || row >= sources.acctRows.size()) return;
  sources.selectedRows = {row};
  sources.setCheck(row, !sources.acctRows[row].acctCheck);
  sources.chooseCheckedRows();
  showRows();
}

void SourceChooser::setAllChecks(bool check) {
  context_.sources.setAllChecks(check);
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
  choosePaths(chosen);
  context_.ui.openSheet("storeDatePanel");
}

void SourceChooser::choosePaths(const std::vector<std::string>& paths) {
  MailSources& sources = context_.sources;
  sources.acctRows.clear();
  for (const std::string& path : paths) sources.acctRows.push_back({true, path});
  sources.rowKind = RowKind::paths;
  sources.selectedRows.clear();
  sources.importMode = true;
}

void SourceChooser::tellOfMailApplication(bool answered) {
  if (answered || context_.process.unattendedRun != 0) return;
  context_.ui.alert(
      {"Keldane was unable to open the Mail application in order to retrieve the email account "
       "names to be listed in the Accounts tab of the Settings.",
       "Searching will still work, but updating the list of accounts or mailboxes will not be "
       "possible."});
}

void SourceChooser::loadAccountRows() {
  tellOfMailApplication(context_.sources.loadAccountRows());
  showRows();
}

void SourceChooser::getMailboxNames() {
  context_.ui.changed("progressLabels");
  context_.progress.doProgressPanel("Looking for mailboxes...");
  tellOfMailApplication(context_.sources.getMailboxNames());
  if (context_.settings.archive.importFolderState == 0) context_.form.importFolderTextField.clear();
  context_.ui.changed("importFolderTextField");
  showRows();
  context_.progress.close();
}

void SourceChooser::readPostboxAccounts() {
  const PostboxAccounts found = findPostboxAccounts(context_.process.homePath, postboxAppFolder_);
  if (!found.mailRootSuffix.empty()) context_.process.mailRootSuffix = found.mailRootSuffix;
  switch (found.missing) {
    case PostboxAccounts::Missing::folders:
      context_.ui.alert({"Can't find folders", "Unable to find Postbox data folders."});
      return;
    case PostboxAccounts::Missing::prefsFile:
      context_.ui.alert({"Can't find file", "Unable to find Postbox prefs.js file."});
      return;
    case PostboxAccounts::Missing::nothing:
      context_.sources.mailAccounts = found.accounts;
  }
}

void SourceChooser::rebuildSelection() {
  MailSources& sources = context_.sources;
  if (sources.acctRows.empty()) return;
  if (sources.choosesMailboxes() || context_.settings.archive.postbox < 1) {
    sources.chooseCheckedRows();
  }
}

void SourceChooser::fillSelectionTable() {
  MailSources& sources = context_.sources;
  if (sources.choosesMailboxes()) {
    ensureMailboxNames();
  } else if (!sources.acctRowsLoaded || !sources.rowsAreSources()) {
    loadAccountRows();
  }
  sources.checkChosenRows();
  showRows();
}

void SourceChooser::ensureMailboxNames() {
  const MailSources& sources = context_.sources;
  if (!sources.mailboxNamesLoaded || !sources.rowsAreSources()) getMailboxNames();
}

void SourceChooser::saveSelectedSources() {
  MailSources& sources = context_.sources;
  if (!sources.rowsAreSources()) return;
  sources.chosen().clear();
  for (const std::size_t row : sources.selectedRows) {
    if (row >= sources.acctRows.size()) break;
    sources.chosen().push_back(sources.acctRows[row].acctDesc);
  }
}

}  // namespace keldane
