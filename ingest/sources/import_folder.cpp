#include "ingest/sources/import_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>

#include <dirent.h>

#include "base/text.h"
#include "ingest/storing/stored_rows.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

/// More are counted and not named.
constexpr std::size_t kMostNamed = 100;
constexpr const char* kNoMessage = "no message in it";
constexpr const char* kArrived = "came during the run";
constexpr const char* kChanged = "changed during the run";
constexpr const char* kNotStored = "its rows were not found when the archive was asked once more";

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

std::string systemReason() { return std::generic_category().message(errno); }

/// Names in the folder behind the descriptor, which is closed.
std::optional<std::vector<std::string>> namesIn(int descriptor) {
  const std::unique_ptr<DIR, CloseFolder> folder(::fdopendir(descriptor));
  if (!folder) {
    ::close(descriptor);
    return std::nullopt;
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(folder.get())) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
  }
  if (errno != 0) return std::nullopt;
  std::sort(names.begin(), names.end());
  return names;
}

auto keyOf(const FileState& state) { return std::tie(state.device, state.inode); }

/// A folder that holds the home folder, or is it, whatever links lead there.
bool holdsHome(const std::string& folder, const std::string& homePath) {
  std::error_code error;
  const fs::path real = fs::canonical(folder, error);
  if (error) return true;  // what cannot be told is not emptied
  const fs::path home = fs::canonical(homePath, error);
  if (error) return true;
  return std::mismatch(real.begin(), real.end(), home.begin(), home.end()).first == real.end();
}

std::string reasonOf(LedgerOutcome outcome, std::string_view detail) {
  if (outcome == LedgerOutcome::notMail) return std::string(detail);
  return std::string(outcomeName(outcome)) + ": " + std::string(detail);
}

bool isSettling(LedgerOutcome outcome) {
  return outcome == LedgerOutcome::archived || outcome == LedgerOutcome::duplicate ||
         outcome == LedgerOutcome::excluded;
}

}  // namespace

ImportFolder::ImportFolder(std::string folder) : folder_(std::move(folder)) {
  while (folder_.size() > 1 && folder_.back() == '/') folder_.pop_back();
}

LeftInFolder ImportFolder::leaveAll(std::string reason) { return {0, {}, std::move(reason)}; }

std::string_view ImportFolder::entryOf(std::string_view path) const {
  if (!path.starts_with(folder_)) return {};
  path.remove_prefix(folder_.size());
  if (folder_ != "/" && !path.starts_with('/')) return {};
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  return path.substr(0, path.find('/'));
}

void ImportFolder::keep(const std::string& path, std::string_view reason) {
  const std::string_view entry = entryOf(path);
  if (!entry.empty()) kept_.try_emplace(std::string(entry), reason);
}

void ImportFolder::beginFile(const std::string& path, const FileState& state) {
  path_ = path;
  before_ = state;
  ids_.clear();
  hasMessage_ = false;
}

void ImportFolder::outcome(LedgerOutcome outcome, std::string_view detail) {
  if (path_.empty()) return;
  if (!isSettling(outcome)) {
    keep(path_, reasonOf(outcome, detail));
    return;
  }
  hasMessage_ = true;
  if (outcome == LedgerOutcome::excluded) return;
  ids_.push_back(static_cast<std::uint32_t>(std::max(0, leadingInt(detail))));
}

void ImportFolder::endFile() {
  const std::string path = std::exchange(path_, {});
  const std::string_view entry = entryOf(path);
  if (entry.empty()) return;
  if (!hasMessage_) keep(path, kNoMessage);
  const Result<FileState> after = stateOf(path);
  if (!after || *after != before_) keep(path, kChanged);
  if (kept_.contains(entry)) return;
  for (const std::uint32_t id : ids_) {
    rows_.emplace_back(id, static_cast<std::uint32_t>(settled_.size()));
  }
  settled_.push_back({before_, true});
}

bool ImportFolder::askForRows(ServerSession& session) {
  std::vector<std::uint32_t> ids;
  ids.reserve(rows_.size());
  for (const auto& [id, file] : rows_) ids.push_back(id);
  const std::optional<std::vector<std::uint32_t>> missing = idsWithoutRows(session, ids);
  if (!missing) return false;
  for (const auto& [id, file] : rows_) {
    if (std::binary_search(missing->begin(), missing->end(), id)) settled_[file].inArchive = false;
  }
  return true;
}

LeftInFolder ImportFolder::empty(ServerSession& session, const std::string& homePath,
                                 const std::function<void(int seconds)>& pause) {
  if (holdsHome(folder_, homePath)) {
    return leaveAll("the folder cannot be found, or the home folder is in it");
  }
  if (!settled_.empty()) {
    flushServerLog(session, pause);
    if (!askForRows(session)) {
      return leaveAll("the archive could not be asked once more: " + session.error());
    }
  }
  // From here on files are found by what they are and not by where they lie.
  std::sort(settled_.begin(), settled_.end(), [](const Settled& a, const Settled& b) {
    if (keyOf(a.state) != keyOf(b.state)) return keyOf(a.state) < keyOf(b.state);
    return a.inArchive < b.inArchive;  // of one file under two names, what is in doubt comes first
  });
  const int folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return leaveAll(systemReason());
  const auto names = namesIn(::dup(folder));
  LeftInFolder left;
  if (!names) left.reason = systemReason();
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    const auto known = kept_.find(name);
    std::string reason = known != kept_.end() ? known->second : visit(folder, name, Pass::look);
    if (reason.empty()) reason = visit(folder, name, Pass::remove);
    if (reason.empty()) continue;
    ++left.count;
    if (left.entries.size() < kMostNamed) left.entries.push_back({name, std::move(reason)});
  }
  ::close(folder);
  return left;
}

std::string ImportFolder::visit(int folder, const std::string& name, Pass pass) const {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? std::string() : systemReason();
  }
  if (S_ISDIR(status.st_mode)) return visitFolder(folder, name, pass);
  if (std::string reason = visitFile(folder, name); !reason.empty()) {
    return S_ISLNK(status.st_mode) ? "a link: " + reason : reason;
  }
  if (pass == Pass::remove && ::unlinkat(folder, name.c_str(), 0) != 0) return systemReason();
  return {};
}

std::string ImportFolder::visitFolder(int folder, const std::string& name, Pass pass) const {
  const int inner = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (inner < 0) return systemReason();
  const auto names = namesIn(::dup(inner));
  std::string reason = names ? std::string() : systemReason();
  for (const std::string& each : names.value_or(std::vector<std::string>())) {
    reason = visit(inner, each, pass);
    if (!reason.empty()) break;
  }
  ::close(inner);
  if (!reason.empty() || pass == Pass::look) return reason;
  if (::unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0) return {};
  return errno == ENOTEMPTY || errno == EEXIST ? kArrived : systemReason();
}

std::string ImportFolder::visitFile(int folder, const std::string& name) const {
  const Result<FileState> now = stateOf(folder, name);
  if (!now) return now.error();
  const auto found = std::lower_bound(settled_.begin(), settled_.end(), *now,
                                      [](const Settled& settled, const FileState& state) {
                                        return keyOf(settled.state) < keyOf(state);
                                      });
  if (found == settled_.end() || keyOf(found->state) != keyOf(*now)) return kArrived;
  if (found->state != *now) return kChanged;
  return found->inArchive ? std::string() : kNotStored;
}

}  // namespace keldane
