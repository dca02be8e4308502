#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// What the terminal program takes on its command line, as plain data. Command files describe their
/// commands so, bound to the structs that the commands read; the parser, the help, the manual page
/// and the completions of the shells are all made of the one description.
namespace keldane {

/// Takes one value; the answer says what is wrong with it, or is empty.
using ValueReader = std::function<std::string(const std::string&)>;

/// An option as it was given.
struct GivenOption {
  std::string name;
  std::string value;
};

/// Where the values go: a flag is set, a text is the last one given, a list takes all of them.
/// Several options may share a list of given options, which has them in the order of the line.
using OptionTarget =
    std::variant<bool*, std::string*, std::optional<std::string>*, std::vector<std::string>*,
                 std::vector<GivenOption>*, ValueReader>;

struct CommandOption {
  std::string names;    ///< "-q,--quiet"; of an argument its name in capitals: "ID"
  OptionTarget target;  ///< outlives the description
  std::string help = {};
  /// What stands for the value in help: "DAY". Words between bars are offered by the shells, and
  /// files for FILE and PATH, folders for DIR. Empty: TEXT.
  std::string value = {};
  ValueReader check = {};                 ///< looks at each value
  std::vector<std::string> choices = {};  ///< the only values there are; empty: any
  bool required = false;
  bool hidden = false;                     ///< from help, manual and completions
  std::size_t most = 0;                    ///< values that a list takes; 0: any number
  std::vector<std::string> excludes = {};  ///< options that cannot stand beside it
  std::vector<std::string> needs = {};     ///< options that must stand beside it
};

struct Command {
  std::string name;
  std::string help = {};
  std::string more = {};                    ///< what else there is to know, behind the options
  std::string group = {};                   ///< a heading of the overview
  std::vector<CommandOption> options = {};  ///< and arguments, in their order
  std::vector<std::string> oneOf = {};      ///< options of which at least one is wanted
  std::vector<Command> commands = {};       ///< those below it; then it cannot run itself
  std::function<void()> run = {};
};

[[nodiscard]] bool isArgument(const CommandOption& option);
[[nodiscard]] bool isFlag(const CommandOption& option);
/// Whether it may be given several times, or takes several words as an argument.
[[nodiscard]] bool isList(const CommandOption& option);
/// "-q" and "--quiet".
[[nodiscard]] std::vector<std::string> optionNames(const CommandOption& option);
/// What stands for its value in help.
[[nodiscard]] std::string valueName(const CommandOption& option);
/// The values that are offered; none when any may be given.
[[nodiscard]] std::vector<std::string> wordsOffered(const CommandOption& option);

/// Checks for a number of a range, which it keeps.
[[nodiscard]] ValueReader numberInto(unsigned& number, unsigned least, unsigned most);
[[nodiscard]] ValueReader numberInto(std::optional<unsigned>& number, unsigned least,
                                     unsigned most);

/// What a line asks for. With an error nothing is to be run; without a command `output` is all.
struct ParsedLine {
  const Command* command = nullptr;
  std::string output;  ///< help or version
  std::string error;   ///< a sentence, which names the nearest of what there is
};

/// Reads the words behind the program's name. The root's options may stand anywhere. The targets
/// are filled as far as the line was read.
[[nodiscard]] ParsedLine parseLine(const Command& root, const std::string& version,
                                   std::vector<std::string> words);

}  // namespace keldane
