#include "ingest/sources/thunderbird_profile.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSettings = "/prefs.js";
constexpr std::string_view kServerLine = "user_pref(\"mail.server.server";
/// A profile has some ten accounts; numbers of those that were removed are not used again.
constexpr int kMostServers = 999;

std::string joined(const std::string& folder, const std::string& path) {
  std::string whole = fs::path(path).is_absolute() ? path : folder + "/" + path;
  whole = fs::path(whole).lexically_normal().string();
  while (whole.size() > 1 && whole.back() == '/') whole.pop_back();
  return whole;
}

/// The value of "key=value"; empty when the line is another one.
std::string_view valueOf(std::string_view line, std::string_view key) {
  if (!line.starts_with(key)) return {};
  line.remove_prefix(key.size());
  return line.starts_with('=') ? trimWhitespace(line.substr(1)) : std::string_view();
}

std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    plain += text[i];
  }
  return plain;
}

/// The lines about accounts, of settings that may hold much else.
std::string serverLines(std::string_view prefs) {
  std::string lines;
  for (std::size_t at = prefs.find(kServerLine); at != std::string_view::npos;
       at = prefs.find(kServerLine, at + 1)) {
    lines.append(prefs.substr(at, prefs.find('\n', at) - at)).append("\n");
  }
  return lines;
}

/// The folder that an account's settings name: the place below the profile counts more, because it
/// holds when the profile has been moved.
std::string folderOfServer(std::string_view prefs, const std::string& key,
                           const std::string& profile) {
  constexpr std::string_view kInProfile = "[ProfD]";
  const std::string below = thunderbirdSetting(prefs, key + "directory-rel");
  if (below.starts_with(kInProfile)) return joined(profile, below.substr(kInProfile.size()));
  const std::string path = thunderbirdSetting(prefs, key + "directory");
  return path.empty() ? path : joined(profile, path);
}

}  // namespace

std::vector<ThunderbirdProfile> thunderbirdProfiles(const std::string& folder) {
  std::vector<ThunderbirdProfile> profiles;
  const Result<std::string> text = readFile(folder + "/profiles.ini");
  if (!text) return profiles;
  bool isProfile = false;
  for (std::string& line : split(*text, "\n")) {
    const std::string_view trimmed = trimWhitespace(line);
    if (trimmed.starts_with('[')) {
      isProfile = trimmed.starts_with("[Profile");
      if (isProfile) profiles.emplace_back();
    }
    if (!isProfile) continue;
    if (const auto name = valueOf(trimmed, "Name"); !name.empty()) profiles.back().name = name;
    if (const auto path = valueOf(trimmed, "Path"); !path.empty()) {
      profiles.back().path = joined(folder, std::string(path));
    }
  }
  profiles.erase(std::remove_if(profiles.begin(), profiles.end(),
                                [](const ThunderbirdProfile& one) { return one.path.empty(); }),
                 profiles.end());
  return profiles;
}

bool isThunderbirdProfile(const std::string& folder) {
  return fileExists(folder + kSettings) &&
         (isDirectory(folder + "/Mail") || isDirectory(folder + "/ImapMail"));
}

std::string thunderbirdSetting(std::string_view prefs, std::string_view key) {
  const std::string beginning = "user_pref(\"" + std::string(key) + "\",";
  std::size_t at = prefs.find(beginning);
  if (at == std::string_view::npos) return {};
  at = prefs.find_first_not_of(' ', at + beginning.size());
  if (at == std::string_view::npos || prefs[at] != '"') return {};
  std::size_t end = ++at;
  while (end < prefs.size() && prefs[end] != '"' && prefs[end] != '\n') {
    end += prefs[end] == '\\' ? 2 : 1;
  }
  return unescaped(prefs.substr(at, std::min(end, prefs.size()) - at));
}

std::vector<AccountFolder> thunderbirdAccounts(const std::string& profile) {
  std::vector<AccountFolder> accounts;
  std::set<std::string> known;
  const Result<std::string> text = readFile(profile + kSettings);
  const std::string prefs = text ? serverLines(*text) : std::string();
  for (int number = 1; !prefs.empty() && number <= kMostServers; ++number) {
    const std::string key = "mail.server.server" + std::to_string(number) + ".";
    std::string path = folderOfServer(prefs, key, profile);
    if (path.empty() || !known.insert(path).second) continue;
    if (thunderbirdSetting(prefs, key + "type") == "nntp" || !isDirectory(path)) continue;
    std::string name = thunderbirdSetting(prefs, key + "name");
    if (name.empty()) name = lastPathComponent(path);
    accounts.push_back({std::move(path), std::move(name)});
  }
  const std::size_t listed = accounts.size();
  for (const char* place : {"/Mail", "/ImapMail"}) {
    std::error_code failed;
    for (fs::directory_iterator entry(profile + place, failed), end; !failed && entry != end;
         entry.increment(failed)) {
      const std::string path = entry->path().string();
      if (known.count(path) != 0 || !isDirectory(path)) continue;
      accounts.push_back({path, entry->path().filename().string()});
    }
  }
  std::sort(accounts.begin() + static_cast<std::ptrdiff_t>(listed), accounts.end(),
            [](const AccountFolder& a, const AccountFolder& b) { return a.path < b.path; });
  return accounts;
}

}  // namespace keldane
