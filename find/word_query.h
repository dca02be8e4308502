#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "find/message_terms.h"

namespace keldane {

/// A question to the word index, as a tree.
struct QueryNode {
  enum class Kind {
    words,       ///< `words` one behind the other in one of `fields`
    beginning,   ///< a word of one of `fields` that begins with `words[0]`
    date,        ///< between the texts `from` and `to`
    size,        ///< between the numbers `least` and `most`, bytes
    id,          ///< the same of the message's number
    attachment,  ///< has one
    bothOf,      ///< all of `parts`
    anyOf,       ///< at least one of `parts`
    noneOf,      ///< not `parts[0]`
  };
  Kind kind = Kind::words;
  std::vector<Field> fields = {};
  std::vector<std::string> words = {};  ///< folded
  std::vector<std::string> pairs = {};  ///< what `WordCutter` gives as pairs, in no order
  std::string from = {};
  std::string to = {};
  double least = 0;
  double most = 0;
  std::vector<QueryNode> parts = {};
};

/// Why a query cannot be read.
struct QueryProblem {
  std::size_t atByte = 0;  ///< where, in the text of the query
  std::string message;
};

/// The fields that words without a field are looked for in.
[[nodiscard]] const std::vector<Field>& usualFields();

/// Reads the query language. Words stand for themselves and all must be there; "in quotes" they
/// must follow each other; `OR`, `NOT`, `-word`, `( )`, `wor*`; a field before a colon holds for
/// the word, the quotes or the brackets behind it. Length, depth and number of words are bounded.
/// `today`: "YYYY-MM-DD".
[[nodiscard]] std::variant<QueryNode, QueryProblem> readWordQuery(std::string_view text,
                                                                  std::string_view today);

/// The query as it was understood, in its own language, all brackets written, words folded.
[[nodiscard]] std::string queryText(const QueryNode& query);

}  // namespace keldane
