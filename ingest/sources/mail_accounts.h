#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "platform/host_services.h"
#include "platform/process_state.h"
#include "settings/property_list.h"

namespace keldane {

/// One row of the source selection.
struct AcctsRow {
  bool acctCheck = true;
  std::string acctDesc;
};

/// Order of two rows: negative, 0 or positive.
[[nodiscard]] inline int acctDescComparison(const AcctsRow& a, const AcctsRow& b) {
  return compareNoCase(a.acctDesc, b.acctDesc);
}

/// Folder id of an account: the part of its folder's text behind the store's version folder,
/// without slashes. `Disk:Users:u:Library:Mail:V10:1-2` in a V10 store gives `1-2`. `version` is
/// that of `versionFolder`; empty is taken for "/V3".
[[nodiscard]] std::string accountFolderId(std::string folderText, std::string_view version);

/// The mail client's preferences: those of a V2 store itself where they can be read, otherwise
/// those of the user. Absent when there are none, or when they are damaged.
[[nodiscard]] std::optional<PlistDict> readMailPrefs(const ProcessState& process);
/// The accounts listed there that have a folder. An account without a name has an empty one.
[[nodiscard]] std::vector<MailAccount> accountsOfPrefs(const PlistDict& prefs);

/// The accounts of a V3 or newer store as its folders show them, for a machine that has the store
/// but not the mail client. An account is called by its address where the store knows it, otherwise
/// by its folder id.
[[nodiscard]] std::vector<MailAccount> accountsInStore(const ProcessState& process);

/// Rows of accounts, all checked, in the order of their names; both lists have the same order.
struct AccountRows {
  std::vector<AcctsRow> ids;
  std::vector<AcctsRow> names;
};
[[nodiscard]] AccountRows rowsOfAccounts(const std::vector<MailAccount>& accounts,
                                         std::string_view mailRootSuffix);
/// A checked row for each folder in the store that may be an account's.
[[nodiscard]] std::vector<AcctsRow> rowsOfFolders(const std::string& store);

}  // namespace keldane
