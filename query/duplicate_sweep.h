#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "platform/progress.h"
#include "query/emailrow.h"
#include "query/stored_source.h"

namespace keldane {

/// What a message is to the others that are taken together with it.
enum class Relation { kept, copy, similar };

/// What a sweep has found.
struct SweepResult {
  struct Entry {
    Emailrow row;  ///< the date as the server wrote it
    Relation relation = Relation::kept;
    std::uint32_t of = 0;  ///< the message that it repeats or is similar to; its own id when kept
  };
  std::vector<Entry> listed;              ///< all of them, or what stays of them
  std::vector<std::uint32_t> handledIds;  ///< the same with those deleted
  unsigned long copies = 0;               ///< of messages that stay; deleted, or would be
  unsigned long similar = 0;
  unsigned long deleted = 0;
  /// The server's words for the statement that ended the sweep; empty: it went through. What is
  /// deleted by then stays deleted.
  std::string error;
};

/// Looks through the whole archive for messages stored twice, and lists them, or with `deletes`
/// deletes the copies and lists what stays. Two rows are taken together when sender, recipients,
/// day and time of day are equal and the subject matches; then what they say is compared. One that
/// says the same as an earlier one is its copy; one that does not is only similar, and is never
/// deleted. The row met first is kept, and takes over the tags of a copy when it has none. One that
/// is cancelled has looked at some of the rows. Fails with the server's words when the rows cannot
/// be had.
[[nodiscard]] Result<SweepResult> sweepDuplicates(ServerSession& session, bool deletes,
                                                  const SourceReading& reading, Progress& progress);

}  // namespace keldane
