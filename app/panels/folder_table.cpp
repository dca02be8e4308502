#include "app/panels/folder_table.h"

#include <algorithm>

#include "app/panels/panel_progress.h"
#include "base/text.h"
#include "settings/mail_folders.h"

namespace keldane {
namespace {

constexpr const char* kTable = "foldersTableView";
constexpr const char* kFoundTable = "foundTableView";
constexpr const char* kFoundSheet = "foundMailSheet";

bool isKept(const MailFolder& found, const std::vector<MailFolder>& kept) {
  return std::any_of(kept.begin(), kept.end(), [&found](const MailFolder& folder) {
    return isOrHolds(folder.path, found.path) || isOrHolds(found.path, folder.path);
  });
}

}  // namespace

std::vector<FolderRow> FolderTable::folderRows() const {
  std::vector<FolderRow> rows;
  for (const MailFolder& folder : context_.settings.user.mailFolders) {
    rows.push_back({folder.name, folder.path, isThere(folder)});
  }
  return rows;
}

void FolderTable::add(const std::vector<MailFolder>& wanted) {
  std::vector<std::string> failures;
  for (MailFolder folder : wanted) {
    const std::vector<MailFolder>& kept = context_.settings.user.mailFolders;
    if (!folder.name.empty()) folder.name = freeName(folder.name, kept);
    const Result<MailFolder> added =
        context_.settings.addMailFolder(folder, context_.process.homePath);
    if (!added) failures.push_back(added.error());
  }
  context_.ui.changed(kTable);
  tell(failures);
}

void FolderTable::tell(const std::vector<std::string>& failures) {
  if (failures.empty()) return;
  context_.ui.alert({"Folders", join(failures, "\n"), AlertStyle::critical});
}

void FolderTable::addFolders() {
  FileChooser chooser;
  chooser.title = "Choose folders of mail";
  chooser.prompt = "Add";
  chooser.folders = true;
  chooser.several = true;
  std::vector<MailFolder> wanted;
  for (const std::string& path : context_.ui.chooseFiles(chooser)) wanted.push_back({"", path});
  if (!wanted.empty()) add(wanted);
}

void FolderTable::removeFolders() {
  const std::vector<MailFolder> kept = context_.settings.user.mailFolders;
  std::vector<std::string> failures;
  for (std::size_t row = 0; row < kept.size(); ++row) {
    if (std::find(selectedRows.begin(), selectedRows.end(), row) == selectedRows.end()) continue;
    const Result<void> removed = context_.settings.removeMailFolder(kept[row]);
    if (!removed) failures.push_back(removed.error());
  }
  selectedRows.clear();
  context_.ui.changed(kTable);
  tell(failures);
}

void FolderTable::findMail() {
  context_.progress.doProgressPanel("Looking for mail...");
  EndablePanelProgress progress(context_.progress, context_.ui);
  FoundSources found =
      keldane::findMail(mailPlacesOf(context_.process.homePath, context_.environment), progress);
  context_.progress.close();
  foundRows_.clear();
  for (FoundMail& mail : found.mail) {
    const bool kept = isKept(mail.folder, context_.settings.user.mailFolders);
    foundRows_.push_back({!kept && mail.canBeKept(), std::move(mail), kept});
  }
  if (foundRows_.empty()) {
    context_.ui.alert({"Folders", "No mail was found on this computer."});
    return;
  }
  context_.ui.changed(kFoundTable);
  context_.ui.openSheet(kFoundSheet);
}

void FolderTable::didClickFoundCheck(std::size_t row) {
  if (row >= foundRows_.size()) return;
  FoundRow& found = foundRows_[row];
  found.foundCheck = !found.foundCheck && !found.isKept && found.mail.canBeKept();
  context_.ui.changed(kFoundTable);
}

void FolderTable::addFound() {
  std::vector<MailFolder> wanted;
  for (const FoundRow& row : foundRows_) {
    if (row.foundCheck) wanted.push_back(row.mail.folder);
  }
  cancelFound();
  add(wanted);
}

void FolderTable::cancelFound() { context_.ui.closePanel(kFoundSheet); }

}  // namespace keldane
