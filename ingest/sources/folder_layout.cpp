#include "ingest/sources/folder_layout.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "base/base64.h"
#include "base/files.h"
#include "base/hex.h"
#include "base/text.h"
#include "ingest/sources/thunderbird_profile.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFrom = "From ";

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool isDigits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool endsNoCase(std::string_view text, std::string_view ending) {
  return text.size() > ending.size() &&
         compareNoCase(text.substr(text.size() - ending.size()), ending) == 0;
}

/// One of the folders among which Evolution shares the messages of a folder out.
bool isShare(std::string_view name) {
  return name.size() == 2 && hexValue(name[0]) >= 0 && hexValue(name[1]) >= 0;
}

/// The bytes of a text in base64; none unless it is what an encoder makes of them.
std::string strictlyDecoded(const std::string& coded) {
  const std::string bytes = decodeBase64(coded);
  std::string again;
  appendBase64(again, bytes);
  again.erase(again.find_last_not_of('=') + 1);
  return again == coded ? bytes : std::string();
}

/// UTF-8 of UTF-16 with the high byte first; absent when it is none.
std::optional<std::string> utf8Of(std::string_view utf16) {
  if (utf16.empty() || utf16.size() % 2 != 0) return std::nullopt;
  std::string text;
  char32_t high = 0;
  for (std::size_t i = 0; i < utf16.size(); i += 2) {
    const char32_t unit = static_cast<char32_t>(static_cast<unsigned char>(utf16[i])) << 8U |
                          static_cast<unsigned char>(utf16[i + 1]);
    const bool isLow = unit >= 0xDC00 && unit <= 0xDFFF;
    if (isLow != (high != 0)) return std::nullopt;
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      high = unit;
      continue;
    }
    appendUtf8(text, isLow ? 0x10000 + ((high - 0xD800) << 10U) + (unit - 0xDC00) : unit);
    high = 0;
  }
  if (high != 0) return std::nullopt;
  return text;
}

bool lookForDottedFolders(const std::string& maildir) {
  if (fileExists(maildir + "/subscriptions")) return true;
  std::error_code failed;
  for (fs::directory_iterator entry(maildir, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    if (entry->path().filename().string().front() != '.') continue;
    if (isDirectory(entry->path().string() + "/cur")) return true;
  }
  return false;
}

/// The levels that the name of a folder stands for.
std::vector<std::string> levelsOf(std::string_view name, bool isMaildir) {
  constexpr std::string_view kSubfolders = ".directory";
  if (name.starts_with('.') && endsNoCase(name, kSubfolders)) {
    name.remove_prefix(1);
    name.remove_suffix(kSubfolders.size());
  } else if (name.starts_with('.') && isMaildir) {
    std::vector<std::string> levels = split(name.substr(1), ".");
    for (std::string& level : levels) level = decodeFolderName(level);
    return levels;
  }
  for (const std::string_view ending : {".sbd", ".mbox"}) {
    if (endsNoCase(name, ending)) name.remove_suffix(ending.size());
  }
  return {decodeFolderName(name)};
}

}  // namespace

FolderLayout::FolderLayout(std::string name, std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  if (isThunderbirdProfile(path)) {
    for (AccountFolder& account : thunderbirdAccounts(path)) {
      places_.push_back({std::move(account.path), name + "/" + account.name});
    }
    return;
  }
  // Beside the folders of an account lie its indexes and its certificates.
  isEvolutionCache_ = isDirectory(path + "/folders") && !isDirectory(path + "/cur");
  if (isEvolutionCache_) path += "/folders";
  places_.push_back({std::move(path), std::move(name)});
}

std::vector<std::string> FolderLayout::places() const {
  std::vector<std::string> paths;
  for (const Place& place : places_) {
    // What lies in another place comes with that.
    const bool isInner = std::any_of(places_.begin(), places_.end(), [&](const Place& other) {
      return place.path.starts_with(other.path + "/");
    });
    if (!isInner) paths.push_back(place.path);
  }
  return paths;
}

bool FolderLayout::hasDottedFolders(const std::string& maildir) {
  const auto known = dotted_.find(maildir);
  if (known != dotted_.end()) return known->second;
  return dotted_.emplace(maildir, lookForDottedFolders(maildir)).first->second;
}

