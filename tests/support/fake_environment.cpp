#include "tests/support/fake_environment.h"

namespace keldane {

std::optional<std::string> FakeEnvironment::variable(std::string_view name) const {
  const auto found = variables.find(name);
  if (found == variables.end()) return std::nullopt;
  return found->second;
}

std::string FakeEnvironment::uniqueString() { return "unique-" + std::to_string(++uniqueStrings_); }

}  // namespace keldane
