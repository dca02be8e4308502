#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace keldane {

/// What the process finds around itself. `HOME` alone decides where everything is kept.
class Environment {
 public:
  virtual ~Environment() = default;
  [[nodiscard]] virtual std::vector<std::string> arguments() const = 0;
  /// Absolute path of the running program; argument 0 where the system does not tell.
  [[nodiscard]] virtual std::string executablePath() const;
  [[nodiscard]] virtual std::optional<std::string> variable(std::string_view name) const = 0;
  /// With a trailing slash.
  [[nodiscard]] virtual std::string temporaryFolder() const = 0;
  /// A string that no other process and no other call yields.
  [[nodiscard]] virtual std::string uniqueString() = 0;
  /// Seconds since 1970, UTC.
  [[nodiscard]] virtual std::int64_t now() const = 0;
  /// The system's version, such as "14.1" or "12".
  [[nodiscard]] virtual std::string systemVersion() const = 0;
};

/// "YYYY-MM-DD HH:MM:SS" of a moment in the local time zone.
[[nodiscard]] std::string localDateTime(std::int64_t secondsSince1970);

}  // namespace keldane
