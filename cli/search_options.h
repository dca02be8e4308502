#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "query/search_builder.h"
#include "query/search_form.h"

namespace keldane {

/// One row of the form as it was given: how it is joined ("AND", "OR NOT", ...), and FIELD=TEXT.
struct SearchTerm {
  std::string operation;
  std::string text;
};

/// What `keldane search` was asked for, as text.
struct SearchRequest {
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

/// A text as a pattern that only this text matches, for the form of the search: `%`, `_` and the
/// backslash, which have a meaning there, stand for themselves.
[[nodiscard]] std::string literalPattern(std::string_view text);

/// Puts the request into a fresh form. Fails with a sentence for the user when something in it has
/// no place there. Date shortcuts are left to the caller, who knows the day.
[[nodiscard]] Result<SearchForm> searchFormOf(const SearchRequest& request);
/// The settings with what the request says otherwise about order and limit.
[[nodiscard]] Result<SearchContext> searchContextOf(const SearchRequest& request,
                                                    SearchContext settings);

/// Sets the limit that an option asks for: a number, or "none". An empty text changes nothing.
[[nodiscard]] Result<void> applyLimit(const std::string& limit, SearchContext& context);

}  // namespace keldane
