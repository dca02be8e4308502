#include "ingest/mail_walk.h"

#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/text.h"
#include "ingest/file_list.h"
#include "ingest/mail_store_probe.h"
#include "ingest/walk_filter.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

}  // namespace

void MailWalk::getEmailPaths() {
  FileList files;
  for (const std::string& selected : selection()) {
    files.add(pathOf(selected), context_.storeLog);
  }
  const ArchiveSettings& settings = context_.settings.archive;
  const WalkFilter filter{context_.sources.importMode, settings.mailboxesState != 0,
                          settings.trashState != 0, settings.junkState != 0};
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string path = files.path(i);
    if (const std::optional<std::string_view> reason = filter.exclusion(path)) {
      context_.ledger.notMail(path, *reason);
      continue;
    }
    const std::string mailbox =
        mailboxNameOf(path, context_.process.homePath, context_.process.mailRootSuffix);
    if (mustStop()) return;
    readOne(path, mailbox);
  }
  if (context_.isLetGo && context_.isLetGo()) return;
  if (context_.sources.deleteImportFiles) emptyImportFolder();
}

std::vector<std::string> MailWalk::selection() {
  std::vector<std::string> selected;
  if (context_.sources.importMode) {
    for (const AcctsRow& row : context_.sources.acctRows) selected.push_back(row.acctDesc);
    return selected;
  }
  if (context_.settings.archive.mailboxesState == 0) return context_.settings.selectedAccounts;
  if (!context_.sources.mailboxNamesLoaded && context_.getMailboxNames) context_.getMailboxNames();
  return context_.settings.selectedMailboxes;
}

std::string MailWalk::pathOf(const std::string& selected) const {
  const ArchiveSettings& settings = context_.settings.archive;
  if (context_.sources.importMode || settings.postbox != 0) return selected;
  const ProcessState& process = context_.process;
  std::string path = process.homePath + process.mailRootSuffix;
  // A chosen mailbox begins with its version folder.
  if (settings.mailboxesState == 0) path += versionFolder(process);
  return path + "/" + selected;
}

bool MailWalk::mustStop() {
  if (context_.isLetGo && context_.isLetGo()) return true;
  return context_.process.cancelFlag.exchange(0) != 0;
}

void MailWalk::readOne(const std::string& path, const std::string& mailbox) {
  std::string currentEmailItem = path;
  currentEmailItem.append(kItemSeparator).append(mailbox);
  // ".emlx" holds ".eml".
  if (context_.sources.importMode && !holds(currentEmailItem, ".eml")) {
    context_.reader.doMboxFile(currentEmailItem);
  } else {
    context_.reader.doOneEmail(currentEmailItem);
  }
}

void MailWalk::emptyImportFolder() {
  const std::string& folder = context_.settings.archive.importFolderPath;
  std::error_code code;
  if (!folder.empty()) {
    // The entries are listed first: removing while reading a folder may skip some.
    std::vector<fs::path> entries;
    fs::directory_iterator it(folder, code);
    for (; !code && it != fs::directory_iterator(); it.increment(code))
      entries.push_back(it->path());
    for (const fs::path& entry : entries) {
      fs::remove_all(entry, code);
      if (code && context_.storeLog) {
        context_.storeLog("Unable to remove: " + code.message() + ", " + printable(entry.string()) +
                          "\n");
      }
    }
  }
  context_.sources.deleteImportFiles = false;
  context_.sources.mailboxNamesLoaded = false;
}

}  // namespace keldane
