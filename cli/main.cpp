#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

#include "cli/command_manual.h"
#include "cli/commands.h"
#include "cli/overview.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "platform/process_memory.h"

namespace {

constexpr const char* kVersion = "keldane 8.0.1";

/// A first argument that is an integer other than 0 is a start by the schedule.
bool isUnattended(int argc, char** argv) {
  if (argc < 2) return false;
  const std::string first = argv[1];
  char* end = nullptr;
  const long number = std::strtol(first.c_str(), &end, 10);
  return end != first.c_str() && *end == '\0' && number != 0;
}

/// What the build makes of the description, for standard output. Absent for any other line.
std::optional<std::string> generated(const keldane::Command& root, int argc, char** argv) {
  if (argc != 3 || std::string_view(argv[1]) != "--generate") return std::nullopt;
  const std::string_view what = argv[2];
  if (what == "manual") return keldane::manualPage(root, kVersion);
  if (what == "query-manual") return keldane::queryManualPage(kVersion);
  if (what == "bash") return keldane::bashCompletions(root);
  if (what == "zsh") return keldane::zshCompletions(root);
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  keldane::fillStandardFiles();
  keldane::tellOfFileLimits();
  keldane::giveLargeBlocksBack();
  keldane::Program program(argc, argv);
  if (isUnattended(argc, argv)) return keldane::runUnattended(program);

  const keldane::Command root = keldane::wholeProgram(program);
  if (const auto text = generated(root, argc, argv)) {
    std::fputs(text->c_str(), stdout);
    return program.finishOutput();
  }
  if (argc == 1) {
    const bool hasArchive = !program.archiver().connections().connectionNames().empty();
    const std::string text = keldane::overviewText(root, hasArchive);
    std::fputs(keldane::wrapLines(text, keldane::terminalWidth(STDOUT_FILENO)).c_str(), stdout);
    return program.finishOutput();
  }
  const keldane::ParsedLine line = keldane::parseLine(root, kVersion, {argv + 1, argv + argc});
  if (!line.error.empty()) {
    program.fail(line.error);
    return keldane::kExitUsage;
  }
  std::fputs(keldane::wrapLines(line.output, keldane::outputWidth()).c_str(), stdout);
  if (line.command != nullptr) line.command->run();
  return program.finishOutput();
}
