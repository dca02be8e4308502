#pragma once

#include <optional>
#include <string>

#include "platform/tool_runner.h"

namespace keldane {

/// Takes the lines of an older kind of schedule, those that name "KeldanePro.app", out of the
/// user's crontab. The crontab is written back at every call, also when no line had to go.
///
/// Every other line is the user's own and survives: nothing is written when the crontab could not
/// be read, and while it is written a copy stands in the program's folder. A copy that is still
/// there at the next call tells of a write that was cut off, and goes back in. Main thread.
class CrontabCleaner {
 public:
  /// `folder` is where the copy stands; it is made when needed.
  CrontabCleaner(ToolRunner& tools, const std::string& folder,
                 std::string crontab = "/usr/bin/crontab");

  /// What could not be done is told on standard error only.
  void removeCrontab();

 private:
  [[nodiscard]] std::optional<std::string> list();
  [[nodiscard]] std::string withRestOfCutOffWrite(std::string lines) const;
  [[nodiscard]] bool keepCopy(const std::string& lines) const;
  void write(const std::string& lines);
  void dropCopy() const;

  ToolRunner& tools_;
  const std::string crontab_;
  const std::string folder_;
  const std::string copyPath_;
};

}  // namespace keldane
