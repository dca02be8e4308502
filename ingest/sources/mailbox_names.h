#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host_services.h"
#include "platform/process_state.h"

namespace keldane {

/// The mailbox that a path of the store lies in, for the selection: the path below the store, up to
/// and with the last mailbox extension. `path` begins with `mailRootSuffix`.
/// `/Library/Mail/V10/12/INBOX.mbox/34/Data/Messages/1.emlx` gives `V10/12/INBOX.mbox`. Absent for
/// what is no message, or lies in no mailbox.
[[nodiscard]] std::optional<std::string> selectableMailbox(std::string_view path,
                                                           const ProcessState& process);

/// The mailboxes of the store that have messages, each once, in the order in which the store's
/// folders are gone through: by the bytes of their names. Folders behind symbolic links are not
/// entered; one that cannot be read is passed over.
[[nodiscard]] std::vector<std::string> mailboxesInStore(const ProcessState& process);

/// A mailbox for the eye: the folder id of the first account that occurs in it replaced by the
/// account's name.
[[nodiscard]] std::string mailboxForDisplay(std::string mailbox,
                                            const std::vector<MailAccount>& accounts);

}  // namespace keldane
