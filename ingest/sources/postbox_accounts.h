#pragma once

#include <string>
#include <vector>

#include "platform/host_services.h"

namespace keldane {

/// What the preferences of the Postbox client tell about its accounts.
struct PostboxAccounts {
  enum class Missing { nothing, folders, prefsFile };
  std::string mailRootSuffix;  ///< the profile's folder below the home folder; empty: none found
  std::vector<MailAccount> accounts;
  Missing missing = Missing::nothing;  ///< what stands in the way of the accounts
};

/// `appFolder`: the client keeps its data in its second folder.
[[nodiscard]] PostboxAccounts findPostboxAccounts(const std::string& homePath, bool appFolder);

}  // namespace keldane
