#include <fmt/format.h>

#include "base/text.h"
#include "cli/command_manual.h"

namespace keldane {
namespace {

/// Calls `take` with each command and its path, those above first.
template <typename Take>
void eachCommand(const Command& command, const std::string& path, const Take& take) {
  take(command, path);
  for (const Command& below : command.commands) {
    eachCommand(below, path.empty() ? below.name : path + " " + below.name, take);
  }
}

std::vector<const CommandOption*> shownOptions(const Command& root, const Command& command) {
  std::vector<const CommandOption*> options;
  for (const CommandOption& option : command.options) {
    if (!option.hidden) options.push_back(&option);
  }
  if (&root == &command) return options;
  for (const CommandOption& option : root.options) {
    if (!option.hidden) options.push_back(&option);
  }
  return options;
}

bool isFileName(const std::string& value) { return value == "FILE" || value == "PATH"; }

std::string commandWords(const Command& command, bool isRoot) {
  std::string words;
  for (const Command& below : command.commands) words += below.name + " ";
  return isRoot ? words + "help" : words;
}

/// The branch of bash that offers the values of an option; empty when there are none to offer.
std::string bashValues(const CommandOption& option, const std::string& path) {
  std::string offered = join(wordsOffered(option), " ");
  const std::string value = valueName(option);
  std::string flags = offered.empty() ? "" : fmt::format("-W '{}'", offered);
  if (isFileName(value)) flags = "-f";
  if (value == "DIR") flags = "-d";
  if (isFlag(option)) return {};
  std::string patterns;
  for (const std::string& name : optionNames(option)) {
    patterns += fmt::format("{}'{}:{}'", patterns.empty() ? "" : "|", path, name);
  }
  // Of any other value nothing is known, and no option is offered in its place.
  return flags.empty() ? fmt::format("    {}) return ;;\n", patterns)
                       : fmt::format("    {}) offer {}; return ;;\n", patterns, flags);
}

std::string inQuotes(const std::string& text) {
  std::string quoted = text;
  replaceAll(quoted, "'", "'\\''");
  return "'" + quoted + "'";
}

/// A text within an argument of zsh's _arguments, where brackets and colons have a meaning.
std::string zshText(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') plain += '\\';
    plain += c;
  }
  return plain;
}

std::string zshAction(const CommandOption& option) {
  const std::string value = valueName(option);
  const std::vector<std::string> words = wordsOffered(option);
  std::string action = words.empty() ? " " : "(" + join(words, " ") + ")";
  if (isFileName(value)) action = "_files";
  if (value == "DIR") action = "_files -/";
  return ":" + zshText(value) + ":" + action;
}

std::string zshOption(const CommandOption& option) {
  std::string lines;
  for (const std::string& name : optionNames(option)) {
    std::string entry = (isList(option) ? "*" : "") + name;
    // A long name may have its value behind "=", too.
    if (!isFlag(option) && name.starts_with("--")) entry += "=";
    entry += "[" + zshText(option.help) + "]";
    if (!isFlag(option)) entry += zshAction(option);
    lines += " \\\n    " + inQuotes(entry);
  }
  return lines;
}

std::string functionName(const std::string& path) {
  std::string name = "_keldane";
  for (const std::string& word : split(path, " ")) {
    if (!word.empty()) name += "_" + word;
  }
  return name;
}

std::string zshFunction(const Command& root, const Command& command, const std::string& path) {
  std::string text = functionName(path) + "() {\n";
  std::string arguments = "  _arguments -s";
  if (!command.commands.empty()) {
    text += "  local curcontext=\"$curcontext\" state line\n  local -a commands=(\n";
    for (const Command& below : command.commands) {
      text += "    " + inQuotes(zshText(below.name) + ":" + below.help) + "\n";
    }
    if (&root == &command) text += "    'help:Show the help of a command'\n";
    text += "  )\n";
    arguments += " -C";
  }
  arguments += " \\\n    '(- *)'{-h,--help}'[Show help]'";
  if (&root == &command) arguments += " \\\n    '(- *)'{-V,--version}'[Show the version]'";
  for (const CommandOption* option : shownOptions(root, command)) {
    if (!isArgument(*option)) {
      arguments += zshOption(*option);
    } else {
      arguments += " \\\n    " + inQuotes((isList(*option) ? "*" : "") + zshAction(*option));
    }
  }
  if (command.commands.empty()) return text + arguments + "\n}\n\n";
  arguments += " \\\n    '1: :->command' \\\n    '*:: :->rest'\n";
  return text + arguments +
         fmt::format(
             "  case $state in\n    command) _describe command commands ;;\n"
             "    rest) (( $+functions[{0}_$line[1]] )) && {0}_$line[1] ;;\n  esac\n}}\n\n",
             functionName(path));
}

}  // namespace

std::string bashCompletions(const Command& root) {
  std::string commands;
  std::string options;
  std::string values;
  std::string files;
  eachCommand(root, "", [&](const Command& command, const std::string& path) {
    if (!command.commands.empty()) {
      commands += fmt::format("    '{}') commands='{}' ;;\n", path,
                              trimWhitespace(commandWords(command, path.empty())));
    }
    std::string names = path.empty() ? "--help --version" : "--help";
    for (const CommandOption* option : shownOptions(root, command)) {
      if (isArgument(*option)) {
        if (isFileName(valueName(*option))) files += fmt::format("    '{}') offer -f ;;\n", path);
        continue;
      }
      for (const std::string& name : optionNames(*option)) {
        if (name.starts_with("--")) names += " " + name;
      }
      values += bashValues(*option, path);
    }
    options += fmt::format("    '{}') options='{}' ;;\n", path, names);
  });
  return fmt::format(
      R"(# Completions of bash for keldane.
_keldane() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}}
  local path= commands= options= i
  COMPREPLY=()
  [ "$current" = = ] && current=
  [ "$before" = = ] && before=${{COMP_WORDS[COMP_CWORD - 2]}}
  offer() {{
    local IFS=$'\n'
    COMPREPLY=($(IFS=$' \t\n'; compgen "$@" -- "$current"))
    case $1 in -f | -d) compopt -o filenames 2>/dev/null ;; esac
  }}
  next_commands() {{
    commands=
    case $path in
{0}    esac
  }}
  next_commands
  for ((i = 1; i < COMP_CWORD; i++)); do
    case " $commands " in
      *" ${{COMP_WORDS[i]}} "*)
        [ "${{COMP_WORDS[i]}}" = help ] && continue
        path="${{path:+$path }}${{COMP_WORDS[i]}}"
        next_commands ;;
    esac
  done
  case $path:$before in
{1}  esac
  case $current in
    -*)
      case $path in
{2}      esac
      offer -W "$options"
      return ;;
  esac
  if [ -n "$commands" ]; then
    offer -W "$commands"
    return
  fi
  case $path in
{3}  esac
}}
complete -F _keldane keldane
)",
      commands, values, options, files);
}

std::string zshCompletions(const Command& root) {
  std::string text = "#compdef keldane\n# Completions of zsh for keldane.\n\n";
  eachCommand(root, "", [&](const Command& command, const std::string& path) {
    text += zshFunction(root, command, path);
  });
  text += "_keldane_help() {\n  _keldane\n}\n\n";
  return text + "_keldane \"$@\"\n";
}

}  // namespace keldane
