#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace keldane {

/// A folder of a test's own, made empty and removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Without a trailing slash.
  [[nodiscard]] const std::string& path() const { return path_; }
  /// Path of a name below the folder.
  [[nodiscard]] std::string operator/(std::string_view name) const;
  /// Writes a file below the folder, with the folders that it needs, and returns its path.
  std::string write(std::string_view name, std::string_view bytes) const;
  /// Writes an executable shell script below the folder and returns its path.
  std::string writeScript(std::string_view name, std::string_view body) const;
  /// Bytes of a file below the folder; the test fails when there is none.
  [[nodiscard]] std::string read(std::string_view name) const;
  /// Permissions of what lies below the folder.
  [[nodiscard]] unsigned modeOf(std::string_view name) const;

 private:
  std::string path_;
};

/// Status of a child process that does this with files limited to so many bytes, as on a full disk:
/// its writes fail behind that, or the system ends it where it is `killed`. What it returns is its
/// exit status.
int statusWithFileLimit(std::size_t bytes, const std::function<int()>& act, bool killed = false);

}  // namespace keldane
