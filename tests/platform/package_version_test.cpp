#include "platform/package_version.h"

#include <gtest/gtest.h>

#include "tests/support/recording_tool_runner.h"

namespace keldane {
namespace {

TEST(PackageVersion, KnowsANewerOneFromThePackageSources) {
  RecordingToolRunner tools;
  const auto says = [](std::string output, int status) {
    return ToolOutcome{status, std::move(output), ""};
  };
  const std::string offer =
      "Package: keldanepro\nVersion: 1:8.1~1-2\nDescription: x\nVersion: no\n";
  tools.outcomes = {says(offer, 0), says("", 0), says(offer, 0), says("", 1), says("", 100)};
  EXPECT_EQ(*newerPackage(tools, "8.0.1"), "1:8.1~1-2");
  EXPECT_EQ(tools.lines().back(), "dpkg --compare-versions 8.1~1 gt 8.0.1");
  EXPECT_EQ(*newerPackage(tools, "8.2"), "");
  EXPECT_FALSE(newerPackage(tools, "8.2"));
}

}  // namespace
}  // namespace keldane
