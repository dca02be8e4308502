#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/result.h"
#include "cli/command_line.h"
#include "cli/search_options.h"
#include "platform/environment.h"

namespace keldane {

class Archiver;
class Program;

/// The options by which a command finds the messages that it is about.
struct SearchConditions {
  struct Shortcut {
    const char* word;
    const char* help;
    bool given = false;
  };

  SearchWords words;
  std::vector<GivenOption> rows;
  std::array<Shortcut, 4> shortcuts = {{{"day", "This day"},
                                        {"week", "The last seven days"},
                                        {"month", "This month"},
                                        {"year", "This year"}}};
  std::string sql;
  std::string saved;
  std::string wordQuery;
  bool withinLastList = false;

  /// Adds the options behind those that the command has. Its options `besideNeither` can stand
  /// neither beside a saved search nor beside the last list. This must outlive the command.
  void addTo(Command& command, const Program& program, std::vector<std::string> besideNeither = {});
  /// Takes the options in, before anything else. Fails when they make no sense.
  [[nodiscard]] Result<void> read(const Environment& environment);
};

/// The statement of the list that the options ask for; words are looked up in the index, which is
/// brought in step. Fails when there is no such saved search, no last list, or no index to be had.
[[nodiscard]] Result<std::string> statementOf(const SearchConditions& conditions,
                                              Archiver& archiver, Program& program);

}  // namespace keldane
