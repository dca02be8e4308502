#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/environment.h"

namespace keldane {

/// Surroundings that a test sets up; what is not set is missing. The clock stands still.
class FakeEnvironment : public Environment {
 public:
  [[nodiscard]] std::vector<std::string> arguments() const override { return argumentList; }
  [[nodiscard]] std::optional<std::string> variable(std::string_view name) const override;
  [[nodiscard]] std::string temporaryFolder() const override { return temporary; }
  [[nodiscard]] std::string uniqueString() override;
  [[nodiscard]] std::int64_t now() const override { return seconds; }
  [[nodiscard]] std::string systemVersion() const override { return version; }

  std::vector<std::string> argumentList = {"/opt/keldane/KeldanePro"};
  std::map<std::string, std::string, std::less<>> variables;
  /// A test that makes folders names one of its own.
  std::string temporary = "/dev/null/";
  std::atomic<std::int64_t> seconds = 1700000000;  ///< 2023-11-14 22:13:20 UTC
  std::string version = "12";

 private:
  int uniqueStrings_ = 0;
};

}  // namespace keldane
