#include "ingest/sources/mailbox_names.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "base/text.h"
#include "ingest/sources/walk_filter.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMessages = "/Messages";

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

/// Goes through the store and notes each mailbox once.
class MailboxSearch {
 public:
  explicit MailboxSearch(const ProcessState& process) : process_(process) {}

  /// `below` is the folder's path below the home folder.
  void enter(const std::string& below) {
    for (const auto& [name, isFolder] : entriesOf(process_.homePath + below)) {
      const std::string path = below + "/" + name;
      note(path);
      // As deep as the system's longest path, beyond which no folder opens.
      if (isFolder) enter(path);
    }
  }

  std::vector<std::string> found;

 private:
  using Entries = std::vector<std::pair<std::string, bool>>;

  static Entries entriesOf(const std::string& folder) {
    Entries entries;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
      std::error_code unknown;
      const bool isFolder = entry->is_directory(unknown) && !entry->is_symlink(unknown);
      entries.emplace_back(entry->path().filename().string(), isFolder);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
  }

  void note(const std::string& path) {
    std::optional<std::string> mailbox = selectableMailbox(path, process_);
    if (!mailbox || !known_.insert(*mailbox).second) return;
    found.push_back(std::move(*mailbox));
  }

  const ProcessState& process_;
  std::unordered_set<std::string> known_;
};

}  // namespace

std::optional<std::string> selectableMailbox(std::string_view path, const ProcessState& process) {
  if (!holds(path, kMessages) || holds(path, "/Attachments/") || holds(path, "/MailData/")) {
    return std::nullopt;
  }
  std::optional<std::string> mailbox;
  for (const std::string_view extension : {".mbox", ".imapmbox"}) {
    const std::size_t at = path.rfind(extension);
    if (at == std::string_view::npos) continue;
    mailbox = std::string(path.substr(0, at + extension.size()));
    break;
  }
  if (!mailbox) return std::nullopt;
  keepPathInStore(*mailbox, process.homePath, process.mailRootSuffix);
  return mailbox;
}

std::vector<std::string> mailboxesInStore(const ProcessState& process) {
  MailboxSearch search(process);
  search.enter(process.mailRootSuffix);
  return std::move(search.found);
}

std::string mailboxForDisplay(std::string mailbox, const std::vector<MailAccount>& accounts) {
  constexpr int kOldestStore = 2;
  constexpr int kNewestStore = 8;
  for (const MailAccount& account : accounts) {
    if (account.name.empty()) continue;
    std::string id = account.path;
    for (int version = kOldestStore; version <= kNewestStore; ++version) {
      removeAll(id, "~/Library/Mail/V" + std::to_string(version) + "/");
    }
    if (id.empty() || !holds(mailbox, id)) continue;
    replaceAll(mailbox, id, account.name);
    break;
  }
  return mailbox;
}

}  // namespace keldane
