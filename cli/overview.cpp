#include "cli/overview.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace keldane {
namespace {

struct CommandGroup {
  const char* title;
  std::string_view commands;  ///< between blanks
};

constexpr std::array<CommandGroup, 3> kGroups = {{
    {"Fill the archive", " archive sources rules schedule logs "},
    {"Find and read", " list search find searches browse show parts attachments stats "},
    {"Keep it", " tag untag duplicates verify status settings connections server inspect "},
}};

constexpr const char* kHowToBegin =
    "There is no archive yet. `keldane archive FOLDER` makes one of the mail in a folder or file;\n"
    "`keldane sources list` shows the mail that the mail client keeps on this machine, and\n"
    "`keldane connections add` takes a database server of your own in place of the private one.\n";
constexpr const char* kNextStep =
    "`keldane list` shows the newest messages, `keldane search --and subject=TEXT` finds some,\n"
    "`keldane show ID` shows one, and `keldane COMMAND --help` tells all about a command.\n";

}  // namespace

void groupCommands(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    const std::string word = " " + command->get_name() + " ";
    for (const CommandGroup& group : kGroups) {
      if (group.commands.find(word) != std::string_view::npos) command->group(group.title);
    }
  }
}

std::string unknownCommand(const CLI::App& app, int argc, char** argv) {
  // A group of options counts as a command without a name.
  const auto hasName = [](const CLI::App* command) { return !command->get_name().empty(); };
  const CLI::App* at = &app;
  std::string words;
  for (int i = 1; i < argc && !at->get_subcommands(hasName).empty(); ++i) {
    const std::string word = argv[i];
    if (word.starts_with('-')) continue;
    words += words.empty() ? word : " " + word;
    const CLI::App* next = nullptr;
    for (const CLI::App* command : at->get_subcommands(hasName)) {
      if (command->get_name() == word) next = command;
    }
    if (next == nullptr) return words;
    at = next;
  }
  return {};
}

void printOverview(const CLI::App& app, bool hasArchive) {
  std::string text = app.get_description() + "\n\n";
  for (const CommandGroup& group : kGroups) {
    std::string names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
      if (command->get_group() == group.title) names += "  " + command->get_name();
    }
    text += fmt::format("{:<17}{}\n", std::string(group.title) + ":", names);
  }
  text.append("\n").append(hasArchive ? kNextStep : kHowToBegin);
  std::fputs(text.c_str(), stdout);
}

}  // namespace keldane
