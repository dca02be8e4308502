#pragma once

#include "platform/environment.h"

namespace keldane {

/// This process's real surroundings.
class SystemEnvironment : public Environment {
 public:
  SystemEnvironment(int argc, char** argv);

  [[nodiscard]] std::vector<std::string> arguments() const override { return arguments_; }
  [[nodiscard]] std::string executablePath() const override;
  /// Without a usable `HOME`, the home folder that the system knows for this user stands in for it:
  /// a scheduler or `sudo` may start the program without one.
  [[nodiscard]] std::optional<std::string> variable(std::string_view name) const override;
  [[nodiscard]] std::string temporaryFolder() const override;
  [[nodiscard]] std::string uniqueString() override;
  [[nodiscard]] std::int64_t now() const override;
  [[nodiscard]] std::string systemVersion() const override;

 private:
  std::vector<std::string> arguments_;
  unsigned counter_ = 0;
};

/// The version that users see, out of the text of the file in which macOS keeps it; empty when it
/// is not there.
[[nodiscard]] std::string macVersionFrom(std::string_view plist);
/// The same out of an os-release file.
[[nodiscard]] std::string linuxVersionFrom(std::string_view osRelease);

}  // namespace keldane
