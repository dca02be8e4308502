#include "ingest/sources/mail_accounts.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/hex.h"
#include "base/text.h"
#include "ingest/sources/mail_store_probe.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

/// Folders of the store that belong to no account begin so.
constexpr std::array<std::string_view, 3> kNoAccounts = {"Bundles", "Mailbox", "Signatu"};
constexpr const char* kStoreData = "MailData";
constexpr const char* kLocalAccount = "LocalAccountName";

bool belongsToNoAccount(std::string_view name) {
  return std::any_of(kNoAccounts.begin(), kNoAccounts.end(),
                     [name](std::string_view beginning) { return name.starts_with(beginning); });
}

std::vector<std::string> foldersIn(const std::string& path) {
  std::vector<std::string> names;
  std::error_code failed;
  for (fs::directory_iterator entry(path, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    std::error_code unknown;
    if (entry->is_directory(unknown)) names.push_back(entry->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<PlistDict> readDict(const std::string& path) {
  const Result<std::string> bytes = readFile(path);
  if (!bytes) return std::nullopt;
  const Result<PlistValue> list = parsePlist(*bytes);
  if (!list || list->dict() == nullptr) return std::nullopt;
  return *list->dict();
}

std::string textOf(const PlistDict& dict, const char* key) {
  const auto found = dict.find(key);
  return found == dict.end() ? std::string() : found->second.text().value_or("");
}

std::string withoutPercentCoding(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const int high = text[at] == '%' && at + 2 < text.size() ? hexValue(text[at + 1]) : -1;
    const int low = high >= 0 ? hexValue(text[at + 2]) : -1;
    if (low >= 0) {
      plain += static_cast<char>(high * 16 + low);
      at += 2;
    } else {
      plain += text[at];
    }
  }
  return toUtf8(plain);
}

/// `imap://ann%40example.com@imap.example.com/` gives `ann@example.com`, and a login that is no
/// address gets its server behind it. Empty when the text names no login.
std::string addressOfUrl(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string_view::npos) return {};
  url.remove_prefix(scheme + 3);
  url = url.substr(0, url.find('/'));
  const std::size_t at = url.rfind('@');
  if (at == std::string_view::npos || at == 0) return {};
  std::string login = withoutPercentCoding(url.substr(0, at));
  if (login.find('@') == std::string::npos) login.append(url.substr(at));
  return login;
}

/// Addresses of accounts by their folder ids, from the list that the store keeps for signatures.
std::map<std::string, std::string> addressesInStore(const std::string& store) {
  std::map<std::string, std::string> addresses;
  const auto list = readDict(store + "/" + kStoreData + "/Signatures/AccountsMap.plist");
  if (!list) return addresses;
  for (const auto& [id, account] : *list) {
    if (account.dict() == nullptr) continue;
    std::string address = addressOfUrl(textOf(*account.dict(), "AccountURL"));
    if (!address.empty()) addresses.emplace(id, std::move(address));
  }
  return addresses;
}

}  // namespace

std::string accountFolderId(std::string folderText, std::string_view version) {
  replaceAll(folderText, ":", "/");
  const std::string marker = std::string(version.empty() ? "/V3" : version) + "/";
  // With a number of two digits a slash stays in front, and goes with the others.
  constexpr std::size_t kMarkerLength = 4;
  if (const std::size_t at = folderText.find(marker); at != std::string::npos) {
    folderText.erase(0, at + kMarkerLength);
  }
  removeAll(folderText, "/");
  return folderText;
}

std::optional<PlistDict> readMailPrefs(const ProcessState& process) {
  if (process.mailRootSuffix.ends_with("/V2")) {
    auto ofStore = readDict(process.homePath + "/Library/Mail/V2/MailData/Accounts.plist");
    if (ofStore) return ofStore;
  }
  return readDict(process.homePath + "/Library/Preferences/com.apple.mail.plist");
}

std::vector<MailAccount> accountsOfPrefs(const PlistDict& prefs) {
  std::vector<MailAccount> accounts;
  const auto listed = prefs.find("MailAccounts");
  if (listed == prefs.end() || listed->second.array() == nullptr) return accounts;
  for (const PlistValue& entry : *listed->second.array()) {
    if (entry.dict() == nullptr) continue;
    std::string path = textOf(*entry.dict(), "AccountPath");
    if (!path.empty()) accounts.push_back({textOf(*entry.dict(), "AccountName"), std::move(path)});
  }
  return accounts;
}

std::vector<MailAccount> accountsInStore(const ProcessState& process) {
  std::vector<MailAccount> accounts;
  const std::string version = versionFolder(process);
  if (version.empty()) return accounts;
  const std::string store = process.homePath + process.mailRootSuffix + version;
  const std::map<std::string, std::string> addresses = addressesInStore(store);
  for (const std::string& id : foldersIn(store)) {
    if (belongsToNoAccount(id) || id == kStoreData || id.starts_with('.')) continue;
    const auto address = addresses.find(id);
    accounts.push_back({address == addresses.end() ? id : address->second, id});
  }
  return accounts;
}

AccountRows rowsOfAccounts(const std::vector<MailAccount>& accounts,
                           std::string_view mailRootSuffix) {
  struct Row {
    AcctsRow name;
    AcctsRow id;
  };
  const std::string storeFolder = "~" + std::string(mailRootSuffix) + "/";
  std::vector<Row> rows;
  for (const MailAccount& account : accounts) {
    std::string path = account.path;
    removeAll(path, storeFolder);
    if (account.name.empty() ? path.ends_with("Mailboxes") : account.name == kLocalAccount) {
      continue;
    }
    const std::string& name = account.name.empty() ? path : account.name;
    rows.push_back({{true, name}, {true, path}});
  }
  // Both lists by one comparison: a click on a row of the one must mean the same row of the other,
  // also where one name is the beginning of another.
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    const int byName = acctDescComparison(a.name, b.name);
    return byName != 0 ? byName < 0 : acctDescComparison(a.id, b.id) < 0;
  });
  AccountRows sorted;
  for (Row& row : rows) {
    sorted.ids.push_back(std::move(row.id));
    sorted.names.push_back(std::move(row.name));
  }
  return sorted;
}

std::vector<AcctsRow> rowsOfFolders(const std::string& store) {
  std::vector<AcctsRow> rows;
  for (std::string& name : foldersIn(store)) {
    if (!belongsToNoAccount(name)) rows.push_back({true, std::move(name)});
  }
  std::stable_sort(rows.begin(), rows.end(), [](const AcctsRow& a, const AcctsRow& b) {
    return acctDescComparison(a, b) < 0;
  });
  return rows;
}

}  // namespace keldane
