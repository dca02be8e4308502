#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "query/search_builder.h"

namespace keldane {

/// One row of the form as it was given: how it is joined ("AND", "OR NOT", ...), and FIELD=TEXT.
struct SearchTerm {
  std::string operation;
  std::string text;
};

/// What `keldane search` was asked for, as text.
struct SearchWords {
  std::vector<SearchTerm> terms;
  std::string entireMessage;
  std::string since;
  std::string until;
  std::string dateShortcut;  ///< "day", "week", "month", "year" or empty
  bool hasAttachment = false;
  std::vector<std::string> types;
  std::string category;
  std::string keywords;
  std::string notes;
  std::string priority;
  bool withTags = false;
  bool withoutTags = false;
  std::string sort;
  bool descending = false;
  std::string limit;
};

/// A text as a pattern that only this text matches, for a search: `%`, `_` and the backslash,
/// which have a meaning there, stand for themselves.
[[nodiscard]] std::string literalPattern(std::string_view text);

/// The request as the statement takes it. Fails with a sentence for the user when something in it
/// makes no sense. Date shortcuts are left to the caller, who knows the day.
[[nodiscard]] Result<SearchRequest> searchRequestOf(const SearchWords& words);
/// The settings with what the request says otherwise about order and limit.
[[nodiscard]] Result<SearchContext> searchContextOf(const SearchWords& words,
                                                    SearchContext settings);
/// From the first day of `since` to the last of `until`, each a day, month or year, or empty.
[[nodiscard]] Result<DateRange> readDays(const std::string& since, const std::string& until);

/// Sets the limit that an option asks for: a number, or "none". An empty text changes nothing.
[[nodiscard]] Result<void> applyLimit(const std::string& limit, SearchContext& context);

}  // namespace keldane
