#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_server.h"

namespace keldane {

using Words = std::vector<std::string>;

/// The program in a home folder of a test suite's own, with a connection to the tests' server.
class ProgramRig : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    home_ = std::make_unique<TemporaryFolder>();
    TestServer& server = TestServer::shared();
    database_ = server.freshDatabase("terminal");
    run({"connections", "add", "Tests", "--socket", *server.address().socket, "--user",
         *server.address().user, "--database", database_});
    run({"connections", "use", "Tests"});
  }
  static void TearDownTestSuite() { home_.reset(); }

  static std::string home() { return home_->path(); }
  /// Runs it as words behind these, which may set a variable or a limit.
  static ToolOutcome runBehind(Words before, const Words& arguments) {
    before.insert(before.end(), {"/usr/bin/env", "HOME=" + home(), "TZ=UTC", KELDANE_PROGRAM});
    before.insert(before.end(), arguments.begin(), arguments.end());
    ToolCall call{before.front(), {before.begin() + 1, before.end()}, home(), ""};
    const Result<ToolOutcome> outcome = ProcessToolRunner().run(call);
    if (!outcome) ADD_FAILURE() << outcome.error();
    return outcome ? *outcome : ToolOutcome{};
  }
  static ToolOutcome run(const Words& arguments) { return runBehind({}, arguments); }
  /// What it printed; its end must be a good one.
  static std::string output(const Words& arguments) {
    const ToolOutcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, 0)
        << ::testing::PrintToString(arguments) << ": " << outcome.errorText;
    return outcome.output;
  }
  /// A line of a shell, in which $K is the program in this home.
  static ToolOutcome shell(const std::string& line) {
    const std::string command = "K=\"env HOME=" + home() + " TZ=UTC " KELDANE_PROGRAM "\"; " + line;
    return ProcessToolRunner().run({"/bin/sh", {"-c", command}, "", ""}).value();
  }

  static inline std::unique_ptr<TemporaryFolder> home_;
  static inline std::string database_;
};

}  // namespace keldane
