#include "cli/overview.h"

#include <fmt/format.h>

namespace keldane {
namespace {

constexpr const char* kHowToBegin =
    "There is no archive yet. `keldane archive FOLDER` makes one of the mail in a folder or file; "
    "`keldane sources list` shows the mail that the mail client keeps on this machine, and "
    "`keldane connections add` takes a database server of your own in place of the private one.\n";
constexpr const char* kNextStep =
    "`keldane list` shows the newest messages, `keldane search --and subject=TEXT` finds some, "
    "`keldane show ID` shows one, and `keldane COMMAND --help` tells all about a command.\n";

}  // namespace

std::string overviewText(const Command& root, bool hasArchive) {
  std::vector<std::pair<std::string, std::string>> groups;
  for (const Command& command : root.commands) {
    if (groups.empty() || groups.back().first != command.group)
      groups.push_back({command.group, ""});
    groups.back().second += "  " + command.name;
  }
  std::string text = root.help + "\n\n";
  for (const auto& [title, names] : groups) text += fmt::format("{:<17}{}\n", title + ":", names);
  return text.append("\n").append(hasArchive ? kNextStep : kHowToBegin);
}

}  // namespace keldane