bool FolderLayout::isMaildir(const std::string& folder) {
  const auto known = maildirs_.find(folder);
  if (known != maildirs_.end()) return known->second;
  const bool isOne = isDirectory(folder + "/cur") && isDirectory(folder + "/new");
  return maildirs_.emplace(folder, isOne).first->second;
}

MailForm FolderLayout::formOf(const std::string& path) {
  const std::string folder = folderOf(path);
  const std::string_view folderName = lastPathComponent(folder);
  const std::string above = folderOf(folder);
  if ((folderName == "cur" || folderName == "new") && isMaildir(above)) {
    return MailForm::maildirMessage;
  }
  if (folderName == "tmp" && isMaildir(above)) return MailForm::undelivered;
  if (isEvolutionCache_ && isShare(folderName) && lastPathComponent(above) == "cur") {
    return MailForm::maildirMessage;
  }
  const std::string_view name = lastPathComponent(path);
  if (endsNoCase(name, ".eml") || endsNoCase(name, ".emlx")) return MailForm::messageFile;
  if (!isDigits(name)) return MailForm::several;
  // A number names a message of an MH folder, or the mbox of a year.
  const Result<std::string> beginning = readBeginning(path, kFrom.size());
  return beginning && *beginning != kFrom ? MailForm::mhMessage : MailForm::several;
}

const FolderLayout::Place* FolderLayout::placeOf(std::string_view path) const {
  const Place* nearest = nullptr;
  for (const Place& place : places_) {
    const bool isIn = path.starts_with(place.path) &&
                      (path.size() == place.path.size() || path[place.path.size()] == '/');
    if (isIn && (nearest == nullptr || place.path.size() > nearest->path.size())) nearest = &place;
  }
  return nearest;
}

std::string FolderLayout::mailboxOf(const std::string& path, MailForm form) {
  const Place* place = placeOf(path);
  if (place == nullptr) return toUtf8(path);
  std::string mailbox = place->mailbox;
  std::string folder = place->path;
  std::vector<std::string> names;
  if (path.size() > folder.size()) names = split(path.substr(folder.size() + 1), "/");
  if (form != MailForm::several && !names.empty()) {
    names.pop_back();
    // Of a Maildir neither the folder of its messages counts, nor one of its shares.
    if (isEvolutionCache_ && names.size() >= 2 && isShare(names.back())) names.pop_back();
    const bool inMaildir =
        !names.empty() && (names.back() == "cur" || names.back() == "new" || names.back() == "tmp");
    if (inMaildir) names.pop_back();
    if (inMaildir && names.empty() && !isEvolutionCache_ && hasDottedFolders(folder)) {
      mailbox += "/INBOX";
    }
  } else if (!names.empty() && names.back() == "mbox") {
    // The file of a mailbox that is exported as a folder.
    const std::string& above = names.size() > 1 ? names[names.size() - 2] : folder;
    if (endsNoCase(lastPathComponent(above), ".mbox")) names.pop_back();
  }
  for (const std::string& name : names) {
    folder += "/" + name;
    if (isEvolutionCache_ && name == "subfolders") continue;
    for (const std::string& level : levelsOf(name, isMaildir(folder))) mailbox += "/" + level;
  }
  return toUtf8(mailbox);
}

std::string decodeFolderName(std::string_view name) {
  std::string decoded;
  while (!name.empty()) {
    const std::size_t begin = name.find('&');
    decoded += name.substr(0, begin);
    if (begin == std::string_view::npos) break;
    name.remove_prefix(begin);
    const std::size_t end = name.find('-');
    std::string coded(name.substr(1, end == std::string_view::npos ? 0 : end - 1));
    std::replace(coded.begin(), coded.end(), ',', '/');
    std::optional<std::string> text;
    if (end == 1) {
      text = "&";
    } else if (end != std::string_view::npos) {
      text = utf8Of(strictlyDecoded(coded));
    }
    decoded += text ? *text : std::string("&");
    name.remove_prefix(text ? end + 1 : 1);
  }
  return decoded;
}

}  // namespace keldane
