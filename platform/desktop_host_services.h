#pragma once

#include <string>
#include <string_view>

#include "platform/host_services.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The user's desktop, reached through the system's own command-line tools: notify-send and
/// xdg-open on a freedesktop system, osascript, open and ps on a Mac. Texts go to the tools as
/// arguments or are escaped for them; no shell sees them. Not for anything that needs a window of
/// the program's own. Main thread.
class DesktopHostServices : public HostServices {
 public:
  enum class Desktop { freedesktop, mac };

  /// The desktop that this program was built for.
  explicit DesktopHostServices(ToolRunner& tools);
  /// `processFolder` is where the kernel shows its processes; empty: asked of the tool `ps`.
  DesktopHostServices(ToolRunner& tools, Desktop desktop, std::string processFolder);

  /// Without the desktop's tool nothing is shown: no operation depends on a notification.
  void notify(const std::string& title, const std::string& text) override;
  /// Does not wait for the application that opens the file, so its own failure stays unknown.
  [[nodiscard]] Result<void> openFile(const std::string& path) override;
  /// Programs of this user.
  [[nodiscard]] std::vector<RunningApplication> runningApplications() const override;
  void terminateApplication(const RunningApplication& application) override;
  [[nodiscard]] bool hasMailApplication() const override { return desktop_ == Desktop::mac; }
  [[nodiscard]] Result<std::vector<MailAccount>> mailAccounts() override;
  void requestMailAutomation() override;

 private:
  [[nodiscard]] std::vector<RunningApplication> applicationsInFolder() const;
  [[nodiscard]] std::vector<RunningApplication> applicationsFromPs() const;
  [[nodiscard]] Result<std::string> runScript(const std::string& script,
                                              std::vector<std::string> arguments) const;

  ToolRunner& tools_;
  const Desktop desktop_;
  const std::string processFolder_;
};

/// The texts of an AppleScript list in source form, `{"one", "two"}`. A text that is not such a
/// list gives those that stand before its fault.
[[nodiscard]] std::vector<std::string> appleScriptTexts(std::string_view list);

}  // namespace keldane
