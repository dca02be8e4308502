#include <cstdio>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "query/saved_searches.h"

namespace keldane {
namespace {

struct BrowseTarget {
  std::string name;
  std::string database;
  std::string connection;
};

void listSearches(bool json, Program& program) {
  std::vector<std::vector<std::string>> rows;
  std::string text;
  for (const auto& [name, statement] : readSavedSearches(program.archiver().preferences())) {
    if (json) text += jsonLine({{"name", name}, {"statement", statement}});
    rows.push_back({name, statement});
  }
  const Pager pager(program.style, !json);
  if (!json)
    text = formatTable({{"NAME", false, 30}, {"STATEMENT", false, 0}}, rows, pager.width());
  std::fwrite(text.data(), 1, text.size(), stdout);
}

/// The statement of the search of this name; absent, and a message, when there is none.
std::optional<std::string> statementOf(const std::string& name, Program& program) {
  const auto searches = readSavedSearches(program.archiver().preferences());
  if (const std::string* statement = findSearch(searches, name)) return *statement;
  program.exitStatus = program.fail(fmt::format("there is no saved search named \"{}\"", name));
  return std::nullopt;
}

void showSearch(const std::string& name, Program& program) {
  const std::optional<std::string> statement = statementOf(name, program);
  if (!statement) return;
  const bool toTerminal = ::isatty(STDOUT_FILENO) != 0;
  std::fputs(((toTerminal ? printable(*statement) : *statement) + "\n").c_str(), stdout);
}

void removeSearch(const std::string& name, Program& program) {
  if (!statementOf(name, program)) return;
  const Result<void> deleted = deleteSearch(program.archiver().preferences(), name);
  if (!deleted) program.exitStatus = program.fail(printable(deleted.error()));
}

/// Sets the default of the Browse action, or clears it when there is no name, and looks whether the
/// archive has taken it.
void setBrowse(const BrowseTarget& target, Program& program) {
  if (!target.name.empty() && !statementOf(target.name, program)) return;
  Archiver* archiver = program.connected(target.connection, target.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  archiver->settings().archive.browseNameString = target.name;
  static_cast<void>(program.tell(archiver->settings().savePreferences()));
  static_cast<void>(program.tell(archiver->settings().getSettings()));
  if (archiver->settings().archive.browseNameString != target.name) {
    program.exitStatus = program.fail("the archive has not kept the name of the search");
  }
}

}  // namespace

Command searchesCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  auto target = std::make_shared<BrowseTarget>();
  const CommandOption name = {
      .names = "NAME", .target = &target->name, .help = "Its name", .required = true};
  const std::vector<CommandOption> place = {
      {"--database", &target->database, "For this database", "NAME"},
      {"--connection", &target->connection, "On this saved connection", "NAME"}};
  const auto setsBrowse = [target, &program] { setBrowse(*target, program); };
  return {.name = "searches",
          .help = "The saved searches (save one with `keldane search --save`)",
          .commands = {{.name = "list",
                        .help = "List them with their statements",
                        .options = {{"--json", json.get(), "One JSON object a line for each"}},
                        .run = [json, &program] { listSearches(*json, program); }},
                       {.name = "show",
                        .help = "Print the statement of one",
                        .options = {name},
                        .run = [target, &program] { showSearch(target->name, program); }},
                       {.name = "delete",
                        .help = "Delete one",
                        .options = {name},
                        .run = [target, &program] { removeSearch(target->name, program); }},
                       {.name = "set-browse",
                        .help = "Let `keldane browse` run this one",
                        .options = {name, place[0], place[1]},
                        .run = setsBrowse},
                       {.name = "reset-browse",
                        .help = "Let `keldane browse` list the whole archive again",
                        .options = place,
                        .run = setsBrowse}}};
}

}  // namespace keldane
