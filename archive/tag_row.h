#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// A row of `tags`, as a run and the tag window write it: at most one for a message.
namespace keldane {

/// The tags of a message, fit for a row and not escaped.
struct TagRow {
  std::uint32_t id = 0;
  std::string category;
  std::string keywords;  ///< between blanks, in case-insensitive order
  std::string notes;
  int priority = 0;
};

/// Titles of the priority menus; the index is the value.
inline constexpr std::array<std::string_view, 6> kPriorityTitles = {"None",   "Lowest", "Low",
                                                                    "Medium", "High",   "Highest"};
/// The value behind a title; 0 for a text that is none.
[[nodiscard]] int priorityOfTitle(std::string_view title);
/// The title of a value; "None" for one out of range.
[[nodiscard]] std::string_view priorityTitle(int priority);

/// Keywords split at blanks, sorted without regard to case, joined again.
[[nodiscard]] std::string sortedKeywords(std::string_view keywords);
/// Quotes that come escaped lose their backslash.
[[nodiscard]] std::string withPlainQuotes(std::string text);

/// The statement that adds the row, in one line whatever the values hold.
[[nodiscard]] std::string insertTagSql(const TagRow& row);
/// The same for a row that takes the place of one of the same message, if there is any.
[[nodiscard]] std::string replaceTagSql(const TagRow& row);

}  // namespace keldane
