#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/keldane_controller.h"
#include "platform/main_queue.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_host_services.h"
#include "tests/support/recording_tool_runner.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// Keeps what is posted for later until the test says that the time has come.
class HeldQueue : public MainQueue {
 public:
  void post(std::function<void()> task) override { task(); }
  void callAndWait(std::function<void()> task) override { task(); }
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override {
    EXPECT_EQ(delay.count(), 500000000);
    later_.push_back(std::move(task));
  }
  void runLater() {
    for (const auto& task : std::exchange(later_, {})) task();
  }

 private:
  std::vector<std::function<void()>> later_;
};

/// A window without a screen or a server, in a home folder of a test's own.
class ControllerRig : public ::testing::Test {
 protected:
  ControllerRig() {
    environment.variables["HOME"] = folder.path();
    environment.temporary = folder / "tmp/";
  }
  void make(bool asksForConnection = true) {
    KeldaneController::Options options;
    options.makeSession = [this] {
      auto made = std::make_unique<ScriptedSession>();
      made->answerOn("query SHOW COLUMNS*", {{"x", "mediumtext"}});
      session = made.get();
      return made;
    };
    controller = std::make_unique<KeldaneController>(
        KeldaneController::Ports{ui, queue, tools, environment, host, [this] { ++terminated; }},
        std::move(options));
    if (asksForConnection) return;
    // As the terminal has it.
    controller->connectPanel().comesBack = false;
    archiver().database().reconnect = [this] { return archiver().reconnect(); };
  }
  /// As far as `awakeFromNib`.
  void start() {
    make();
    controller->init();
    controller->awakeFromNib();
  }
  Archiver& archiver() { return controller->archiver(); }
  Settings& settings() { return archiver().settings(); }
  [[nodiscard]] std::vector<std::string> connects() const {
    std::vector<std::string> found;
    for (const std::string& call : session->calls) {
      if (call.starts_with("connect")) found.push_back(call);
    }
    return found;
  }

  const TemporaryFolder folder;
  RecordingUserInterface ui;
  HeldQueue queue;
  RecordingToolRunner tools;
  FakeEnvironment environment;
  RecordingHostServices host;
  ScriptedSession* session = nullptr;
  int terminated = 0;
  std::unique_ptr<KeldaneController> controller;
};

}  // namespace keldane
