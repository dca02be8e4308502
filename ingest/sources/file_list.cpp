#include "ingest/sources/file_list.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <sys/stat.h>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

struct Entry {
  std::string name;
  bool isFolder = false;  ///< to be entered
};

enum class EntryKind { file, folder, linkToFolder };

/// `type` is what the folder tells about the entry, which saves asking the system for each file.
EntryKind kindOf(const std::string& path, unsigned char type) {
  if (type == DT_REG) return EntryKind::file;
  if (type == DT_DIR) return EntryKind::folder;
  struct stat status {};
  const bool isLink = ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  if (!isDirectory(path)) return EntryKind::file;
  return isLink ? EntryKind::linkToFolder : EntryKind::folder;
}

/// The entries of a folder that is open, in order; links to folders go to `links`.
std::vector<Entry> entriesOf(DIR* folder, const std::string& withSlash,
                             std::vector<std::string>& links) {
  std::vector<Entry> entries;
  while (const dirent* entry = ::readdir(folder)) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const EntryKind kind = kindOf(withSlash + name, entry->d_type);
    if (kind == EntryKind::linkToFolder) {
      links.push_back(withSlash + name + "/");
    } else {
      entries.push_back({std::move(name), kind == EntryKind::folder});
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return entries;
}

}  // namespace

void FileList::add(const std::string& path, const Complaint& complaint) {
  if (isDirectory(path)) {
    const std::size_t last = path.find_last_not_of('/');
    addFolder(last == std::string::npos ? "/" : path.substr(0, last + 1) + "/", false, complaint);
    while (!links_.empty()) {
      std::vector<std::string> links = std::exchange(links_, {});
      std::sort(links.begin(), links.end());
      for (const std::string& link : links) {
        if (!isFull()) addFolder(link, true, complaint);
      }
    }
  } else if (fileExists(path)) {
    folders_.emplace_back();
    addName(static_cast<std::uint32_t>(folders_.size() - 1), path);
  }
}

void FileList::addFolder(const std::string& folder, bool behindLink, const Complaint& complaint) {
  std::unique_ptr<DIR, CloseFolder> opened(::opendir(folder.c_str()));
  struct stat status {};
  if (!opened || ::fstat(::dirfd(opened.get()), &status) != 0) {
    if (errno != ENOENT && complaint) {
      complaint(folder.substr(0, folder.size() - 1), std::generic_category().message(errno));
    }
    return;
  }
  const bool isNew = entered_.emplace(status.st_dev, status.st_ino).second;
  // Without a link on the way, a folder comes twice only when it has been chosen twice.
  if (behindLink && !isNew) return;
  folders_.push_back(folder);
  const auto index = static_cast<std::uint32_t>(folders_.size() - 1);
  const std::vector<Entry> entries = entriesOf(opened.get(), folder, links_);
  opened.reset();
  for (const Entry& entry : entries) {
    if (isFull()) return;
    if (entry.isFolder) {
      // As deep as the system's longest path, beyond which no folder opens.
      addFolder(folder + entry.name + "/", behindLink, complaint);
    } else {
      addName(index, entry.name);
    }
  }
}

void FileList::addName(std::uint32_t folder, std::string_view name) {
  files_.push_back({folder, static_cast<std::uint32_t>(name.size()), names_.size()});
  names_ += name;
}

std::string FileList::path(std::size_t index) const {
  const File& file = files_[index];
  std::string path = folders_[file.folder];
  return path.append(names_, file.nameStart, file.nameLength);
}

}  // namespace keldane
