#include <cstdio>
#include <map>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/day_option.h"
#include "cli/last_list.h"
#include "cli/message_rows.h"
#include "cli/program.h"
#include "cli/search_options.h"

namespace keldane {
namespace {

struct SearchOptions {
  RowOptions rows;
  SearchRequest request;
  std::map<const CLI::Option*, std::pair<std::string, std::vector<std::string>>> joins;
  std::map<std::string, bool> shortcuts;
  std::string sql;
  std::string saved;
  std::string saveAs;
  bool withinLastList = false;
  bool showSql = false;
};

constexpr const char* kShortcuts[] = {"day", "week", "month", "year"};

/// The terms of all four joining options in the order of the command line.
std::vector<SearchTerm> termsInOrder(const CLI::App& command, const SearchOptions& options) {
  std::vector<SearchTerm> terms;
  std::map<const CLI::Option*, std::size_t> taken;
  for (const CLI::Option* option : command.parse_order()) {
    const auto join = options.joins.find(option);
    if (join == options.joins.end()) continue;
    const auto& [operation, values] = join->second;
    std::size_t& next = taken[option];
    if (next < values.size()) terms.push_back({operation, values[next++]});
  }
  return terms;
}

void applyShortcut(RetrieveSheet& sheet, const std::string& shortcut) {
  if (shortcut == "day") sheet.doDay();
  if (shortcut == "week") sheet.doWeek();
  if (shortcut == "month") sheet.doMonth();
  if (shortcut == "year") sheet.doYear();
}

/// The statement asked for; nullopt when it cannot be had, which has been told.
std::optional<std::string> statementFor(const SearchOptions& options, SearchForm form,
                                        const SearchContext& context, KeldaneController& controller,
                                        Program& program) {
  RetrieveSheet& sheet = controller.retrieveSheet();
  sheet.form = std::move(form);
  if (!options.saved.empty()) {
    const std::string* statement = controller.savedSearches().find(options.saved);
    if (statement != nullptr) return *statement;
    (void)program.fail(fmt::format("there is no saved search named \"{}\"", options.saved));
    return std::nullopt;
  }
  applyShortcut(sheet, options.request.dateShortcut);
  sheet.orderAndLimit = context;
  std::vector<std::string> within;
  if (options.withinLastList) {
    const Result<std::vector<std::string>> ids = LastList(controller).read();
    if (!ids) {
      (void)program.fail(ids.error());
      return std::nullopt;
    }
    within = *ids;
    sheet.listMode = 1;
    controller.resultList().listViewCount = 1;
  }
  if (!sheet.makeSearchSQL()) return std::nullopt;
  if (!options.sql.empty()) sheet.whereSql = options.sql;
  return (within.empty() ? sheet.beginSql : withinList(sheet.beginSql, within)) + sheet.whereSql;
}

bool saveAs(const std::string& name, const std::string& statement, KeldaneController& controller) {
  SearchForm& form = controller.retrieveSheet().form;
  const SearchForm asked = form;
  form.searchNameTextField = name;
  form.savedSearchTextField = statement;
  const bool saved = controller.savedSearches().saveSearch();
  form = asked;
  return saved;
}

void runSearch(const SearchOptions& options, Program& program) {
  const Result<SearchForm> form = searchFormOf(options.request);
  const Result<SearchContext> checked = searchContextOf(options.request, {});
  if (!form || !checked) {
    (void)program.fail(form ? checked.error() : form.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  KeldaneController* controller = program.connected(options.rows.connection, options.rows.database);
  if (controller == nullptr) return;
  const Result<SearchContext> context =
      searchContextOf(options.request, controller->searchSettings());
  const std::optional<std::string> statement =
      statementFor(options, *form, *context, *controller, program);
  if (!statement) return;
  if (!options.saveAs.empty() && !saveAs(options.saveAs, *statement, *controller)) return;
  if (options.showSql) {
    const bool toTerminal = ::isatty(STDOUT_FILENO) != 0;
    std::fputs(((toTerminal ? printable(*statement) : *statement) + "\n").c_str(), stdout);
    program.exitStatus = kExitDone;
    return;
  }
  options.rows.prepare(controller->resultList());
  controller->retrieveSheet().run(*statement);
  RowOptions rows = options.rows;
  if (!options.saved.empty()) rows.withoutLimit = "the limit stands in the saved search";
  if (!options.sql.empty()) rows.withoutLimit = "the limit stands in --sql";
  program.exitStatus = showList(*controller, rows, program);
}

void addRows(CLI::App& command, SearchOptions& options) {
  const std::pair<const char*, const char*> joins[] = {
      {"--and", "AND"}, {"--or", "OR"}, {"--and-not", "AND NOT"}, {"--or-not", "OR NOT"}};
  const std::string help[] = {
      "A further condition; FIELD is " + namesOf(kSearchFields, ", ", " or ") +
          ". Up to eight in all; OR binds tighter than AND",
      "An alternative to the condition before it", "A condition that must not hold",
      "An alternative: that this does not hold"};
  for (std::size_t i = 0; i < std::size(joins); ++i) {
    CLI::Option* option = command.add_option_function<std::vector<std::string>>(
        joins[i].first,
        [&options, &command, name = joins[i].first](const std::vector<std::string>& given) {
          options.joins[command.get_option(name)].second = given;
        },
        help[i]);
    option->option_text("FIELD=TEXT")->allow_extra_args(false);
    option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    options.joins[option].first = joins[i].second;
  }
}

void addFormOptions(CLI::App& command, SearchOptions& options) {
  SearchRequest& request = options.request;
  addRows(command, options);
  CLI::Option* phrase = command.add_option("--entire-message", request.entireMessage,
                                           "A phrase in " + phrasePlaces());
  for (const char* row : {"--and", "--or", "--and-not", "--or-not"}) {
    phrase->excludes(command.get_option(row));
  }
  addDayOption(command, "--since", request.since, "From this day, month or year on");
  addDayOption(command, "--until", request.until, "To the end of this day, month or year");
  for (const char* shortcut : kShortcuts) {
    CLI::Option* flag =
        command.add_flag(fmt::format("--{}", shortcut), options.shortcuts[shortcut],
                         shortcut == std::string("week") ? std::string("The last seven days")
                                                         : fmt::format("This {}", shortcut));
    flag->excludes(command.get_option("--since"))->excludes(command.get_option("--until"));
    for (const char* other : kShortcuts) {
      if (std::string_view(other) == shortcut) break;
      flag->excludes(command.get_option(fmt::format("--{}", other)));
    }
  }
  command.add_flag("--has-attachment", request.hasAttachment, "Only messages with attachments");
  command
      .add_option("--type", request.types, "Only with attachments of this type; may be repeated")
      ->option_text(namesOf(kAttachTypeGroups, "|", "|"))
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  std::string* tags[] = {&request.category, &request.keywords, &request.notes, &request.priority};
  for (std::size_t i = 0; i < kTagFields; ++i) {
    command.add_option(fmt::format("--{}", kTagSearchFields[i].name), *tags[i],
                       std::string(kTagSearchFields[i].help));
  }
  command.get_option("--priority")->option_text("none|lowest|low|medium|high|highest");
  CLI::Option* with = command.add_flag("--with-tags", request.withTags,
                                       "Only tagged messages, of those within the limit");
  command
      .add_flag("--without-tags", request.withoutTags,
                "Only messages without tags, of those within the limit")
      ->excludes(with);
  command.add_option("--sort", request.sort, "Order (that of the settings when not given)")
      ->option_text(namesOf(kSortColumns, "|", "|"));
  command.add_flag("--descending", request.descending, "The last first");
  command
      .add_option("--limit", request.limit, "At most so many (that of the settings when not given)")
      ->option_text(kLimitWords);
}

void addStatementOptions(CLI::App& command, SearchOptions& options) {
  CLI::Option* within =
      command.add_flag("--within-last-list", options.withinLastList,
                       "Search in the results of the last list, search or browse");
  command
      .add_option(
          "--sql", options.sql,
          "Your own end of the statement, from WHERE on, sent as it stands; % stands for any text")
      ->option_text("\"WHERE ...\"");
  CLI::Option* saved =
      command.add_option("--saved", options.saved, "Run the saved search of this name")
          ->option_text("NAME");
  command.add_option("--save", options.saveAs, "Save the statement under this name")
      ->option_text("NAME")
      ->excludes(within);
  saved->excludes(within);
  for (const char* other : {"--and",
                            "--or",
                            "--and-not",
                            "--or-not",
                            "--entire-message",
                            "--since",
                            "--until",
                            "--day",
                            "--week",
                            "--month",
                            "--year",
                            "--has-attachment",
                            "--type",
                            "--category",
                            "--keywords",
                            "--notes",
                            "--priority",
                            "--sort",
                            "--descending",
                            "--limit",
                            "--sql",
                            "--save"}) {
    saved->excludes(command.get_option(other));
  }
  command.add_flag("--show-sql", options.showSql, "Print the statement and do not run it");
}

}  // namespace

void addSearchCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<SearchOptions>();
  CLI::App* command = app.add_subcommand("search", "Search the archive");
  command->footer(
      "In conditions every character stands for itself. The window's form and --sql give % (any "
      "text), _ (any character) and \\ their meaning in a pattern of MySQL.");
  addFormOptions(*command, *options);
  addStatementOptions(*command, *options);
  options->rows.addTo(*command);
  command->callback([options, command, &program] {
    options->request.terms = termsInOrder(*command, *options);
    for (const char* shortcut : kShortcuts) {
      if (options->shortcuts[shortcut]) options->request.dateShortcut = shortcut;
    }
    runSearch(*options, program);
  });
}

}  // namespace keldane
