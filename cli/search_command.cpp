#include <cstdio>
#include <memory>

#include <unistd.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/message_rows.h"
#include "cli/program.h"
#include "cli/search_conditions.h"
#include "query/saved_searches.h"

namespace keldane {
namespace {

struct SearchCommandOptions {
  RowOptions rows;
  SearchConditions conditions;
  std::string saveAs;
  bool showSql = false;
};

void startSearch(SearchCommandOptions& options, Program& program) {
  SearchConditions& conditions = options.conditions;
  if (const Result<void> read = conditions.read(program.environment); !read) {
    (void)program.fail(read.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.rows.connection, options.rows.database);
  if (archiver == nullptr) return;
  const Result<std::string> statement = statementOf(conditions, *archiver, program);
  if (!statement) {
    (void)program.fail(statement.error());
    return;
  }
  if (!options.saveAs.empty()) {
    const Result<void> saved = saveSearch(archiver->preferences(), {options.saveAs, *statement});
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
  if (!conditions.saved.empty()) rows.withoutLimit = "the limit stands in the saved search";
  if (!conditions.sql.empty()) rows.withoutLimit = "the limit stands in --sql";
  program.exitStatus =
      showList(*archiver, {*statement, conditions.words.withTags, conditions.words.withoutTags},
               rows, program);
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
  options->conditions.addTo(command, program, {"--save"});
  command.options.insert(
      command.options.end(),
      {{"--save", &options->saveAs, "Save the statement under this name", "NAME"},
       {"--show-sql", &options->showSql, "Print the statement and do not run it"}});
  options->rows.addTo(command);
  return command;
}

}  // namespace keldane
