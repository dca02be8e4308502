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

Result<void> fillRows(SearchForm& form, const std::vector<SearchTerm>& terms) {
  if (terms.size() > kSearchRows) {
    return Failure{fmt::format("a search has at most {} rows", kSearchRows)};
  }
  for (std::size_t row = 0; row < terms.size(); ++row) {
    const std::string& text = terms[row].text;
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
      return Failure{fmt::format("\"{}\" is not of the form FIELD=TEXT", printable(text))};
    }
    const std::string_view name = std::string_view(text).substr(0, equals);
    const auto field = findWord(kSearchFields, name);
    if (field == kSearchFields.end())
      return unknown("field", name, namesOf(kSearchFields, ", ", ", "));
    form.fieldButton[row] = field->title;
    form.searchTextField[row] = literalPattern(text.substr(equals + 1));
    form.opsButton[row] = terms[row].operation;
  }
  return {};
}

Result<void> fillDates(DateMenus& dates, const SearchRequest& request) {
  const std::optional<DayText> since = readDay(request.since);
  const std::optional<DayText> until = readDay(request.until);
  if ((!since && !request.since.empty()) || (!until && !request.until.empty())) {
    return Failure{fmt::format("\"{}\" is not a date; write 2024-02-28, 2024-02 or 2024",
                               printable(since ? request.until : request.since))};
  }
  if (since) {
    dates.beginYr = since->year;
    dates.beginMo = since->month;
    dates.beginDa = since->day;
  }
  if (until) {
    // Said to the day, because the menus end every February at its 28th.
    dates.endYr = until->year;
    dates.endMo = until->month == "All" ? "12" : until->month;
    dates.endDa = until->day == "All" ? lastDayOfMonth(dates.endYr, dates.endMo) : until->day;
  }
  return {};
}

Result<void> fillAttachments(SearchForm& form, const SearchRequest& request) {
  form.onlyAttachCheck = request.hasAttachment || !request.types.empty();
  for (const std::string& type : request.types) {
    const auto found = findWord(kAttachTypeGroups, type);
    if (found == kAttachTypeGroups.end())
      return unknown("type", type, namesOf(kAttachTypeGroups, ", ", ", "));
    form.typeCheck[static_cast<std::size_t>(found - kAttachTypeGroups.begin())] = true;
  }
  return {};
}

Result<void> fillTags(SearchForm& form, const SearchRequest& request) {
  if (!request.category.empty()) form.searchCatButton = literalPattern(request.category);
  // The form takes keywords into the statement as they stand.
  form.searchKeywordsTextField = literalPattern(request.keywords);
  replaceAll(form.searchKeywordsTextField, "\"", "\"\"");
  form.searchNotesTextField = literalPattern(request.notes);
  form.withTagsCheck = request.withTags;
  form.withoutTagsCheck = request.withoutTags;
  if (request.priority.empty()) return {};
  const std::optional<int> priority = priorityOf(request.priority);
  if (!priority) return unknown("priority", request.priority, kPriorityWords);
  form.priorityCheck = true;
  form.searchPriorityButton = priorityTitle(*priority);
  return {};
}

}  // namespace

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

Result<SearchForm> searchFormOf(const SearchRequest& request) {
  SearchForm form;
  form.entireMsgTextField = literalPattern(request.entireMessage);
  for (const Result<void>& filled : {fillRows(form, request.terms), fillDates(form.dates, request),
                                     fillAttachments(form, request), fillTags(form, request)}) {
    if (!filled) return Failure{filled.error()};
  }
  return form;
}

Result<SearchContext> searchContextOf(const SearchRequest& request, SearchContext settings) {
  if (!request.sort.empty()) {
    const auto found = findWord(kSortColumns, request.sort);
    if (found == kSortColumns.end())
      return unknown("order", request.sort, namesOf(kSortColumns, ", ", ", "));
    settings.sortFieldRow = found->row;
    settings.sortFieldCol = found->column;
    settings.sortOrder = 0;
  }
  if (request.descending) settings.sortOrder = 1;
  if (const Result<void> limited = applyLimit(request.limit, settings); !limited) {
    return Failure{limited.error()};
  }
  return settings;
}

}  // namespace keldane
