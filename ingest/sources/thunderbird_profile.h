#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace keldane {

/// A folder with the mail of one account, and what its user calls the account.
struct AccountFolder {
  std::string path;
  std::string name;
};

struct ThunderbirdProfile {
  std::string path;
  std::string name;
};

/// The profiles that the `profiles.ini` of a folder lists, in its order.
[[nodiscard]] std::vector<ThunderbirdProfile> thunderbirdProfiles(const std::string& folder);

/// Whether the folder is a profile: its settings lie in it.
[[nodiscard]] bool isThunderbirdProfile(const std::string& folder);

/// Where a profile keeps mail: the accounts of its settings, wherever their folders are, and those
/// that lie in the profile from earlier times. News is left out.
[[nodiscard]] std::vector<AccountFolder> thunderbirdAccounts(const std::string& profile);

/// The value of a setting in the text of a `prefs.js`; empty when it is not set to a text.
[[nodiscard]] std::string thunderbirdSetting(std::string_view prefs, std::string_view key);

}  // namespace keldane
