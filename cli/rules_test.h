#pragma once

#include <string>
#include <vector>

namespace keldane {

class Program;

struct RulesTestOptions {
  std::vector<std::string> files;
  bool json = false;
};

/// Tells for each message of the files which rules fire, and the tags that they would give it. No
/// server is asked, and nothing is written.
void testRules(const RulesTestOptions& options, Program& program);

}  // namespace keldane
