#pragma once

#include <cstdint>
#include <string>

#include "archive/server_session.h"
#include "base/result.h"
#include "find/word_index.h"

namespace keldane {

/// How a word index stands to its archive.
struct IndexState {
  bool exists = false;
  std::string damage;        ///< why it is of no use; empty: it can be asked
  std::uint64_t behind = 0;  ///< messages that it lacks, and those that it has too many
};

/// Looks without changing anything. `wholly`: reads all files of the index, which takes as long as
/// that. The index is closed when it returns. Fails with the server's words.
[[nodiscard]] Result<IndexState> lookAtIndex(ServerSession& session, WordIndex& index, bool wholly);

}  // namespace keldane
