#pragma once

#include <string>
#include <vector>

#include "base/result.h"

namespace keldane {

/// An account of the machine's mail application: its name and its folder's id below the store.
struct MailAccount {
  std::string name;
  std::string path;
};

struct RunningApplication {
  std::string executableName;
  std::string bundleIdentifier;
  int processId = 0;
  std::string firstArgument = {};  ///< where the system tells it
};

/// Services of the user's desktop. Every one may be missing on a machine; the calls say so.
class HostServices {
 public:
  virtual ~HostServices() = default;
  /// Tells the user that something is done.
  virtual void notify(const std::string& title, const std::string& text) = 0;
  /// Opens a file with the application that the user's desktop has for it.
  [[nodiscard]] virtual Result<void> openFile(const std::string& path) = 0;
  [[nodiscard]] virtual std::vector<RunningApplication> runningApplications() const = 0;
  virtual void terminateApplication(const RunningApplication& application) = 0;
  /// Whether this system can have the mail application at all.
  [[nodiscard]] virtual bool hasMailApplication() const { return true; }
  /// Names and folder texts of the mail application's accounts. Fails where it cannot be asked.
  [[nodiscard]] virtual Result<std::vector<MailAccount>> mailAccounts() = 0;
  /// Asks the user once for leave to drive the mail application.
  virtual void requestMailAutomation() = 0;
};

}  // namespace keldane
