#include "ingest/file_list.h"

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

/// Links to folders are left out. `withSlash` ends in a slash.
std::vector<Entry> entriesOf(const std::string& withSlash, const FileList::Complaint& complaint) {
  std::vector<Entry> entries;
  const std::unique_ptr<DIR, CloseFolder> folder(::opendir(withSlash.c_str()));
  if (!folder) {
    if (errno != ENOENT && complaint) {
      complaint("Unable to read folder: " + std::generic_category().message(errno) + ", " +
                printable(withSlash) + "\n");
    }
    return entries;
  }
  while (const dirent* entry = ::readdir(folder.get())) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const EntryKind kind = kindOf(withSlash + name, entry->d_type);
    if (kind == EntryKind::linkToFolder) continue;
    const bool isFolder = kind == EntryKind::folder;
    entries.push_back({std::move(name), isFolder});
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return entries;
}

}  // namespace

void FileList::add(const std::string& path, const Complaint& complaint) {
  if (isDirectory(path)) {
    const std::size_t last = path.find_last_not_of('/');
    addFolder(last == std::string::npos ? "/" : path.substr(0, last + 1) + "/", complaint);
  } else if (fileExists(path)) {
    folders_.emplace_back();
    addName(static_cast<std::uint32_t>(folders_.size() - 1), path);
  }
}

void FileList::addFolder(const std::string& folder, const Complaint& complaint) {
  folders_.push_back(folder);
  const auto index = static_cast<std::uint32_t>(folders_.size() - 1);
  for (const Entry& entry : entriesOf(folder, complaint)) {
    if (entry.isFolder) {
      // As deep as the system's longest path, beyond which no folder opens.
      addFolder(folder + entry.name + "/", complaint);
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
