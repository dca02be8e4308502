#include "settings/mail_folders.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kKey = "mailFolders";
constexpr const char* kName = "name";
constexpr const char* kPath = "path";
/// Mailboxes begin with it, and must leave room for the folders below.
constexpr std::size_t kMostNameLength = 100;

std::string inQuotes(std::string_view text) { return "\"" + printable(text) + "\""; }

std::optional<std::string> textOf(const PlistValue& entry, const char* key) {
  if (entry.dict() == nullptr) return std::nullopt;
  const auto found = entry.dict()->find(key);
  return found == entry.dict()->end() ? std::nullopt : found->second.text();
}

/// Without a slash behind; a relative one is from the present folder.
Result<std::string> absolutePath(const std::string& path) {
  std::error_code failed;
  std::string absolute = fs::absolute(path, failed).lexically_normal().string();
  if (failed) return Failure{printable(path) + ": " + failed.message()};
  if (absolute.size() > 1 && absolute.back() == '/') absolute.pop_back();
  return absolute;
}

const MailFolder* named(const std::vector<MailFolder>& kept, const std::string& name) {
  for (const MailFolder& folder : kept) {
    if (compareNoCase(folder.name, name) == 0) return &folder;
  }
  return nullptr;
}

Result<void> checkPath(const std::string& path, const std::vector<MailFolder>& kept,
                       const std::string& homePath) {
  if (toUtf8(path) != path) {
    return Failure{"the path " + inQuotes(path) + " cannot be kept, because it is no UTF-8 text"};
  }
  if (!fileExists(path)) return Failure{"there is no folder or file " + inQuotes(path)};
  if (isOrHolds(path, homePath)) {
    return Failure{
        "the home folder and those above it are no sources; name the folder in it that "
        "holds the mail"};
  }
  for (const MailFolder& other : kept) {
    const std::string words = inQuotes(other.name) + " (" + printable(other.path) + ")";
    const bool inside = isOrHolds(other.path, path);
    const bool holds = isOrHolds(path, other.path);
    if (inside && holds) return Failure{inQuotes(path) + " is kept already, as " + words};
    if (inside)
      return Failure{inQuotes(path) + " lies in the source " + words + ", which is read whole"};
    if (holds) {
      return Failure{inQuotes(path) + " holds the source " + words +
                     ", so its mail would be read twice; remove that source first"};
    }
  }
  return {};
}

Result<void> checkName(const std::string& name, const std::vector<MailFolder>& kept) {
  const bool plain = !name.empty() && trimWhitespace(name) == name && toUtf8(name) == name &&
                     printable(name) == name && name.find('/') == std::string::npos &&
                     name.find("::") == std::string::npos;
  if (!plain || utf16Length(name) > kMostNameLength) {
    return Failure{inQuotes(name) + " is no name for a source: up to " +
                   std::to_string(kMostNameLength) +
                   " characters, without a slash, two colons, or blanks around it"};
  }
  if (const MailFolder* other = named(kept, name)) {
    return Failure{"there is a source " + inQuotes(other->name) + " already (" +
                   printable(other->path) + "); choose another name with --name"};
  }
  return {};
}

}  // namespace

bool isOrHolds(const std::string& outer, const std::string& inner) {
  std::error_code failed;
  const fs::path below = fs::weakly_canonical(inner, failed);
  if (failed) return true;
  const fs::path above = fs::weakly_canonical(outer, failed);
  if (failed) return true;
  return std::mismatch(above.begin(), above.end(), below.begin(), below.end()).first == above.end();
}

std::string freeName(std::string_view proposal, const std::vector<MailFolder>& kept) {
  std::string plain = toUtf8(utf16Prefix(proposal, kMostNameLength / 2));
  for (char& c : plain) {
    if (c == '/' || c == ':' || static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = ' ';
  }
  plain = std::string(trimWhitespace(plain));
  if (!checkName(plain, {})) plain = "Mail";
  std::string name = plain;
  for (int number = 2; named(kept, name) != nullptr; ++number) {
    name = plain + " " + std::to_string(number);
  }
  return name;
}

std::vector<MailFolder> readMailFolders(const PreferencesFile& prefs) {
  std::vector<MailFolder> folders;
  const PlistValue* stored = prefs.find(kKey);
  if (stored == nullptr || stored->array() == nullptr) return folders;
  for (const PlistValue& entry : *stored->array()) {
    std::optional<std::string> path = textOf(entry, kPath);
    if (!path || !path->starts_with('/')) continue;
    folders.push_back({textOf(entry, kName).value_or(""), std::move(*path)});
  }
  return folders;
}

bool isThere(const MailFolder& folder) { return fileExists(folder.path); }

Result<MailFolder> makeMailFolder(const std::string& path, const std::string& name,
                                  const std::vector<MailFolder>& kept,
                                  const std::string& homePath) {
  const Result<std::string> absolute = absolutePath(path);
  if (!absolute) return Failure{absolute.error()};
  if (const Result<void> fits = checkPath(*absolute, kept, homePath); !fits) {
    return Failure{fits.error()};
  }
  MailFolder folder{name.empty() ? freeName(lastPathComponent(*absolute), kept) : name, *absolute};
  if (const Result<void> fits = checkName(folder.name, kept); !fits) return Failure{fits.error()};
  return folder;
}

Result<void> keepMailFolder(PreferencesFile& prefs, const MailFolder& folder) {
  return prefs.edit([folder](PlistDict& keys) {
    PlistArray& list = listAt(keys, kKey);
    if (entryNamed(list, kPath, folder.path) != nullptr) return;
    list.push_back({PlistDict{{kName, {folder.name}}, {kPath, {folder.path}}}});
  });
}

Result<void> forgetMailFolder(PreferencesFile& prefs, const MailFolder& folder) {
  return prefs.edit([folder](PlistDict& keys) {
    std::erase_if(listAt(keys, kKey), [&folder](const PlistValue& entry) {
      return textOf(entry, kPath) == folder.path &&
             textOf(entry, kName).value_or("") == folder.name;
    });
  });
}

const MailFolder* findMailFolder(const std::vector<MailFolder>& kept,
                                 const std::string& nameOrPath) {
  if (const MailFolder* folder = named(kept, nameOrPath)) return folder;
  const Result<std::string> path = absolutePath(nameOrPath);
  for (const MailFolder& folder : kept) {
    if (path && folder.path == *path) return &folder;
  }
  return nullptr;
}

}  // namespace keldane
