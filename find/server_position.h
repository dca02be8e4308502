#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "archive/server_session.h"

namespace keldane {

/// How far a server has written the log of its changes. Whatever commits in any of its tables that
/// keep such a log moves it on, in whichever program, so that between two equal ones nothing has
/// changed. Asking costs a fraction of a millisecond, however large the archive is.
struct ServerPosition {
  std::string log;
  /// Since when it runs, in seconds of our clock. One that was cut off begins again before
  /// its end and may come by the same place with other changes.
  std::int64_t startedAt = 0;

  /// To be kept; `isNoted` compares with it.
  [[nodiscard]] std::string note() const;
  [[nodiscard]] bool isNoted(const std::string& note) const;
};

/// Nothing where the server does not tell.
[[nodiscard]] std::optional<ServerPosition> readServerPosition(ServerSession& session);

/// Whether the tables that the word index is made of keep such a log, all of them.
[[nodiscard]] bool areTablesLogged(ServerSession& session);

}  // namespace keldane
