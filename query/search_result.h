#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "platform/progress.h"
#include "query/emailrow.h"

namespace keldane {

/// How the rows of a search are taken.
struct SearchOptions {
  DateStyle style;
  bool onlyTagged = false;
  bool onlyUntagged = false;  ///< both: no row is left
  /// The statement goes out in ISO Latin 1; one that cannot goes out empty.
  bool sendsLatin1 = false;
};

/// What a search has found. Bodies never come along.
struct SearchResult {
  std::vector<Emailrow> rows;
  std::uint64_t receivedCount = 0;  ///< rows the server gave, with those that a filter left out
  bool hasLatin1Sender = false;
  /// Why the rows end early, as a line; empty when they do not.
  std::string complaint;
};

/// Runs the statement of a list. Fails with the server's words when it is refused.
[[nodiscard]] Result<SearchResult> runSearch(ServerSession& session, const std::string& statement,
                                             const SearchOptions& options, Progress& progress);

/// How many messages the archive has. Fails with the server's words.
[[nodiscard]] Result<std::string> countMessages(ServerSession& session);

/// The mailboxes of the archive, and the keywords of its tags as each message has them. Fail with
/// the server's words and the statement.
[[nodiscard]] Result<std::vector<std::string>> readMailboxes(ServerSession& session);
[[nodiscard]] Result<std::vector<std::string>> readKeywords(ServerSession& session);

/// What a limit at the end of a list's statement has cut off.
struct CutList {
  std::optional<std::uint64_t> allCount;  ///< absent when they cannot be counted
};
/// Absent when nothing is cut: no limit, or not reached by the rows received.
[[nodiscard]] std::optional<CutList> findCut(ServerSession& session, const std::string& statement,
                                             std::uint64_t receivedCount);

/// Makes the view of this number, which holds the ids of a list so that a search can run inside
/// it; drops it. False: refused, the session tells why.
[[nodiscard]] bool createListView(ServerSession& session, int number,
                                  const std::vector<std::string>& ids);
[[nodiscard]] bool dropListView(ServerSession& session, int number);

}  // namespace keldane
