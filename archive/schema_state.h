#pragma once

#include <string>

#include "archive/server_session.h"

namespace keldane {

/// Whether an archive has all that the statements of archive/archive_schema.h would give it: asked
/// with one question, because each of those stops every writer, on a cluster those of all its
/// nodes. With `indexes`, those too, as far as the server makes them. False too when the database
/// is not there or the server does not tell. `database` has a checked name.
[[nodiscard]] bool hasWholeSchema(ServerSession& session, const std::string& database,
                                  bool indexes);

}  // namespace keldane
