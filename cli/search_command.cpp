#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/day_option.h"
#include "cli/last_list.h"
#include "cli/message_rows.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "cli/search_options.h"
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

struct Shortcut {
  const char* word;
  const char* help;
  bool given = false;
};

struct SearchCommandOptions {
  RowOptions rows;
  SearchWords words;
  std::vector<GivenOption> conditions;
  std::array<Shortcut, 4> shortcuts = {{{"day", "This day"},
                                        {"week", "The last seven days"},
                                        {"month", "This month"},
                                        {"year", "This year"}}};
  std::string sql;
  std::string saved;
  std::string saveAs;
  bool withinLastList = false;
  bool showSql = false;
};

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

/// The statement asked for; nullopt when it cannot be had, which has been told.
std::optional<std::string> statementFor(const SearchCommandOptions& options, SearchRequest request,
                                        SearchContext context, KeldaneController& controller,
                                        Program& program) {
  if (!options.saved.empty()) {
    const std::vector<SavedSearch> searches = readSavedSearches(controller.preferences());
    const std::string* statement = findSearch(searches, options.saved);
    if (statement != nullptr) return *statement;
    (void)program.fail(fmt::format("there is no saved search named \"{}\"", options.saved));
    return std::nullopt;
  }
  if (const std::string& shortcut = options.words.dateShortcut; !shortcut.empty()) {
    request.dates = shortcutDays(shortcut, program.environment);
  }
  if (options.withinLastList) {
    const Result<std::vector<std::string>> ids = LastList(controller).read();
    if (!ids) {
      (void)program.fail(ids.error());
      return std::nullopt;
    }
    context.scope = idScope(*ids);
  }
  const SearchSql sql = makeSearchSQL(request, context);
  return sql.beginSql + (options.sql.empty() ? sql.whereSql : options.sql);
}

void runSearch(const SearchCommandOptions& options, Program& program) {
  const Result<SearchRequest> request = searchRequestOf(options.words);
  const Result<SearchContext> checked = searchContextOf(options.words, {});
  if (!request || !checked) {
    (void)program.fail(request ? checked.error() : request.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) return;
  const Result<SearchContext> context =
      searchContextOf(options.words, searchContextOf(controller->settings()));
  const std::optional<std::string> statement =
      statementFor(options, *request, *context, *controller, program);
  if (!statement) return;
  if (!options.saveAs.empty()) {
    const Result<void> saved = saveSearch(controller->preferences(), {options.saveAs, *statement});
    if (!saved) {
      (void)program.fail(printable(saved.error()));
      return;
    }
  }
  if (options.showSql) {
    const bool toTerminal = ::isatty(STDOUT_FILENO) != 0;
    std::fputs(((toTerminal ? printable(*statement) : *statement) + "\n").c_str(), stdout);
    program.exitStatus = kExitDone;
    return;
  }
  RowOptions rows = options.rows;
  if (!options.saved.empty()) rows.withoutLimit = "the limit stands in the saved search";
  if (!options.sql.empty()) rows.withoutLimit = "the limit stands in --sql";
  program.exitStatus = showList(
      *controller, {*statement, options.words.withTags, options.words.withoutTags}, rows, program);
}

std::vector<CommandOption> conditionOptions(SearchCommandOptions& options) {
  std::vector<CommandOption> rows;
  for (const Join& join : kJoins) {
    rows.push_back({join.option, &options.conditions, join.help, "FIELD=TEXT"});
  }
  rows.front().help +=
      namesOf(kSearchFields, ", ", " or ") + ". Up to eight in all; OR binds tighter than AND";
  rows.push_back({.names = "--entire-message",
                  .target = &options.words.entireMessage,
                  .help = "A phrase in " + phrasePlaces(),
                  .excludes = {"--and", "--or", "--and-not", "--or-not"}});
  return rows;
}

std::vector<CommandOption> dateOptions(SearchCommandOptions& options, const Program& program) {
  SearchWords& request = options.words;
  std::vector<CommandOption> dates = {
      {"--since", dayInto(request.since, program), "From this day, month or year on", "DAY"},
      {"--until", dayInto(request.until, program), "To the end of this day, month or year", "DAY"}};
  std::vector<std::string> before = {"--since", "--until"};
  for (Shortcut& shortcut : options.shortcuts) {
    const std::string name = fmt::format("--{}", shortcut.word);
    dates.push_back(
        {.names = name, .target = &shortcut.given, .help = shortcut.help, .excludes = before});
    before.push_back(name);
  }
  return dates;
}

std::vector<CommandOption> furtherOptions(SearchCommandOptions& options) {
  SearchWords& request = options.words;
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
std::vector<CommandOption> statementOptions(SearchCommandOptions& options,
                                            std::vector<std::string> form) {
  form.insert(form.end(), {"--sql", "--save"});
  return {{.names = "--with-tags",
           .target = &options.words.withTags,
           .help = "Only tagged messages, of those within the limit",
           .excludes = {"--without-tags"}},
          {"--without-tags", &options.words.withoutTags,
           "Only messages without tags, of those within the limit"},
          {.names = "--within-last-list",
           .target = &options.withinLastList,
           .help = "Search in the results of the last list, search or browse",
           .excludes = {"--save", "--saved"}},
          {"--sql", &options.sql,
           "Your own end of the statement, from WHERE on, sent as it stands; % stands for any text",
           "\"WHERE ...\""},
          {.names = "--saved",
           .target = &options.saved,
           .help = "Run the saved search of this name",
           .value = "NAME",
           .excludes = std::move(form)},
          {"--save", &options.saveAs, "Save the statement under this name", "NAME"},
          {"--show-sql", &options.showSql, "Print the statement and do not run it"}};
}

void startSearch(SearchCommandOptions& options, Program& program) {
  for (const GivenOption& given : options.conditions) {
    const auto* const join =
        std::find_if(std::begin(kJoins), std::end(kJoins),
                     [&given](const Join& each) { return given.name == each.option; });
    options.words.terms.push_back({join->operation, given.value});
  }
  for (const Shortcut& shortcut : options.shortcuts) {
    if (shortcut.given) options.words.dateShortcut = shortcut.word;
  }
  runSearch(options, program);
}

}  // namespace

Command searchCommand(Program& program) {
  auto options = std::make_shared<SearchCommandOptions>();
  Command command = {
      .name = "search",
      .help = "Search the archive",
      .more =
          "In conditions every character stands for itself. The window's form and --sql give % "
          "(any text), _ (any character) and \\ their meaning in a pattern of MySQL.",
      .run = [options, &program] { startSearch(*options, program); }};
  const auto add = [&command](const std::vector<CommandOption>& part) {
    command.options.insert(command.options.end(), part.begin(), part.end());
  };
  add(conditionOptions(*options));
  add(dateOptions(*options, program));
  add(furtherOptions(*options));
  std::vector<std::string> form;
  for (const CommandOption& option : command.options) form.push_back(option.names);
  add(statementOptions(*options, std::move(form)));
  options->rows.addTo(command);
  return command;
}

}  // namespace keldane
