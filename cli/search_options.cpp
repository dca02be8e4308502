#include "cli/search_options.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"
#include "cli/day_text.h"
#include "cli/priority_option.h"

namespace keldane {
namespace {

constexpr std::size_t kMostLimitDigits = 9;  // what 32 bits hold

template <typename Words>
auto findWord(const Words& words, std::string_view name) {
  return std::find_if(words.begin(), words.end(),
                      [name](const auto& word) { return word.name == name; });
}

Failure unknown(std::string_view what, std::string_view value, const std::string& known) {
  return {fmt::format("unknown {} \"{}\"; use {}", what, printable(value), known)};
}

Result<void> fillConditions(SearchRequest& request, const std::vector<SearchTerm>& terms) {
  if (terms.size() > kSearchRows) {
    return Failure{fmt::format("a search has at most {} rows", kSearchRows)};
  }
  for (const auto& [operation, text] : terms) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
      return Failure{fmt::format("\"{}\" is not of the form FIELD=TEXT", printable(text))};
    }
    const std::string_view name = std::string_view(text).substr(0, equals);
    const auto field = findWord(kSearchFields, name);
    if (field == kSearchFields.end()) {
      return unknown("field", name, namesOf(kSearchFields, ", ", ", "));
    }
    request.conditions.push_back(
        {field->column, literalPattern(text.substr(equals + 1)), joinerOf(operation)});
  }
  return {};
}

Result<void> fillAttachments(SearchRequest& request, const SearchWords& words) {
  request.onlyAttach = words.hasAttachment || !words.types.empty();
  for (const std::string& type : words.types) {
    const auto found = findWord(kAttachTypeGroups, type);
    if (found == kAttachTypeGroups.end()) {
      return unknown("type", type, namesOf(kAttachTypeGroups, ", ", ", "));
    }
    request.types[static_cast<std::size_t>(found - kAttachTypeGroups.begin())] = true;
  }
  return {};
}

Result<void> fillTags(SearchRequest& request, const SearchWords& words) {
  // A category of this name is none.
  const std::string category = literalPattern(words.category);
  if (category != kPriorityTitles.front()) request.category = category;
  // Keywords go into the statement as they stand.
  request.keywords = literalPattern(words.keywords);
  replaceAll(request.keywords, "\"", "\"\"");
  request.notes = literalPattern(words.notes);
  if (words.priority.empty()) return {};
  request.priority = priorityOf(words.priority);
  if (!request.priority) return unknown("priority", words.priority, kPriorityWords);
  return {};
}

}  // namespace

Result<DateRange> readDays(const std::string& since, const std::string& until) {
  const std::optional<DayText> first = readDay(since);
  const std::optional<DayText> last = readDay(until);
  if ((!first && !since.empty()) || (!last && !until.empty())) {
    return Failure{fmt::format("\"{}\" is not a date; write 2024-02-28, 2024-02 or 2024",
                               printable(first ? until : since))};
  }
  DateMenus dates;
  if (first) {
    dates.beginYr = first->year;
    dates.beginMo = first->month;
    dates.beginDa = first->day;
  }
  if (last) {
    // Said to the day, because "All" would end every February at its 28th.
    dates.endYr = last->year;
    dates.endMo = last->month == "All" ? "12" : last->month;
    dates.endDa = last->day == "All" ? lastDayOfMonth(dates.endYr, dates.endMo) : last->day;
  }
  return dateRange(dates);
}

std::string literalPattern(std::string_view text) {
  std::string pattern;
  for (const char c : text) {
    if (c == '%' || c == '_') pattern += '\\';
    // Read twice: as a character of the string, and as one of the pattern.
    pattern.append(c == '\\' ? "\\\\\\\\" : std::string(1, c));
  }
  return pattern;
}

Result<void> applyLimit(const std::string& limit, SearchContext& context) {
  if (limit.empty()) return {};
  if (limit == "none") {
    context.limitSearchState = 0;
    return {};
  }
  if (limit.find_first_not_of("0123456789") != std::string::npos ||
      limit.find_first_not_of('0') == std::string::npos || limit.size() > kMostLimitDigits) {
    return Failure{fmt::format("--limit: \"{}\" is neither a number nor none", printable(limit))};
  }
  context.limitSearchState = 1;
  context.limitSearchSize = limit;
  return {};
}

Result<SearchRequest> searchRequestOf(const SearchWords& words) {
  SearchRequest request;
  if (!words.entireMessage.empty()) {
    request.conditions = phraseConditions(literalPattern(words.entireMessage));
  }
  const Result<DateRange> dates = readDays(words.since, words.until);
  if (dates) request.dates = *dates;
  for (const Result<void>& filled :
       {fillConditions(request, words.terms), dates ? Result<void>() : Failure{dates.error()},
        fillAttachments(request, words), fillTags(request, words)}) {
    if (!filled) return Failure{filled.error()};
  }
  return request;
}

Result<SearchContext> searchContextOf(const SearchWords& words, SearchContext settings) {
  if (!words.sort.empty()) {
    const auto found = findWord(kSortColumns, words.sort);
    if (found == kSortColumns.end())
      return unknown("order", words.sort, namesOf(kSortColumns, ", ", ", "));
    settings.sortFieldRow = found->row;
    settings.sortFieldCol = found->column;
    settings.sortOrder = 0;
  }
  if (words.descending) settings.sortOrder = 1;
  if (const Result<void> limited = applyLimit(words.limit, settings); !limited) {
    return Failure{limited.error()};
  }
  return settings;
}

}  // namespace keldane
