#include "ingest/sources/postbox_accounts.h"

#include <optional>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr int kMostServers = 99;

/// What stands behind `beginning`, up to `end`; absent when one of them is missing.
std::optional<std::string> textBehind(std::string_view text, const std::string& beginning,
                                      char end) {
  const std::size_t at = text.find(beginning);
  if (at == std::string_view::npos) return std::nullopt;
  text.remove_prefix(at + beginning.size());
  const std::size_t length = text.find(end);
  if (length == std::string_view::npos && end != '\n') return std::nullopt;
  return std::string(text.substr(0, length));
}

/// The value of a line such as `user_pref("mail.root.none", "/path");`.
std::optional<std::string> preference(std::string_view text, const std::string& key) {
  return textBehind(text, key + "\", \"", '"');
}

bool isNoAccount(const std::string& name) {
  return name.find("All Accounts") != std::string::npos ||
         name.find("On My Mac") != std::string::npos;
}

std::vector<MailAccount> serversOf(std::string_view text, const std::string& root) {
  std::vector<MailAccount> accounts;
  for (int number = 1; number <= kMostServers; ++number) {
    const std::string server = "mail.server.server" + std::to_string(number);
    const std::optional<std::string> name = preference(text, server + ".name");
    if (!name || isNoAccount(*name)) continue;
    std::optional<std::string> path = preference(text, server + ".directory-rel");
    if (!path) continue;
    replaceAll(*path, "[ProfD]", root);
    accounts.push_back({*name, std::move(*path)});
  }
  return accounts;
}

}  // namespace

PostboxAccounts findPostboxAccounts(const std::string& homePath, bool appFolder) {
  PostboxAccounts found;
  const std::string data =
      std::string("/Library/Application Support/") + (appFolder ? "PostboxApp" : "Postbox") + "/";
  const Result<std::string> profiles = readFile(homePath + data + "profiles.ini");
  const std::optional<std::string> profile =
      profiles ? textBehind(*profiles, "Path=", '\n') : std::nullopt;
  if (!profile) {
    found.missing = PostboxAccounts::Missing::folders;
    return found;
  }
  found.mailRootSuffix = data + std::string(trimWhitespace(*profile));
  const Result<std::string> prefs = readFile(homePath + found.mailRootSuffix + "/prefs.js");
  if (!prefs) {
    found.missing = PostboxAccounts::Missing::prefsFile;
    return found;
  }
  std::optional<std::string> root = preference(*prefs, "mail.root.none");
  if (!root) {
    found.missing = PostboxAccounts::Missing::folders;
    return found;
  }
  removeAll(*root, "ImapMail");
  removeAll(*root, "Mail");
  found.accounts = serversOf(*prefs, *root);
  return found;
}

}  // namespace keldane
