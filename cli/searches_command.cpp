#include <algorithm>
#include <cstdio>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

struct BrowseTarget {
  std::string name;
  std::string database;
  std::string connection;
};

void listSearches(bool json, Program& program) {
  const SavedSearches& searches = program.controller().savedSearches();
  std::vector<std::vector<std::string>> rows;
  std::string text;
  for (std::size_t i = 0; i < searches.savedSearchNames().size(); ++i) {
    const std::string& name = searches.savedSearchNames()[i];
    const std::string& statement = searches.statements()[i];
    if (json) text += jsonLine({{"name", name}, {"statement", statement}});
    rows.push_back({name, statement});
  }
  const Pager pager(!json);
  if (!json)
    text = formatTable({{"NAME", false, 30}, {"STATEMENT", false, 0}}, rows, pager.width());
  std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Row of the search of this name; -1, and a message, when there is none.
int findSearch(const std::string& name, Program& program) {
  const auto& names = program.controller().savedSearches().savedSearchNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found != names.end()) return static_cast<int>(found - names.begin());
  program.exitStatus = program.fail(fmt::format("there is no saved search named \"{}\"", name));
  return -1;
}

void showSearch(const std::string& name, Program& program) {
  const int row = findSearch(name, program);
  if (row < 0) return;
  const std::string& statement =
      program.controller().savedSearches().statements()[static_cast<std::size_t>(row)];
  const bool toTerminal = ::isatty(STDOUT_FILENO) != 0;
  std::fputs(((toTerminal ? printable(statement) : statement) + "\n").c_str(), stdout);
}

void deleteSearch(const std::string& name, Program& program) {
  const int row = findSearch(name, program);
  if (row < 0) return;
  SavedSearches& searches = program.controller().savedSearches();
  searches.selectRow(row);
  if (!searches.deleteSearch()) program.exitStatus = kExitFailed;
}

/// Sets the default of the Browse action, or clears it when there is no name, and looks whether the
/// archive has taken it.
void setBrowse(const BrowseTarget& target, Program& program) {
  const int row = target.name.empty() ? -1 : findSearch(target.name, program);
  if (!target.name.empty() && row < 0) return;
  KeldaneController* controller = program.connected(target.connection, target.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  if (row < 0) {
    controller->browse().resetBrowse();
  } else {
    // The connect has read the preferences again, and so left no row selected.
    controller->savedSearches().selectRow(row);
    controller->browse().setBrowse();
  }
  static_cast<void>(program.tell(controller->settings().getSettings()));
  if (controller->settings().archive.browseNameString != target.name) {
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
                        .run = [target, &program] { deleteSearch(target->name, program); }},
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
