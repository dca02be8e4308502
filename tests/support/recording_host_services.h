#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/host_services.h"

namespace keldane {

/// A desktop that writes down what it is asked, and has what a test has laid out.
class RecordingHostServices : public HostServices {
 public:
  void notify(const std::string& title, const std::string& text) override {
    calls.push_back("notify [" + title + "] " + text);
  }
  [[nodiscard]] Result<void> openFile(const std::string& path) override {
    calls.push_back("open " + path);
    if (openFailure) return Failure{*openFailure};
    return {};
  }
  [[nodiscard]] std::vector<RunningApplication> runningApplications() const override {
    return running;
  }
  void terminateApplication(const RunningApplication& application) override {
    calls.push_back("terminate " + application.executableName);
  }
  [[nodiscard]] bool hasMailApplication() const override { return mailApplication; }
  [[nodiscard]] Result<std::vector<MailAccount>> mailAccounts() override {
    calls.emplace_back("mailAccounts");
    if (!accounts) return Failure{"the mail application cannot be asked here"};
    return *accounts;
  }
  void requestMailAutomation() override { calls.emplace_back("requestMailAutomation"); }

  std::vector<std::string> calls;
  std::vector<RunningApplication> running;
  bool mailApplication = true;
  std::optional<std::vector<MailAccount>> accounts;
  std::optional<std::string> openFailure;
};

}  // namespace keldane
