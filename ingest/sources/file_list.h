#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace keldane {

/// Paths of all the files below some folders. A store holds hundreds of thousands, so each folder's
/// path is kept once and of each file its name alone.
class FileList {
 public:
  /// Told of a folder that cannot be read (its path without a slash behind), with the reason.
  using Complaint = std::function<void(const std::string& folder, const std::string& reason)>;

  /// A list of so many files takes no more.
  explicit FileList(std::size_t most = std::numeric_limits<std::size_t>::max()) : most_(most) {}

  /// Adds a file, or all that lies below a folder, each folder's entries in the order of their
  /// bytes. What does not exist adds nothing. A folder behind a symbolic link comes after all
  /// others, once, and only when no path without a link leads there; a link that leads nowhere
  /// counts as a file.
  void add(const std::string& path, const Complaint& complaint);

  [[nodiscard]] std::size_t size() const { return files_.size(); }
  [[nodiscard]] bool isFull() const { return files_.size() >= most_; }
  [[nodiscard]] std::string path(std::size_t index) const;

 private:
  struct File {
    std::uint32_t folder;
    std::uint32_t nameLength;
    std::size_t nameStart;
  };
  using FolderId = std::pair<std::uint64_t, std::uint64_t>;  ///< device and inode

  void addFolder(const std::string& folder, bool behindLink, const Complaint& complaint);
  void addName(std::uint32_t folder, std::string_view name);

  std::size_t most_;
  std::vector<std::string> folders_;  ///< with the slash behind, or empty
  std::string names_;
  std::vector<File> files_;
  std::set<FolderId> entered_;
  std::vector<std::string> links_;  ///< to folders, with the slash behind, not yet followed
};

}  // namespace keldane
