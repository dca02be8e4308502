#include "cli/search_options.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "app/tag_row.h"
#include "cli/day_text.h"
#include "cli/priority_option.h"

namespace keldane {
namespace {

struct Word {
  std::string_view name;
  std::string_view title;
};

constexpr std::array<Word, kSearchRows> kFields = {{
    {"from", "From"},
    {"to", "To"},
    {"subject", "Subject"},
    {"mailbox", "Mailbox"},
    {"body", "Body Text"},
    {"attachment-name", "Attachment Name"},
    {"attachment-contents", "Attachment Contents"},
    {"raw-headings", "Raw Headings"},
}};
constexpr std::array<Word, kAttachTypes> kTypes = {{
    {"graphics", ""},
    {"documents", ""},
    {"sound", ""},
    {"video", ""},
    {"compressed", ""},
}};

struct SortField {
  std::string_view name;
  int row;
  int column;
};
constexpr std::array<SortField, 5> kSortFields = {{
    {"id", 0, 0},
    {"from", 0, 1},
    {"date", 1, 0},
    {"subject", 1, 1},
    {"mailbox", 1, 2},
}};

template <typename Words>
std::string names(const Words& words) {
  std::string text;
  for (const auto& word : words) {
    if (!text.empty()) text += ", ";
    text += word.name;
  }
  return text;
}

template <typename Words>
auto findWord(const Words& words, std::string_view name) {
  return std::find_if(words.begin(), words.end(),
                      [name](const auto& word) { return word.name == name; });
}

Failure unknown(std::string_view option, std::string_view value, const std::string& known) {
  return {fmt::format("{}: \"{}\" is none of {}", option, value, known)};
}

Result<void> fillRows(SearchForm& form, const std::vector<SearchTerm>& terms) {
  if (terms.size() > kSearchRows) {
    return Failure{fmt::format("a search has at most {} rows", kSearchRows)};
  }
  for (std::size_t row = 0; row < terms.size(); ++row) {
    const std::string& text = terms[row].text;
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
      return Failure{fmt::format("\"{}\" is not of the form FIELD=TEXT", text)};
    }
    const std::string_view name = std::string_view(text).substr(0, equals);
    const auto field = findWord(kFields, name);
    if (field == kFields.end()) return unknown("FIELD", name, searchFieldNames());
    form.fieldButton[row] = field->title;
    form.searchTextField[row] = text.substr(equals + 1);
    form.opsButton[row] = terms[row].operation;
  }
  return {};
}

Result<void> fillDates(DateMenus& dates, const SearchRequest& request) {
  for (const std::string* text : {&request.since, &request.until}) {
    if (text->empty()) continue;
    const std::optional<DayText> read = readDay(*text);
    if (!read) {
      return Failure{fmt::format("\"{}\" is no day; write 2024-02-28, 2024-02 or 2024", *text)};
    }
    const bool begin = text == &request.since;
    (begin ? dates.beginYr : dates.endYr) = read->year;
    (begin ? dates.beginMo : dates.endMo) = read->month;
    (begin ? dates.beginDa : dates.endDa) = read->day;
  }
  return {};
}

Result<void> fillAttachments(SearchForm& form, const SearchRequest& request) {
  form.onlyAttachCheck = request.hasAttachment || !request.types.empty();
  for (const std::string& type : request.types) {
    const auto found = findWord(kTypes, type);
    if (found == kTypes.end()) return unknown("--type", type, attachTypeNames());
    form.typeCheck[static_cast<std::size_t>(found - kTypes.begin())] = true;
  }
  return {};
}

Result<void> fillTags(SearchForm& form, const SearchRequest& request) {
  if (!request.category.empty()) form.searchCatButton = request.category;
  form.searchKeywordsTextField = request.keywords;
  form.searchNotesTextField = request.notes;
  form.withTagsCheck = request.withTags;
  form.withoutTagsCheck = request.withoutTags;
  if (request.priority.empty()) return {};
  const std::optional<int> priority = priorityOf(request.priority);
  if (!priority) return unknown("--priority", request.priority, kPriorityWords);
  form.priorityCheck = true;
  form.searchPriorityButton = priorityTitle(*priority);
  return {};
}

}  // namespace

std::string searchFieldNames() { return names(kFields); }
std::string attachTypeNames() { return names(kTypes); }

Result<SearchForm> searchFormOf(const SearchRequest& request) {
  SearchForm form;
  form.entireMsgTextField = request.entireMessage;
  for (const Result<void>& filled : {fillRows(form, request.terms), fillDates(form.dates, request),
                                     fillAttachments(form, request), fillTags(form, request)}) {
    if (!filled) return Failure{filled.error()};
  }
  return form;
}

Result<SearchContext> searchContextOf(const SearchRequest& request, SearchContext settings) {
  if (!request.sort.empty()) {
    const auto found = findWord(kSortFields, request.sort);
    if (found == kSortFields.end()) return unknown("--sort", request.sort, names(kSortFields));
    settings.sortFieldRow = found->row;
    settings.sortFieldCol = found->column;
    settings.sortOrder = 0;
  }
  if (request.descending) settings.sortOrder = 1;
  if (request.limit == "none") {
    settings.limitSearchState = 0;
  } else if (!request.limit.empty()) {
    if (request.limit.find_first_not_of("0123456789") != std::string::npos ||
        request.limit.find_first_not_of('0') == std::string::npos) {
      return Failure{fmt::format("--limit: \"{}\" is neither a number nor none", request.limit)};
    }
    settings.limitSearchState = 1;
    settings.limitSearchSize = request.limit;
  }
  return settings;
}

}  // namespace keldane
