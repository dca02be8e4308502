#include "ingest/sources/mail_places.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "ingest/sources/thunderbird_profile.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

/// Names in a folder, in order; none when it cannot be read.
std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code failed;
  for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    names.push_back(entry->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// The value of the first line "key=value" of a settings file, after either form of the key.
std::string valueIn(const std::string& file, std::string_view key) {
  const Result<std::string> text = readFile(file);
  if (!text) return {};
  for (const std::string& line : split(*text, "\n")) {
    const std::size_t equals = line.find('=');
    std::string_view name = trimWhitespace(std::string_view(line).substr(0, equals));
    // The mark says that variables in the value are to be put in.
    if (name.ends_with("[$e]")) name.remove_suffix(4);
    if (equals == std::string::npos || name != key) continue;
    return std::string(trimWhitespace(std::string_view(line).substr(equals + 1)));
  }
  return {};
}

/// A path out of a program's settings; empty when it is none of this machine.
std::string pathOf(std::string value, const std::string& homePath) {
  if (value.starts_with("file://")) value.erase(0, 7);
  if (value.starts_with("$HOME")) value.replace(0, 5, homePath);
  if (value.starts_with("~/")) value.replace(0, 1, homePath);
  if (value.empty()) return value;
  if (value.front() != '/') value = homePath + "/" + value;
  value = fs::path(value).lexically_normal().string();
  while (value.size() > 1 && value.back() == '/') value.pop_back();
  return value;
}

class Places {
 public:
  explicit Places(const std::string& homePath) : home_(homePath) {}

  void addThunderbird() {
    std::vector<ThunderbirdProfile> all;
    for (const char* folder : {"/.thunderbird", "/snap/thunderbird/common/.thunderbird",
                               "/.var/app/org.mozilla.Thunderbird/.thunderbird",
                               "/.var/app/org.mozilla.thunderbird/.thunderbird", "/.icedove",
                               "/.mozilla-thunderbird", "/.betterbird", "/Library/Thunderbird"}) {
      for (ThunderbirdProfile& profile : thunderbirdProfiles(home_ + folder)) {
        if (isThunderbirdProfile(profile.path)) all.push_back(std::move(profile));
      }
    }
    for (ThunderbirdProfile& profile : all) {
      const bool isNamed = all.size() > 1 && !profile.name.empty();
      add(MailKind::thunderbird, isNamed ? "Thunderbird " + profile.name : "Thunderbird",
          std::move(profile.path));
    }
  }

  void addEvolution() {
    const char* const kConfig = "/evolution/sources/";
    struct Install {
      const char* data;
      const char* cache;
      const char* config;
    };
    for (const auto& [data, cache, config] :
         {Install{"/.local/share", "/.cache", "/.config"},
          Install{"/.var/app/org.gnome.Evolution/data", "/.var/app/org.gnome.Evolution/cache",
                  "/.var/app/org.gnome.Evolution/config"}}) {
      add(MailKind::evolution, "Evolution", home_ + data + "/evolution/mail/local");
      const std::string accounts = home_ + cache + "/evolution/mail";
      for (const std::string& account : namesIn(accounts)) {
        const std::string source = home_ + config + kConfig + account + ".source";
        const std::string name = valueIn(source, "DisplayName");
        add(MailKind::evolution, "Evolution " + (name.empty() ? account : name),
            accounts + "/" + account);
      }
    }
    add(MailKind::evolution, "Evolution", home_ + "/.evolution/mail/local");
  }

  void addKMail() {
    for (const char* config : {"/.config", "/.kde/share/config", "/.kde4/share/config",
                               "/.var/app/org.kde.kontact/config"}) {
      const std::string folder = home_ + config;
      for (const std::string& file : namesIn(folder)) {
        if (!matchesWildcard(file, "akonadi_m*_resource*rc")) continue;
        addKMailFolder(pathOf(valueIn(folder + "/" + file, "Path"), home_));
      }
    }
    for (const char* folder :
         {"/.local/share/local-mail", "/.var/app/org.kde.kontact/data/local-mail",
          "/.var/app/org.kde.kmail2/data/local-mail", "/.kde/share/apps/kmail/mail",
          "/.kde4/share/apps/kmail/mail"}) {
      addKMailFolder(home_ + folder);
    }
  }

  void addClaws() {
    for (const char* settings : {"/.claws-mail", "/.sylpheed-2.0", "/.sylpheed"}) {
      const Result<std::string> list = readFile(home_ + settings + "/folderlist.xml");
      if (list) addMhFolders(*list);
      add(MailKind::claws, "Claws Mail IMAP", home_ + settings + "/imapcache");
    }
  }

  void addOpen() {
    const Result<std::string> profile = readFile(home_ + "/.mh_profile");
    if (profile) {
      for (const std::string& line : split(*profile, "\n")) {
        if (!line.starts_with("Path:")) continue;
        const std::string path =
            pathOf(std::string(trimWhitespace(std::string_view(line).substr(5))), home_);
        if (!path.empty()) add(MailKind::mh, std::string(lastPathComponent(path)), path, true);
      }
    }
    for (const char* name : {"Maildir", "Mail", "mail", ".maildir", ".mail"}) {
      add(MailKind::maildir, name, home_ + "/" + name, true);
    }
  }

  std::vector<MailPlace> take() { return std::move(places_); }

 private:
  void add(MailKind kind, std::string name, std::string path, bool kindIsOpen = false) {
    places_.push_back({kind, {std::move(name), std::move(path)}, kindIsOpen});
  }

  /// Folders of folders lie beside what they belong to, under a name with a dot.
  void addKMailFolder(const std::string& path) {
    if (path.empty()) return;
    const std::size_t slash = path.rfind('/') + 1;
    add(MailKind::kmail, "KMail", path);
    add(MailKind::kmail, "KMail folders",
        path.substr(0, slash) + "." + path.substr(slash) + ".directory");
  }

  /// What the list says of folders that hold mail themselves: <folder type="mh" ... path="Mail">.
  void addMhFolders(std::string_view list) {
    constexpr std::string_view kFolder = "<folder ";
    for (std::size_t at = list.find(kFolder); at != std::string_view::npos;
         at = list.find(kFolder, at + 1)) {
      const std::string_view tag = list.substr(at, list.find('>', at) - at);
      constexpr std::string_view kPath = " path=\"";
      const std::size_t begin = tag.find(kPath);
      if (tag.find(" type=\"mh\"") == std::string_view::npos || begin == std::string_view::npos) {
        continue;
      }
      std::string_view value = tag.substr(begin + kPath.size());
      value = value.substr(0, value.find('"'));
      const std::string path = pathOf(std::string(value), home_);
      if (!path.empty()) add(MailKind::claws, "Claws Mail", path);
    }
  }

  const std::string& home_;
  std::vector<MailPlace> places_;
};

}  // namespace

std::string_view mailKindName(MailKind kind) {
  switch (kind) {
    case MailKind::mailStore:
      return "Mail";
    case MailKind::thunderbird:
      return "Thunderbird";
    case MailKind::evolution:
      return "Evolution";
    case MailKind::kmail:
      return "KMail";
    case MailKind::claws:
      return "Claws Mail";
    case MailKind::maildir:
      return "Maildir";
    case MailKind::mh:
      return "MH folders";
    case MailKind::mbox:
      return "mbox files";
    case MailKind::spool:
      return "system mailbox";
    case MailKind::exported:
      return "exported mail";
    case MailKind::takeout:
      return "Takeout";
    case MailKind::outlook:
      return "Outlook file";
  }
  return {};
}

std::vector<MailPlace> programPlaces(const std::string& homePath) {
  Places places(homePath);
  places.addThunderbird();
  places.addEvolution();
  places.addKMail();
  places.addClaws();
  places.addOpen();
  return places.take();
}

}  // namespace keldane
