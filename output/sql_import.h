#pragma once

#include <string>

#include "archive/fingerprints.h"
#include "output/database_tools.h"

namespace keldane {

/// The database that a file names, as a name: without the blank before it and the quotes of a
/// tool's dump. Empty when it is none that an archive can have.
[[nodiscard]] std::string importedDatabase(const SqlFile& file);

/// `importSQL` with what it leaves to do: a database that the file makes has room for every
/// character, and `keldane_fingerprints` is made again for the messages that have come, unless the
/// file has brought it. `reading` has the session, which stays on its database. Fails as
/// `importSQL` does; what had come by then is seen to all the same.
[[nodiscard]] Result<void> importArchive(const ToolContext& tools,
                                         const Fingerprints::Context& reading,
                                         const std::string& path);

}  // namespace keldane
