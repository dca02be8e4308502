#include "ingest/sources/exported_mail.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/program_file.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

bool endsNoCase(std::string_view text, std::string_view ending) {
  return text.size() > ending.size() &&
         compareNoCase(text.substr(text.size() - ending.size()), ending) == 0;
}

bool isMbox(std::string_view name) { return endsNoCase(name, ".mbox"); }

bool isPackedExport(std::string_view name) {
  if (name.size() < 8 || compareNoCase(name.substr(0, 8), "takeout-") != 0) return false;
  return endsNoCase(name, ".zip") || endsNoCase(name, ".tgz") || endsNoCase(name, ".tar.gz");
}

bool isOutlook(std::string_view name) {
  return endsNoCase(name, ".pst") || endsNoCase(name, ".ost") || endsNoCase(name, ".olm");
}

std::string withoutEnding(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return std::string(dot == 0 ? name : name.substr(0, dot));
}

/// The folders that the user's desktop has for these, under names in the user's language.
std::vector<std::string> userFolders(const std::string& homePath) {
  std::vector<std::string> folders;
  const Result<std::string> text = readFile(homePath + "/.config/user-dirs.dirs");
  for (const std::string& line : text ? split(*text, "\n") : std::vector<std::string>()) {
    for (const std::string_view key :
         {"XDG_DOWNLOAD_DIR=\"", "XDG_DOCUMENTS_DIR=\"", "XDG_DESKTOP_DIR=\""}) {
      if (!line.starts_with(key)) continue;
      std::string path = line.substr(key.size());
      path.resize(std::min(path.find('"'), path.size()));
      if (path.starts_with("$HOME")) path.replace(0, 5, homePath);
      while (path.ends_with('/')) path.pop_back();
      folders.push_back(std::move(path));
    }
  }
  for (const char* name : {"/Downloads", "/Documents", "/Desktop"}) {
    folders.push_back(homePath + name);
  }
  return folders;
}

class ExportSearch {
 public:
  using Complaint = std::function<void(const std::string&, const std::string&)>;

  ExportSearch(const Complaint& complaint, const ExportLimits& limits)
      : complaint_(complaint), limits_(limits), entriesLeft_(limits.entries) {}

  /// `depth` is that below the user's folder, of which everything is one by one.
  void enter(const std::string& folder, int depth, int deepest, bool inTakeout) {
    std::error_code failed;
    const fs::path canonical = fs::canonical(folder, failed);
    if (failed || !entered_.insert(canonical.string()).second) return;
    const Entries entries = entriesOf(folder);
    std::vector<std::string> mboxes;
    bool hasOthers = false;
    for (const auto& [name, isFolder] : entries) {
      const std::string path = folder + "/" + name;
      if (isMbox(name)) {
        mboxes.push_back(path);
      } else if (isFolder) {
        if (depth < deepest) enter(path, depth + 1, deepest, inTakeout || name == "Takeout");
      } else if (isPackedExport(name)) {
        found.packed.push_back({MailKind::takeout, {withoutEnding(name), path}});
      } else if (isOutlook(name)) {
        found.outlook.push_back({MailKind::outlook, {withoutEnding(name), path}});
      } else {
        hasOthers = hasOthers || !programFileKind(name);
      }
    }
    const bool together = depth > 0 && !hasOthers && mboxes.size() > 1;
    addMboxes(folder, mboxes, together, inTakeout);
  }

  ExportedMail found;

 private:
  using Entries = std::vector<std::pair<std::string, bool>>;

  /// What is seen in the folder, in order, and whether it is a folder.
  Entries entriesOf(const std::string& folder) {
    Entries entries;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
      if (entriesLeft_ == 0) break;
      --entriesLeft_;
      std::string name = entry->path().filename().string();
      std::error_code unknown;
      const bool isFolder = entry->is_directory(unknown);
      if (name.starts_with('.') || (isFolder && entry->is_symlink(unknown))) continue;
      entries.emplace_back(std::move(name), isFolder);
    }
    if (failed) complaint_(folder, failed.message());
    std::sort(entries.begin(), entries.end());
    return entries;
  }

  void addMboxes(const std::string& folder, const std::vector<std::string>& mboxes, bool together,
                 bool inTakeout) {
    const MailKind kind = inTakeout ? MailKind::takeout : MailKind::exported;
    if (mboxes.empty()) return;
    if (together || inTakeout) {
      found.places.push_back(
          {kind, {inTakeout ? "Takeout" : std::string(lastPathComponent(folder)), folder}});
      return;
    }
    for (const std::string& path : mboxes) {
      found.places.push_back({kind, {withoutEnding(lastPathComponent(path)), path}});
    }
  }

  const Complaint& complaint_;
  ExportLimits limits_;
  std::size_t entriesLeft_;
  std::set<std::string> entered_;
};

}  // namespace

ExportedMail findExportedMail(
    const std::string& homePath,
    const std::function<void(const std::string& folder, const std::string& reason)>& complaint,
    const ExportLimits& limits) {
  ExportSearch search(complaint, limits);
  // Its folders are not entered from here, so that only its own files count.
  search.enter(homePath, 0, 0, false);
  for (const std::string& folder : userFolders(homePath)) {
    search.enter(folder, 0, limits.depth, false);
  }
  return std::move(search.found);
}

}  // namespace keldane
