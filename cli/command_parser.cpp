#include <algorithm>
#include <map>
#include <sstream>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "base/text.h"
#include "cli/command_line.h"

namespace keldane {
namespace {

/// How many letters have to be taken away, put in or exchanged to make one word of the other.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t exchanged = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

/// The known word that was most likely meant; empty when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& known) {
  std::string best;
  std::size_t least = word.size() / 3 + 2;
  for (const std::string& each : known) {
    // The beginning of a word means it, however long it is.
    const bool begun = word.size() > 2 && each.starts_with(word);
    const std::size_t distance = begun ? 1 : editDistance(word, each);
    if (distance >= least) continue;
    least = distance;
    best = each;
  }
  return best;
}

std::string nameOr(const std::string& path, const std::string& otherwise) {
  return path.empty() ? otherwise : path;
}

/// The line's words followed down to the command that they name.
class Walk {
 public:
  Walk(const Command& root, const std::vector<std::string>& words) : root_(root), at_(&root) {
    for (std::size_t i = 0; i < words.size() && error.empty(); ++i) {
      const std::string& word = words[i];
      if (word == "--") break;
      if (word.size() > 1 && word.starts_with('-')) {
        i += takeOption(word);
        if (i == words.size()) error = printable(word) + " wants a value";
      } else if (!at_->commands.empty()) {
        takeCommand(word);
      }
    }
    if (!error.empty() || asksForHelp_ || at_->commands.empty()) return;
    if (at_ == &root) {
      error = "name a command; `keldane` alone shows them";
    } else {
      error =
          fmt::format("\"{}\" wants one of its commands: {}", path_, join(commandNames(), ", "));
    }
  }

  std::string error;
  [[nodiscard]] const std::string& path() const { return path_; }
  /// Whether the line names the command, or one below it.
  [[nodiscard]] bool names(const Command& command) const {
    return std::count(named_.begin(), named_.end(), &command) != 0;
  }
  [[nodiscard]] bool asksForHelp() const { return asksForHelp_; }

 private:
  [[nodiscard]] std::vector<std::string> commandNames() const {
    std::vector<std::string> names;
    for (const Command& command : at_->commands) names.push_back(command.name);
    return names;
  }

  void takeCommand(const std::string& word) {
    for (const Command& command : at_->commands) {
      if (command.name != word) continue;
      at_ = &command;
      named_.push_back(&command);
      path_ += (path_.empty() ? "" : " ") + word;
      return;
    }
    const std::string before = path_.empty() ? "" : path_ + " ";
    const std::string meant = nearest(word, commandNames());
    error = fmt::format("there is no command \"{}{}\"; ", before, printable(word)) +
            (meant.empty() ? "`keldane` alone and --help show what there is"
                           : fmt::format("did you mean \"{}{}\"?", before, meant));
  }

  /// Answers how many words behind this one belong to it.
  std::size_t takeOption(const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    std::vector<std::string> known = {"--help"};
    if (at_ == &root_) known.emplace_back("--version");
    if (name == "-h" || name == "-V" || std::count(known.begin(), known.end(), name) != 0) {
      asksForHelp_ = true;
      return 0;
    }
    for (const auto* options : {&at_->options, &root_.options}) {
      for (const CommandOption& option : *options) {
        for (const std::string& each : optionNames(option)) {
          if (each == name) return isFlag(option) || name != word ? 0 : 1;
          if (!option.hidden && each.starts_with("--")) known.push_back(each);
        }
      }
    }
    // The parser takes short options apart itself.
    if (!name.starts_with("--")) return 0;
    const std::string meant = nearest(name, known);
    error = fmt::format("{} has no option {}; ", nameOr(path_, "keldane"), printable(name)) +
            (meant.empty() ? fmt::format("`keldane{}{} --help` shows what there is",
                                         path_.empty() ? "" : " ", path_)
                           : fmt::format("did you mean {}?", meant));
    return 0;
  }

  const Command& root_;
  const Command* at_;
  std::vector<const Command*> named_;
  std::string path_;
  bool asksForHelp_ = false;
};

/// The description as the parser's own objects. Of commands that the line does not name only what
/// help shows of them, and nothing where no help is wanted: to make all of them takes longer than a
/// short command.
class Parser {
 public:
  Parser(const Command& root, const std::string& version, const Walk& walk)
      : root_(root), walk_(walk) {
    app_.set_version_flag("-V,--version", version);
    fill(app_, root);
  }

  /// Throws what the parser throws.
  const Command* parse(std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());
    app_.parse(std::move(words));
    return chosen_;
  }

  CLI::App& app() { return app_; }

 private:
  using Made = std::vector<std::pair<CLI::Option*, const CommandOption*>>;

  void fill(CLI::App& app, const Command& command) {
    app.description(command.help);
    app.footer(command.more);
    app.fallthrough(false);
    app.group(command.group.empty() ? "Commands" : command.group);
    if (&command != &root_ && !walk_.names(command)) return;
    Made made;
    for (const CommandOption& option : command.options) {
      made.emplace_back(add(app, option), &option);
    }
    for (const auto& [option, described] : made) {
      for (const std::string& other : described->excludes) option->excludes(app.get_option(other));
      for (const std::string& other : described->needs) option->needs(app.get_option(other));
    }
    if (&command != &root_) {
      for (const CommandOption& option : root_.options) add(app, option)->group("Everywhere");
    }
    if (!command.commands.empty()) app.require_subcommand(1);
    for (const Command& below : command.commands) {
      if (!walk_.asksForHelp() && !walk_.names(below)) continue;
      fill(*app.add_subcommand(below.name, ""), below);
    }
    if (command.run) {
      app.callback([this, &app, &command, made] { finish(app, command, made); });
    }
  }

