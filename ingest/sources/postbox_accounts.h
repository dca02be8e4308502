#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/host_services.h"
#include "platform/user_interface.h"

namespace keldane {

/// What the preferences of the Postbox client tell about its accounts.
struct PostboxAccounts {
  std::string mailRootSuffix;  ///< the profile's folder below the home folder; empty: none found
  std::vector<MailAccount> accounts;
  std::optional<Alert> failure;
};

/// `appFolder`: the client keeps its data in its second folder.
[[nodiscard]] PostboxAccounts findPostboxAccounts(const std::string& homePath, bool appFolder);

}  // namespace keldane
