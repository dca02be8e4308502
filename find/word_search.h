#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "find/index_catch_up.h"
#include "find/message_terms.h"
#include "find/snippet.h"
#include "find/word_index.h"
#include "find/word_query.h"

namespace keldane {

enum class HitOrder { newestFirst, byRelevance };

/// A message that a query has found, with the columns of its row.
struct WordHit {
  std::uint32_t id = 0;
  std::string date;
  std::string from;
  std::string subject;
  std::string mailbox;
};

/// Where in a message the words of a query stand.
struct HitPlace {
  Field field = Field::body;
  std::string partName;  ///< of an attachment
  Snippet snippet;
};

/// Asks the word index, and the archive whether what it answers is still there. The index is to be
/// brought in step before, see `IndexCatchUp`. One thread at a time.
class WordSearch {
 public:
  /// `inStep`: the index has just been found to be, so that ids alone need no look at the rows.
  WordSearch(ServerSession& session, WordIndex& index, bool inStep = false)
      : session_(session), index_(index), inStep_(inStep) {}

  /// The first hits, `limit` at most, behind the `skip` first. Fails with the words of the index or
  /// of the server, by relevance also for a `wor*` that stands for too many words.
  [[nodiscard]] Result<std::vector<WordHit>> find(const QueryNode& query, HitOrder order,
                                                  std::size_t limit, std::size_t skip = 0);
  /// The ids of the first hits, in order.
  [[nodiscard]] Result<std::vector<std::uint32_t>> ids(const QueryNode& query, HitOrder order,
                                                       std::size_t limit = SIZE_MAX);
  /// How many hits there are.
  [[nodiscard]] Result<std::size_t> count(const QueryNode& query);

 private:
  [[nodiscard]] Result<std::vector<std::uint32_t>> ask(const QueryNode& query, HitOrder order,
                                                       std::size_t from, std::size_t count);
  template <typename Work>
  auto again(const Work& work) -> decltype(work());
  [[nodiscard]] Result<std::vector<WordHit>> hits(const QueryNode& query, HitOrder order,
                                                  std::size_t limit, std::size_t skip, bool whole);
  [[nodiscard]] Result<std::vector<WordHit>> rowsOf(const std::vector<std::uint32_t>& ids,
                                                    bool whole);

  ServerSession& session_;
  WordIndex& index_;
  const bool inStep_;
};

/// Where the words stand: in the body if they do, else in the field that has most of them. `index`
/// tells how it brings words to their stems; null: not at all.
[[nodiscard]] HitPlace placeOf(const QueryNode& query, const MessageTexts& message,
                               WordCutter& cutter, const WordIndex* index = nullptr);

}  // namespace keldane