  static CLI::Option* add(CLI::App& app, const CommandOption& option) {
    CLI::Option* made = makeOption(app, option);
    if (option.hidden) made->group("");
    if (option.required) made->required();
    // One blank keeps the parser's own words away, such as a list of what a flag excludes.
    made->option_text(isArgument(option) || isFlag(option) ? " " : valueName(option));
    if (isFlag(option)) return made;
    if (isArgument(option) && isList(option)) {
      made->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
    } else if (isList(option)) {
      // How many at most is told of the whole line: the parser does not count what it takes whole.
      made->expected(1, CLI::detail::expected_max_vector_size);
      made->allow_extra_args(false);
      made->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    } else {
      made->expected(1);
    }
    if (!option.choices.empty()) {
      made->check(CLI::Validator(
          [&option](const std::string& text) { return checkChoice(option.choices, text); }, ""));
    }
    if (option.check) made->check(CLI::Validator(option.check, ""));
    if (const auto* reader = std::get_if<ValueReader>(&option.target)) {
      made->check(CLI::Validator(*reader, ""));
    }
    return made;
  }

  static CLI::Option* makeOption(CLI::App& app, const CommandOption& option) {
    const std::string& names = option.names;
    if (auto* const* flag = std::get_if<bool*>(&option.target)) {
      return app.add_flag(names, **flag, option.help);
    }
    return app.add_option(
        names,
        [&option](const CLI::results_t& values) {
          take(option.target, values);
          return true;
        },
        option.help);
  }

  static void take(const OptionTarget& target, const CLI::results_t& values) {
    if (values.empty()) return;
    if (auto* const* text = std::get_if<std::string*>(&target)) **text = values.back();
    if (auto* const* text = std::get_if<std::optional<std::string>*>(&target)) {
      **text = values.back();
    }
    if (auto* const* list = std::get_if<std::vector<std::string>*>(&target)) **list = values;
  }

  static std::string checkChoice(const std::vector<std::string>& choices, const std::string& text) {
    if (std::count(choices.begin(), choices.end(), text) != 0) return {};
    const std::string meant = nearest(text, choices);
    return fmt::format("\"{}\" is none of {}", printable(text), join(choices, ", ")) +
           (meant.empty() ? "" : fmt::format("; did you mean {}?", meant));
  }

  /// What can be told only of the whole line.
  void finish(const CLI::App& app, const Command& command, const Made& made) {
    for (const auto& [option, described] : made) {
      if (!isList(*described) || described->most == 0 || option->count() <= described->most)
        continue;
      throw CLI::ParseError(fmt::format("{} may be given {} times at most, and is there {} times",
                                        described->names, described->most, option->count()),
                            CLI::ExitCodes::ArgumentMismatch);
    }
    std::map<const CLI::Option*, std::size_t> taken;
    for (const CLI::Option* option : app.parse_order()) {
      for (const auto& [each, described] : made) {
        if (each != option) continue;
        auto* const* list = std::get_if<std::vector<GivenOption>*>(&described->target);
        if (list == nullptr) continue;
        (*list)->push_back({described->names, option->results().at(taken[option]++)});
      }
    }
    const bool hasOne =
        std::any_of(command.oneOf.begin(), command.oneOf.end(),
                    [&app](const std::string& name) { return app.count(name) != 0; });
    if (!hasOne && !command.oneOf.empty()) {
      throw CLI::ParseError("give at least one of " + join(command.oneOf, ", "),
                            CLI::ExitCodes::RequiredError);
    }
    chosen_ = &command;
  }

  const Command& root_;
  const Walk& walk_;
  CLI::App app_{"", root_.name};
  const Command* chosen_ = nullptr;
};

/// "help COMMAND" is "COMMAND --help".
void turnHelpRound(const Command& root, std::vector<std::string>& words) {
  const auto isWord = [](const std::string& word) { return !word.starts_with('-'); };
  const auto first = std::find_if(words.begin(), words.end(), isWord);
  if (first == words.end() || *first != "help") return;
  const bool isOptionsValue =
      first != words.begin() &&
      std::any_of(root.options.begin(), root.options.end(), [&](const CommandOption& option) {
        return !isFlag(option) && option.names == *(first - 1);
      });
  if (isOptionsValue) return;
  words.erase(first);
  words.emplace_back("--help");
}

}  // namespace

ParsedLine parseLine(const Command& root, const std::string& version,
                     std::vector<std::string> words) {
  turnHelpRound(root, words);
  const Walk walk(root, words);
  if (!walk.error.empty()) return {nullptr, "", walk.error};
  Parser parser(root, version, walk);
  try {
    return {parser.parse(std::move(words)), "", ""};
  } catch (const CLI::ParseError& error) {
    std::ostringstream shown;
    if (error.get_exit_code() == 0) {
      parser.app().exit(error, shown, shown);
      return {nullptr, shown.str(), ""};
    }
    return {nullptr, "",
            fmt::format("{}; `keldane{}{} --help` tells more", error.what(),
                        walk.path().empty() ? "" : " ", walk.path())};
  }
}

}  // namespace keldane
