#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "find/words.h"

namespace keldane {

/// The words that a snippet shows, folded.
struct WantedWords {
  std::vector<std::string> words;
  std::vector<std::string> beginnings;
  /// Brings a word of the text to the form that `words` have; empty: it has that.
  std::function<std::string(const std::string&)> stem = {};
  [[nodiscard]] bool contains(std::string_view folded) const;
  [[nodiscard]] bool empty() const { return words.empty() && beginnings.empty(); }
};

/// A line out of a text with the words that were looked for.
struct Snippet {
  std::string text;  ///< one line, no control characters, "..." where it was cut
  std::vector<std::pair<std::size_t, std::size_t>> marks;  ///< begin and end in bytes, ascending
};

/// The place of `text` where most of the wanted words stand together, about `width` bytes of it.
/// Without marks when none of them is in its first two megabytes; then it is the beginning.
[[nodiscard]] Snippet makeSnippet(std::string_view text, const WantedWords& wanted,
                                  WordCutter& cutter, std::size_t width = 160);

}  // namespace keldane
