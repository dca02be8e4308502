#pragma once

#include <string>

namespace keldane {

class Program;

struct RulesApplyOptions {
  bool dryRun = false;
  std::string database;
  std::string connection;
};

/// Runs the rules over the messages that are stored. What a message has of tags stays: keywords
/// are added, and empty fields filled. Prints what was done, or with `dryRun` what would be, and
/// leaves the exit status in the program.
void applyRules(const RulesApplyOptions& options, Program& program);

}  // namespace keldane
