#include "cli/search_conditions.h"

#include <algorithm>

#include <fmt/format.h>

#include "app/archiver.h"
#include "app/query_settings.h"
#include "base/shown_text.h"
#include "cli/day_option.h"
#include "cli/index_access.h"
#include "cli/last_list.h"
#include "cli/message_rows.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "find/word_query.h"
#include "find/word_search.h"
#include "query/saved_searches.h"

namespace keldane {
namespace {

struct Join {
  const char* option;
  const char* operation;
  const char* help;
};

constexpr Join kJoins[] = {{"--and", "AND", "A further condition; FIELD is "},
                           {"--or", "OR", "An alternative to the condition before it"},
                           {"--and-not", "AND NOT", "A condition that must not hold"},
                           {"--or-not", "OR NOT", "An alternative: that this does not hold"}};

/// The days of a date shortcut.
DateRange shortcutDays(const std::string& shortcut, const Environment& environment) {
  const auto day = [&environment](int secondsAgo) {
    return localDateTime(environment.now() - secondsAgo).substr(0, 10);
  };
  if (shortcut == "week") return dateRange(weekMenus(day(0), day(kSixDaysInSeconds)));
  if (shortcut == "month") return dateRange(monthMenus(day(0)));
  if (shortcut == "year") return dateRange(yearMenus(day(0)));
  return dateRange(weekMenus(day(0), day(0)));
}

Result<QueryNode> readQuery(const std::string& text, const Environment& environment) {
  const std::string today = localDateTime(environment.now()).substr(0, 10);
  std::variant<QueryNode, QueryProblem> query = readWordQuery(text, today);
  if (const auto* const problem = std::get_if<QueryProblem>(&query)) {
    return Failure{fmt::format("--words: {}, at \"{}\"", problem->message,
                               shownLine(std::string_view(text).substr(problem->atByte)))};
  }
  return std::get<QueryNode>(std::move(query));
}

/// The messages that the word index finds, in the order of their ids.
Result<std::vector<std::uint32_t>> idsOfWords(const std::string& text, Archiver& archiver,
                                              Program& program) {
  const Result<QueryNode> query = readQuery(text, program.environment);
  if (!query) return Failure{query.error()};
  const Result<std::unique_ptr<IndexAccess>> access = IndexAccess::open(archiver, program);
  if (!access) return Failure{access.error()};
  if (const Result<void> updated = (*access)->update(false, program); !updated) {
    return Failure{updated.error()};
  }
  Result<std::vector<std::uint32_t>> ids =
      WordSearch(archiver.session(), (*access)->index(), (*access)->outcome().inStep)
          .ids(*query, HitOrder::newestFirst);
  if (ids) std::sort(ids->begin(), ids->end());
  return ids;
}

std::vector<CommandOption> conditionOptions(SearchConditions& conditions,
                                            std::vector<std::string> besideNeither) {
  std::vector<CommandOption> rows;
  for (const Join& join : kJoins) {
    rows.push_back({join.option, &conditions.rows, join.help, "FIELD=TEXT"});
  }
  rows.front().help +=
      namesOf(kSearchFields, ", ", " or ") + ". Up to eight in all; OR binds tighter than AND";
  rows.push_back({.names = "--words",
                  .target = &conditions.wordQuery,
                  .help = "Only messages that `keldane find` finds by this",
                  .value = "QUERY",
                  .excludes = std::move(besideNeither)});
  rows.push_back({.names = "--entire-message",
                  .target = &conditions.words.entireMessage,
                  .help = "A phrase in " + phrasePlaces(),
                  .excludes = {"--and", "--or", "--and-not", "--or-not"}});
  return rows;
}

std::vector<CommandOption> dateOptions(SearchConditions& conditions, const Program& program) {
  SearchWords& request = conditions.words;
  std::vector<CommandOption> dates = {
      {"--since", dayInto(request.since, program), "From this day, month or year on", "DAY"},
      {"--until", dayInto(request.until, program), "To the end of this day, month or year", "DAY"}};
  std::vector<std::string> before = {"--since", "--until"};
  for (SearchConditions::Shortcut& shortcut : conditions.shortcuts) {
    const std::string name = fmt::format("--{}", shortcut.word);
    dates.push_back(
        {.names = name, .target = &shortcut.given, .help = shortcut.help, .excludes = before});
    before.push_back(name);
  }
  return dates;
}

std::vector<CommandOption> furtherOptions(SearchConditions& conditions) {
  SearchWords& request = conditions.words;
  std::vector<CommandOption> further = {
      {"--has-attachment", &request.hasAttachment, "Only messages with attachments"},
      {"--type", &request.types, "Only with attachments of this type; may be repeated",
       namesOf(kAttachTypeGroups, "|", "|")}};
  std::string* tags[] = {&request.category, &request.keywords, &request.notes, &request.priority};
  for (std::size_t i = 0; i < kTagFields; ++i) {
    further.push_back({fmt::format("--{}", kTagSearchFields[i].name), tags[i],
                       std::string(kTagSearchFields[i].help)});
  }
  further.back().value = kPriorityNames;
  further.insert(further.end(),
                 {{"--sort", &request.sort, "Order (that of the settings when not given)",
                   namesOf(kSortColumns, "|", "|")},
                  {"--descending", &request.descending, "The last first"},
                  {"--limit", &request.limit,
                   "At most so many (that of the settings when not given)", kLimitWords}});
  return further;
}

/// `form`: the names of the options that make the statement.
std::vector<CommandOption> statementOptions(SearchConditions& conditions,
                                            std::vector<std::string> form,
                                            std::vector<std::string> besideNeither) {
  const std::vector<std::string> besideSql = form;
  form.insert(form.end(), besideNeither.begin(), besideNeither.end());
  besideNeither.emplace_back("--saved");
  form.emplace_back("--sql");
  return {{.names = "--with-tags",
           .target = &conditions.words.withTags,
           .help = "Only tagged messages, of those within the limit",
           .excludes = {"--without-tags"}},
          {"--without-tags", &conditions.words.withoutTags,
           "Only messages without tags, of those within the limit"},
          {.names = "--within-last-list",
           .target = &conditions.withinLastList,
           .help = "Search in the results of the last list, search or browse",
           .excludes = std::move(besideNeither)},
          {.names = "--sql",
           .target = &conditions.sql,
           .help = "Your own end of the statement, from WHERE on with its order and limit, sent as "
                   "it stands; % stands for any text",
           .value = "\"WHERE ...\"",
           .excludes = besideSql},
          {.names = "--saved",
           .target = &conditions.saved,
           .help = "Run the saved search of this name",
           .value = "NAME",
           .excludes = std::move(form)}};
}

}  // namespace

void SearchConditions::addTo(Command& command, const Program& program,
                             std::vector<std::string> besideNeither) {
  const auto add = [&command](const std::vector<CommandOption>& part) {
    command.options.insert(command.options.end(), part.begin(), part.end());
  };
  std::vector<std::string> form;
  for (const auto& part : {conditionOptions(*this, besideNeither), dateOptions(*this, program),
                           furtherOptions(*this)}) {
    for (const CommandOption& option : part) form.push_back(option.names);
    add(part);
  }
  add(statementOptions(*this, std::move(form), std::move(besideNeither)));
}

Result<void> SearchConditions::read(const Environment& environment) {
  for (const GivenOption& given : rows) {
    const auto* const join =
        std::find_if(std::begin(kJoins), std::end(kJoins),
                     [&given](const Join& each) { return given.name == each.option; });
    words.terms.push_back({join->operation, given.value});
  }
  for (const Shortcut& shortcut : shortcuts) {
    if (shortcut.given) words.dateShortcut = shortcut.word;
  }
  if (!wordQuery.empty()) {
    if (const Result<QueryNode> query = readQuery(wordQuery, environment); !query) {
      return Failure{query.error()};
    }
  }
  const Result<SearchRequest> request = searchRequestOf(words);
  if (!request) return Failure{request.error()};
  const Result<SearchContext> context = searchContextOf(words, {});
  return context ? Result<void>() : Result<void>(Failure{context.error()});
}

Result<std::string> statementOf(const SearchConditions& conditions, Archiver& archiver,
                                Program& program) {
  if (!conditions.saved.empty()) {
    const std::vector<SavedSearch> searches = readSavedSearches(archiver.preferences());
    const std::string* statement = findSearch(searches, conditions.saved);
    if (statement != nullptr) return *statement;
    return Failure{fmt::format("there is no saved search named \"{}\"", conditions.saved)};
  }
  Result<SearchRequest> request = searchRequestOf(conditions.words);
  if (!request) return Failure{request.error()};
  Result<SearchContext> context =
      searchContextOf(conditions.words, searchContextOf(archiver.settings()));
  if (!context) return Failure{context.error()};
  if (const std::string& shortcut = conditions.words.dateShortcut; !shortcut.empty()) {
    request->dates = shortcutDays(shortcut, program.environment);
  }
  if (conditions.withinLastList) {
    const Result<std::vector<std::string>> ids = LastList(archiver).read();
    if (!ids) return Failure{ids.error()};
    context->scope = idScope(*ids);
  }
  if (!conditions.wordQuery.empty()) {
    Result<std::vector<std::uint32_t>> ids = idsOfWords(conditions.wordQuery, archiver, program);
    if (!ids) return Failure{ids.error()};
    context->ids = std::move(*ids);
  }
  const SearchSql sql = makeSearchSQL(*request, *context);
  std::string statement = sql.beginSql + (conditions.sql.empty() ? sql.whereSql : conditions.sql);
  if (context->ids && statement.size() > archiver.session().largestStatementBytes()) {
    return Failure{fmt::format(
        "the words stand in {} messages, more than the server takes in one statement; look for "
        "rarer ones, or with `keldane find`",
        context->ids->size())};
  }
  return statement;
}

}  // namespace keldane
